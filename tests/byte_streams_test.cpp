#include "foundation/byte_streams.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/support.h"

namespace {

bool isOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

class ByteStreams : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(XpFileStream::create(&stream_), kResultOk); }
    std::string path(const std::string& name) const { return dir_ / name; }
    // The reading end of a pipe holding `bytes`, its writing end closed.
    static int pipeWith(const char* bytes) {
        int fds[2];
        EXPECT_EQ(pipe(fds), 0);
        EXPECT_EQ(::write(fds[1], bytes, std::strlen(bytes)), ssize_t(std::strlen(bytes)));
        ::close(fds[1]);
        return fds[0];
    }
    // Such a pipe read by stream_ (owned).
    void attachPipeWith(const char* bytes) { ASSERT_EQ(stream_->attach(pipeWith(bytes), nullptr, true), kResultOk); }

    vt::TempDir dir_;
    XpHolder<XpFileStream> stream_;
};

TEST_F(ByteStreams, OpenFailuresAreTranslatedHostErrors) {
    vt::spill(path("exists"), "x");
    ASSERT_EQ(symlink(path("loop").c_str(), path("loop").c_str()), 0);
    const struct { std::string path; StreamOpenMode mode; ResultCode code; } cases[] = {
        {path("missing"), kStreamModeReadInput, 2},
        {path("missing"), kStreamWrite | kStreamTruncateExisting, 2},
        {dir_.path, kStreamModeWriteReport, 21},
        {dir_.path, kStreamModeAppendReport, 21},
        {path("exists"), kStreamWrite | kStreamCreateNew, 17},
        {path("loop"), kStreamModeReadInput, 63},
        {path(std::string(300, 'n')), kStreamModeWriteReport, 64},
        {path("exists"), kStreamOpenExisting, 22},       // no access field
        {path("exists"), kStreamRead | 0x6000000, 22},   // unknown disposition
        {"-", kStreamWrite | 0x7000000, 22},             // checked before the standard path
    };
    for (const auto& c : cases) {
        EXPECT_EQ(stream_->open(c.path.c_str(), c.mode), c.code) << c.path << " mode " << std::hex << c.mode;
        EXPECT_EQ(stream_->descriptor(), -1);
    }
}

TEST_F(ByteStreams, AppendStartsAtTheEndAndReplaceTruncates) {
    const std::string file = path("report.txt");
    vt::spill(file, "abc");
    ASSERT_EQ(stream_->open(file.c_str(), kStreamModeAppendReport), kResultOk);
    int64_t at = -1;
    ASSERT_EQ(stream_->position(&at), kResultOk);
    EXPECT_EQ(at, 3);
    ASSERT_EQ(stream_->seek(0, kSeekStart, &at), kResultOk);
    ASSERT_EQ(stream_->writeByte('d'), kResultOk);  // still goes to the end
    ASSERT_EQ(stream_->open(file.c_str(), kStreamModeWriteReport), kResultOk);
    EXPECT_EQ(vt::slurp(file), "");
    ASSERT_EQ(stream_->position(&at), kResultOk);
    EXPECT_EQ(at, 0);
    ASSERT_EQ(stream_->open(file.c_str(), kStreamModeAppendReport), kResultOk);
    ASSERT_EQ(stream_->write("xyz", 3, nullptr), kResultOk);
    ASSERT_EQ(stream_->close(), kResultOk);
    EXPECT_EQ(vt::slurp(file), "xyz");
}

TEST_F(ByteStreams, StandardPathsBorrowStandardDescriptors) {
    const struct { const char* path; StreamOpenMode mode; int descriptor; const char* name; } cases[] = {
        {"-", kStreamModeWriteReport, 1, "<stdout>"}, {"", kStreamModeWriteReport, 1, "<stdout>"},
        {nullptr, kStreamModeAppendReport, 1, "<stdout>"}, {"-", kStreamReadWrite | kStreamOpenExisting, 1, "<stdout>"},
        {"-", kStreamModeReadInput, 0, "<stdin>"}, {nullptr, kStreamModeReadInput, 0, "<stdin>"},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(stream_->open(c.path, c.mode), kResultOk);
        EXPECT_EQ(stream_->descriptor(), c.descriptor);
        EXPECT_STREQ(stream_->name(), c.name);
        EXPECT_EQ(stream_->close(), kResultOk);
        EXPECT_TRUE(isOpen(c.descriptor));
    }
    XpHolder<XpStdioStream> stdio;
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    ASSERT_EQ(stdio->attach(stdout, nullptr, false), kResultOk);
    EXPECT_STREQ(stdio->name(), "<stdout>");
    stdio.reset();  // the last reference goes
    EXPECT_TRUE(isOpen(1));
}

TEST_F(ByteStreams, OnlyOwnedHandlesAreClosed) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(stream_->attach(fds[0], nullptr, false), kResultOk);
    ASSERT_EQ(stream_->attach(fds[1], nullptr, true), kResultOk);  // closes the previous handle if owned
    EXPECT_TRUE(isOpen(fds[0]));
    ASSERT_EQ(stream_->attach(fds[0], nullptr, true), kResultOk);
    EXPECT_FALSE(isOpen(fds[1]));
    stream_.reset();
    EXPECT_FALSE(isOpen(fds[0]));
    // The same with stdio: another stream closes an owned one; the same one again stays.
    XpHolder<XpStdioStream> stdio;
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(stdio->attach(fdopen(fds[0], "r"), nullptr, true), kResultOk);
    FILE* second = fdopen(fds[1], "w");
    ASSERT_EQ(stdio->attach(second, nullptr, true), kResultOk);
    EXPECT_FALSE(isOpen(fds[0]));
    ASSERT_EQ(stdio->attach(second, nullptr, true), kResultOk);
    EXPECT_TRUE(isOpen(fds[1]));
    stdio.reset();
    EXPECT_FALSE(isOpen(fds[1]));
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    ASSERT_EQ(stdio->attach(std::tmpfile(), nullptr, true), kResultOk);
    int64_t at = -1;
    EXPECT_EQ(stdio->seek(3, kSeekStart, &at), kResultOk);
    EXPECT_EQ(at, 3);
    ASSERT_EQ(XpFileStream::create(&stream_), kResultOk);
    EXPECT_EQ(stream_->attach(-1, "x", true), kErrInvalidArgument);
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    EXPECT_EQ(stdio->attach(nullptr, "x", true), kErrInvalidArgument);
}

TEST_F(ByteStreams, ReadLoopHonoursMinimumAndReportsEndOfFile) {
    const struct { size_t minimum, maximum; ResultCode code; size_t count; } cases[] = {
        {1, 3, kResultOk, 3},       // stops at maximum
        {5, 10, kResultOk, 5},      // the data ends after the minimum
        {6, 10, kErrEndOfFile, 5},  // the data ends before it
        {0, 0, kResultOk, 0},
        {3, 3, kResultOk, 3},
        {5, 5, kResultOk, 5},       // exactly what there is
        {4, 3, kErrInvalidArgument, 0},
    };
    // A pipe read by descriptor and through stdio, and a memory stream
    // holding the same bytes.
    for (const auto& c : cases) {
        attachPipeWith("hello");
        XpHolder<XpStdioStream> stdio;
        ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
        ASSERT_EQ(stdio->attach(fdopen(pipeWith("hello"), "r"), nullptr, true), kResultOk);
        XpHolder<XpMemoryStream> memory;
        ASSERT_EQ(XpMemoryStream::create(&memory), kResultOk);
        ASSERT_EQ(memory->write("hello", 5, nullptr), kResultOk);
        for (XpByteStream* stream : {static_cast<XpByteStream*>(stream_.get()), static_cast<XpByteStream*>(stdio.get()),
                                     static_cast<XpByteStream*>(memory.get())}) {
            char buffer[16];
            size_t count = 99;
            EXPECT_EQ(stream->read(buffer, c.minimum, c.maximum, &count), c.code) << c.minimum << ".." << c.maximum;
            EXPECT_EQ(std::string(buffer, count), std::string("hello").substr(0, c.count));
        }
    }
    // A directory opens for reading and fails on the first read.
    char byte;
    ASSERT_EQ(stream_->open(dir_.path.c_str(), kStreamModeReadInput), kResultOk);
    EXPECT_EQ(stream_->read(&byte, 1, 1, nullptr), kErrIsDirectory);
    ASSERT_EQ(stream_->close(), kResultOk);
    EXPECT_EQ(stream_->read(&byte, 1, 1, nullptr), kErrBadDescriptor);
}

TEST_F(ByteStreams, WriteFailures) {
    size_t written = 99;
    ASSERT_EQ(stream_->open("/dev/full", kStreamModeWriteReport), kResultOk);
    EXPECT_EQ(stream_->write("abc", 3, &written), kErrNoSpace);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(stream_->write(nullptr, 0, &written), kResultOk);
    EXPECT_EQ(stream_->write(nullptr, 1, &written), kErrInvalidArgument);
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ::close(fds[0]);
    void (*old)(int) = signal(SIGPIPE, SIG_IGN);
    ASSERT_EQ(stream_->attach(fds[1], nullptr, true), kResultOk);
    EXPECT_EQ(stream_->write("abc", 3, &written), 32);  // "Broken pipe"
    signal(SIGPIPE, old);
    ASSERT_EQ(stream_->close(), kResultOk);
    EXPECT_EQ(stream_->writeByte('x'), kErrBadDescriptor);
}

TEST_F(ByteStreams, PositionAndSeek) {
    vt::spill(path("f"), "0123456789");
    ASSERT_EQ(stream_->open(path("f").c_str(), kStreamModeReadInput), kResultOk);
    int64_t at = -1;
    EXPECT_EQ(stream_->seek(-3, kSeekEnd, &at), kResultOk);
    EXPECT_EQ(at, 7);
    EXPECT_EQ(stream_->seek(-2, kSeekCurrent, &at), kResultOk);
    EXPECT_EQ(at, 5);
    EXPECT_EQ(stream_->seek(0, 3, &at), kErrInvalidArgument);
    EXPECT_EQ(stream_->position(nullptr), kErrInvalidArgument);
    attachPipeWith("");
    EXPECT_EQ(stream_->position(&at), 29);  // "Invalid seek"
    EXPECT_EQ(at, 0);
}

TEST_F(ByteStreams, StdioStreamsFollowTheSameRules) {
    XpHolder<XpStdioStream> stdio;
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    size_t count = 9;
    EXPECT_EQ(stdio->read(nullptr, 0, 0, &count), kResultOk);  // nothing asked of no stream
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(stdio->write(nullptr, 0, &count), kResultOk);
    ASSERT_EQ(stdio->attach(std::tmpfile(), nullptr, true), kResultOk);
    ASSERT_EQ(stdio->write("hello", 5, nullptr), kResultOk);
    int64_t at = -1;
    ASSERT_EQ(stdio->seek(1, kSeekStart, &at), kResultOk);
    char buffer[8];
    EXPECT_EQ(stdio->read(buffer, 2, 8, &count), kResultOk);
    EXPECT_EQ(std::string(buffer, count), "ello");
    EXPECT_EQ(stdio->read(buffer, 1, 8, &count), kErrEndOfFile);
    EXPECT_EQ(stdio->read(buffer, 3, 2, &count), kErrInvalidArgument);
    // A failed read is reported, not retried (which would spin: the alarm ends the run then).
    ASSERT_EQ(stdio->attach(std::fopen(dir_.path.c_str(), "r"), nullptr, true), kResultOk);
    alarm(20);
    EXPECT_EQ(stdio->read(buffer, 1, 8, &count), kErrIsDirectory);
    alarm(0);
    // A full device: at once when unbuffered, when pushed out otherwise.
    FILE* full = std::fopen("/dev/full", "w");
    std::setvbuf(full, nullptr, _IONBF, 0);
    ASSERT_EQ(stdio->attach(full, nullptr, true), kResultOk);
    EXPECT_EQ(stdio->write("abc", 3, &count), kErrNoSpace);
    EXPECT_EQ(count, 0u);
    ASSERT_EQ(stdio->attach(std::fopen("/dev/full", "w"), nullptr, true), kResultOk);
    ASSERT_EQ(stdio->write("abc", 3, &count), kResultOk);
    EXPECT_EQ(stdio->flush(), kErrNoSpace);
}

}  // namespace
