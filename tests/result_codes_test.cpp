#include "foundation/result_codes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <map>
#include <set>
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
    const struct { int host; ResultCode code; } cases[] = {
        {0, 0}, {ENOENT, 2}, {EINTR, 4}, {EISDIR, 21}, {ENOSPC, 28}, {EDEADLK, 11}, {EAGAIN, 35},
        {EWOULDBLOCK, 35}, {EINPROGRESS, 37}, {ENOBUFS, 56}, {ELOOP, 63}, {ENAMETOOLONG, 64},
        {ENOTEMPTY, 67}, {EDQUOT, 70}, {ENOSYS, 79}, {EILSEQ, 85}, {EOVERFLOW, 88}, {EPROTO, 101},
        {ENOTDIR, 20}, {EREMOTE, 72}, {ENOMSG, 91}, {ETIME, 102},
        // No counterpart here.
        {ECHRNG, 105}, {EKEYREVOKED, 105}, {-3, 105}, {100000, 105},
    };
    for (const auto& c : cases) EXPECT_EQ(resultFromErrno(c.host), c.code) << "errno " << c.host;
    // Every host error lands on a real runtime text, and each text stands for one host error but
    // for the few without a finer number of their own and those with no counterpart (105).
    std::map<ResultCode, std::set<int>> hosts;
    for (int host = 1; host < 200; ++host) {
        const ResultCode code = resultFromErrno(host);
        EXPECT_TRUE(code >= 1 && code <= 105) << host;
        EXPECT_STRNE(resultMessage(code), "(reserved)") << host;
        hosts[code].insert(host);
    }
    const std::set<std::set<int>> shared = {{EINTR, ERESTART}, {EIO, EREMOTEIO}, {EBADF, EBADFD}};
    for (const auto& [code, errors] : hosts)
        EXPECT_TRUE(code == 105 || errors.size() == 1 || shared.count(errors)) << code << " stands for " << errors.size();
}

}  // namespace
