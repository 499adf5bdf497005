#include "foundation/result_codes.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

namespace {

struct MessageCase {
    ResultCode code;
    const char* text;
};

TEST(ResultMessage, EveryRangeHasItsText) {
    const MessageCase cases[] = {
        {0, "No error"},
        {1, "Operation not permitted"},
        {2, "No such file or directory"},
        {22, "Invalid argument"},
        {28, "No space left on device"},
        {35, "Resource unavailable, try again"},
        {36, "Operation would block"},
        {63, "Too many levels of symbolic links"},
        {64, "Invalid file name"},
        {67, "Directory not empty"},
        {85, "Illegal byte sequence"},
        {94, "(reserved)"},
        {95, "No more data"},
        {102, "Stream ioctl() timeout"},
        {105, "Operation failed"},
        {106, "error 106 (0x0000006A)"},
        {255, "error 255 (0x000000FF)"},
        // Each framework group: first text, last text, one past the end.
        {256, "Unspecified error"},
        {274, "Skip this entry"},
        {275, "Unknown error"},
        {511, "Unknown error"},
        {512, "Syntax error"},
        {522, "Invalid data"},
        {526, "Object not found"},
        {529, "Data limit exceeded"},
        {537, "Incomplete input data"},
        {545, "End of available data"},
        {546, "Unknown error"},
        {768, "End of file"},
        {773, "Invalid file name"},
        {774, "Invalid file type"},
        {777, "Invalid storage medium"},
        {778, "Unknown error"},
        {1024, "HTTP redirection failed"},
        {1035, "Socket is shut down"},
        {1036, "Unknown error"},
        {1280, "Security failure"},
        {1284, "Untrusted session"},
        {1285, "Unknown error"},
        {1536, "Invalid login credentials"},
        {1546, "No API key available"},
        {1547, "Unknown error"},
        // Providers' range, with none registered.
        {1792, "Unknown error"},
        {0x7FFFFFFF, "Unknown error"},
        {-1, "Unknown error"},
        {-65537, "Unknown error"},
        {ResultCode(0x81000000u), "Unknown error"},  // bits 24..27 set: not a status form
        {ResultCode(0xFFFF0000u), "Unknown error"},  // wraps no system number
    };
    for (const MessageCase& c : cases) EXPECT_STREQ(resultMessage(c.code), c.text) << "code " << c.code;
}

TEST(ResultMessage, SystemFormsUseTheSystemsOwnTexts) {
    // Wrapped system error 2 reads as the system says it, not as runtime 2.
    const std::string missing = resultMessage(makeSystemResult(2));
    EXPECT_FALSE(missing.empty());
    EXPECT_NE(missing, "No such file or directory");
    EXPECT_EQ(missing.find("win32 error"), std::string::npos);

    // A status value carrying a system error reads as that error.
    EXPECT_EQ(std::string(resultMessage(ResultCode(0x80070002u))), missing);
    EXPECT_STREQ(resultMessage(ResultCode(0x80004005u)), "Unspecified error");

    // Without a text: decimal for the positive system number, hexadecimal for
    // a negative status value.
    EXPECT_STREQ(resultMessage(makeSystemResult(60000)), "win32 error 60000");
    EXPECT_STREQ(resultMessage(ResultCode(0x80123456u)), "win32 error 0x80123456");
    EXPECT_STREQ(resultMessage(ResultCode(0x80070000u | 60000u)), "win32 error 0x8007EA60");

    // No system text carries trailing white space.
    for (int n = 0; n < 2000; ++n) {
        const char* text = resultMessage(ResultCode(0xFFFF0000u | uint32_t(n)));
        const size_t len = std::strlen(text);
        ASSERT_GT(len, 0u);
        EXPECT_FALSE(std::isspace(static_cast<unsigned char>(text[len - 1]))) << n;
    }
}

TEST(ResultMessage, LeavesErrnoAsItWas) {
    const ResultCode codes[] = {0, 2, 200, 600, 1800, makeSystemResult(3), makeSystemResult(4321)};
    for (ResultCode code : codes) {
        errno = EXDEV;
        (void)resultMessage(code);
        EXPECT_EQ(errno, EXDEV) << code;
    }
}

TEST(ResultMessage, FormattedTextsAreOwnedByTheCallingThread) {
    const char* mine = resultMessage(200);
    ASSERT_STREQ(mine, "error 200 (0x000000C8)");
    std::string other;
    std::thread([&] { other = resultMessage(201); }).join();
    EXPECT_EQ(other, "error 201 (0x000000C9)");
    // Another thread's call did not overwrite this thread's text.
    EXPECT_STREQ(mine, "error 200 (0x000000C8)");
}

const char* answerSeven(ResultCode code) { return code == 0x10007 ? "seven" : nullptr; }
const char* answerAllBlank(ResultCode) { return ""; }
const char* answerAll(ResultCode) { return "any"; }

TEST(ResultMessage, ProvidersAnswerMostRecentFirst) {
    ASSERT_EQ(registerResultMessageProvider(answerAll), kResultOk);
    ASSERT_EQ(registerResultMessageProvider(answerSeven), kResultOk);
    ASSERT_EQ(registerResultMessageProvider(answerAllBlank), kResultOk);
    EXPECT_STREQ(resultMessage(0x10007), "seven");  // empty answer passes on
    EXPECT_STREQ(resultMessage(0x10008), "any");
    EXPECT_STREQ(resultMessage(-1), "any");
    // Providers are never asked for framework, runtime or system codes.
    EXPECT_STREQ(resultMessage(275), "Unknown error");
    EXPECT_STREQ(resultMessage(106), "error 106 (0x0000006A)");
    unregisterResultMessageProvider(answerAll);
    EXPECT_STREQ(resultMessage(0x10008), "Unknown error");
    unregisterResultMessageProvider(answerSeven);
    unregisterResultMessageProvider(answerAllBlank);
    EXPECT_STREQ(resultMessage(0x10007), "Unknown error");
    EXPECT_EQ(registerResultMessageProvider(nullptr), kErrInvalidArgument);
}

TEST(SystemResult, WrapsOnlySystemNumbers) {
    EXPECT_EQ(makeSystemResult(1), ResultCode(0xFFFF0001u));
    EXPECT_EQ(makeSystemResult(65535), ResultCode(0xFFFFFFFFu));
    EXPECT_FALSE(isSystemResult(-1));
    EXPECT_FALSE(isSystemResult(ResultCode(0xFFFF0000u)));
    EXPECT_TRUE(isSystemResult(makeSystemResult(65534)));
    EXPECT_EQ(makeSystemResult(0), 0);
    EXPECT_EQ(makeSystemResult(65536), 65536);
    EXPECT_EQ(makeSystemResult(-5), -5);

    EXPECT_TRUE(isSystemResult(makeSystemResult(2)));
    EXPECT_TRUE(isSystemResult(ResultCode(0x80070005u)));
    EXPECT_FALSE(isSystemResult(ResultCode(0x81000000u)));
    EXPECT_FALSE(isSystemResult(0));
    EXPECT_FALSE(isSystemResult(2));
    EXPECT_FALSE(isSystemResult(768));

    EXPECT_EQ(systemErrorOf(makeSystemResult(1234)), 1234);
    EXPECT_EQ(systemErrorOf(ResultCode(0x80070005u)), ResultCode(0x80070005u));
    EXPECT_EQ(systemErrorOf(22), 22);
    EXPECT_EQ(systemErrorOf(-1), -1);
}

TEST(KeepFirstError, KeepsTheFirstFailureOfASequence) {
    EXPECT_EQ(keepFirstError(nullptr, 28), 28);
    ResultCode slot = 0;
    EXPECT_EQ(keepFirstError(&slot, 0), 0);
    EXPECT_EQ(slot, 0);
    EXPECT_EQ(keepFirstError(&slot, 28), 28);
    EXPECT_EQ(keepFirstError(&slot, 9), 28);
    EXPECT_EQ(keepFirstError(&slot, 0), 28);
    EXPECT_EQ(slot, 28);
}

TEST(ResultFromErrno, TranslatesByMeaning) {
    const struct {
        int host;
        ResultCode code;
        const char* text;
    } cases[] = {
        {0, 0, "No error"},
        {ENOENT, 2, "No such file or directory"},
        {EINTR, 4, "Interrupted function"},
        {EACCES, 13, "Permission denied"},
        {EISDIR, 21, "Is a directory"},
        {ENOSPC, 28, "No space left on device"},
        {EDEADLK, 11, "Resource deadlock would occur"},
        {EAGAIN, 35, "Resource unavailable, try again"},
        {EWOULDBLOCK, 35, "Resource unavailable, try again"},
        {EINPROGRESS, 37, "Operation now in progress"},
        {ENOBUFS, 56, "No buffer space available"},
        {ETIMEDOUT, 61, "Operation timed out"},
        {ELOOP, 63, "Too many levels of symbolic links"},
        {ENAMETOOLONG, 64, "Invalid file name"},
        {ENOTEMPTY, 67, "Directory not empty"},
        {EDQUOT, 70, "Disk quota exceeded"},
        {ENOSYS, 79, "Function not implemented"},
        {EILSEQ, 85, "Illegal byte sequence"},
        {EOVERFLOW, 88, "Value too large to be stored in data type"},
        {ECANCELED, 89, "Operation cancelled"},
        {EOWNERDEAD, 100, "Previous owner died"},
        {EPROTO, 101, "Protocol error"},
        // No counterpart here.
        {ECHRNG, 105, "Operation failed"},
        {EKEYREVOKED, 105, "Operation failed"},
        {-3, 105, "Operation failed"},
        {100000, 105, "Operation failed"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(resultFromErrno(c.host), c.code) << "errno " << c.host;
        EXPECT_STREQ(resultMessage(resultFromErrno(c.host)), c.text) << "errno " << c.host;
    }
}

TEST(ResultFromErrno, EveryHostErrorLandsInTheRuntimeRange) {
    for (int host = 1; host < 200; ++host) {
        const ResultCode code = resultFromErrno(host);
        EXPECT_GE(code, 1) << host;
        EXPECT_LE(code, 105) << host;
        EXPECT_STRNE(resultMessage(code), "(reserved)") << host;
    }
}

}  // namespace
