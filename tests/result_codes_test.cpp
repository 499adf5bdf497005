#include "foundation/result_codes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

#include "tests/support/support.h"

namespace {

// An operating-system error number wrapped as a result code.
constexpr ResultCode systemResult(uint32_t n) { return ResultCode(0xFFFF0000u | n); }

TEST(ResultMessage, EveryRangeHasItsText) {
    for (const std::vector<std::string>& row : vt::tableOf("foundation/result-messages.txt"))
        EXPECT_STREQ(resultMessage(ResultCode(std::stol(row.at(0)))), row.at(1).c_str()) << "code " << row[0];
}

TEST(ResultMessage, SystemFormsUseTheSystemsOwnTexts) {
    // Wrapped system error 2 reads as the system says it, not as runtime 2.
    const std::string missing = resultMessage(systemResult(2));
    EXPECT_NE(missing, "No such file or directory");
    EXPECT_EQ(missing.find("win32 error"), std::string::npos);
    EXPECT_NE(missing.back(), ' ');
    // A status value carrying a system error reads as that error.
    EXPECT_EQ(std::string(resultMessage(ResultCode(0x80070002u))), missing);
    EXPECT_STREQ(resultMessage(ResultCode(0x80004005u)), "Unspecified error");
    // Without a text: decimal for a system number, hexadecimal for a status value.
    EXPECT_STREQ(resultMessage(systemResult(60000)), "win32 error 60000");
    EXPECT_STREQ(resultMessage(ResultCode(0x80123456u)), "win32 error 0x80123456");
}

TEST(ResultMessage, LeavesErrnoAsItWas) {
    for (ResultCode code : {0, 2, 200, 600, 1800, systemResult(3), systemResult(4321)}) {
        errno = EXDEV;
        (void)resultMessage(code);
        EXPECT_EQ(errno, EXDEV) << code;
    }
}

TEST(ResultMessage, FormattedTextsAreOwnedByTheCallingThread) {
    const char* mine = resultMessage(200);
    std::string other;
    std::thread([&] { other = resultMessage(201); }).join();
    EXPECT_EQ(other, "error 201 (0x000000C9)");
    EXPECT_STREQ(mine, "error 200 (0x000000C8)");  // not overwritten by the other thread
}

TEST(ResultFromErrno, TranslatesByMeaning) {
    std::string got, expected;
    for (int host = 1; host < 200; ++host)
        if (const char* name = strerrorname_np(host))
            got += std::string(name) + " | " + std::to_string(resultFromErrno(host)) + "\n";
    for (const std::vector<std::string>& row : vt::tableOf("foundation/errno-codes.txt"))
        expected += row.at(0) + " | " + row.at(1) + "\n";
    EXPECT_EQ(got, expected);
    for (const auto& [host, code] : {std::pair{0, 0}, {EWOULDBLOCK, 35}, {-3, 105}, {100000, 105}})
        EXPECT_EQ(resultFromErrno(host), code) << "errno " << host;
}

}  // namespace
