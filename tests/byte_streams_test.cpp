#include "foundation/byte_streams.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

class ByteStreams : public ::testing::Test {
protected:
    void SetUp() override {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/vro_streams_XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { (void)std::system(("rm -rf '" + dir_ + "'").c_str()); }

    std::string path(const char* name) const { return dir_ + "/" + name; }
    void writeFile(const std::string& p, const std::string& bytes) const {
        FILE* f = std::fopen(p.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    std::string readFile(const std::string& p) const {
        std::string bytes;
        if (FILE* f = std::fopen(p.c_str(), "rb")) {
            char buffer[256];
            size_t n;
            while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) bytes.append(buffer, n);
            std::fclose(f);
        }
        return bytes;
    }
    static XpHolder<XpFileStream> newFileStream() {
        XpHolder<XpFileStream> holder;
        EXPECT_EQ(XpFileStream::create(&holder), kResultOk);
        return holder;
    }

    std::string dir_;
};

bool descriptorIsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST_F(ByteStreams, OpenFailuresAreTranslatedHostErrors) {
    writeFile(path("exists"), "x");
    ASSERT_EQ(symlink(path("loop").c_str(), path("loop").c_str()), 0);
    const std::string longName = path(std::string(300, 'n').c_str());
    const struct {
        std::string path;
        StreamOpenMode mode;
        ResultCode code;
    } cases[] = {
        {path("missing"), kStreamModeReadInput, 2},
        {path("missing"), kStreamWrite | kStreamTruncateExisting, 2},
        {dir_, kStreamModeWriteReport, 21},
        {dir_, kStreamModeAppendReport, 21},
        {path("exists"), kStreamWrite | kStreamCreateNew, 17},
        {path("loop"), kStreamModeReadInput, 63},
        {longName, kStreamModeWriteReport, 64},
        {path("exists"), kStreamOpenExisting, 22},             // no access field
        {path("exists"), kStreamRead | 0x6000000, 22},         // unknown disposition
        {path("exists"), kStreamRead, 22},                     // no disposition
        {"-", kStreamWrite | 0x7000000, 22},                   // checked before the standard path
    };
    for (const auto& c : cases) {
        XpHolder<XpFileStream> stream = newFileStream();
        EXPECT_EQ(stream->open(c.path.c_str(), c.mode), c.code) << c.path << " mode " << std::hex << c.mode;
        EXPECT_EQ(stream->descriptor(), -1);
        EXPECT_STREQ(stream->name(), "<file>");
    }
}

TEST_F(ByteStreams, AppendStartsAtTheEndAndReplaceTruncates) {
    const std::string file = path("report.txt");
    writeFile(file, "abc");
    XpHolder<XpFileStream> stream = newFileStream();
    ASSERT_EQ(stream->open(file.c_str(), kStreamModeAppendReport), kResultOk);
    int64_t position = -1;
    ASSERT_EQ(stream->position(&position), kResultOk);
    EXPECT_EQ(position, 3);
    // Even after a seek to the start, appended bytes go to the end.
    ASSERT_EQ(stream->seek(0, kSeekStart, &position), kResultOk);
    ASSERT_EQ(stream->writeByte('d'), kResultOk);
    ASSERT_EQ(stream->close(), kResultOk);
    EXPECT_EQ(readFile(file), "abcd");

    ASSERT_EQ(stream->open(path("new.txt").c_str(), kStreamModeAppendReport), kResultOk);
    ASSERT_EQ(stream->position(&position), kResultOk);
    EXPECT_EQ(position, 0);
    struct stat info {};
    ASSERT_EQ(stat(path("new.txt").c_str(), &info), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0644u & ~mask);

    ASSERT_EQ(stream->open(file.c_str(), kStreamModeWriteReport), kResultOk);
    ASSERT_EQ(stream->position(&position), kResultOk);
    EXPECT_EQ(position, 0);
    EXPECT_EQ(readFile(file), "");
}

TEST_F(ByteStreams, StandardPathsBorrowStandardDescriptors) {
    const struct {
        const char* path;
        StreamOpenMode mode;
        int descriptor;
        const char* name;
    } cases[] = {
        {"-", kStreamModeWriteReport, 1, "<stdout>"},
        {"", kStreamModeWriteReport, 1, "<stdout>"},
        {nullptr, kStreamModeAppendReport, 1, "<stdout>"},
        {"-", kStreamReadWrite | kStreamOpenExisting, 1, "<stdout>"},
        {"-", kStreamModeReadInput, 0, "<stdin>"},
        {nullptr, kStreamModeReadInput, 0, "<stdin>"},
    };
    for (const auto& c : cases) {
        XpHolder<XpFileStream> stream = newFileStream();
        ASSERT_EQ(stream->open(c.path, c.mode), kResultOk);
        EXPECT_EQ(stream->descriptor(), c.descriptor);
        EXPECT_STREQ(stream->name(), c.name);
        EXPECT_EQ(stream->stateFlags() & kStreamFlagOwned, 0u);
        EXPECT_EQ(stream->close(), kResultOk);
        EXPECT_TRUE(descriptorIsOpen(c.descriptor));
    }
}

TEST_F(ByteStreams, OnlyOwnedDescriptorsAreClosed) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    {
        XpHolder<XpFileStream> stream = newFileStream();
        ASSERT_EQ(stream->attach(fds[0], nullptr, false), kResultOk);
        EXPECT_EQ(stream->close(), kResultOk);
        EXPECT_TRUE(descriptorIsOpen(fds[0]));
        ASSERT_EQ(stream->attach(fds[1], nullptr, false), kResultOk);
    }  // last reference gone
    EXPECT_TRUE(descriptorIsOpen(fds[1]));
    {
        XpHolder<XpFileStream> stream = newFileStream();
        ASSERT_EQ(stream->attach(fds[0], nullptr, true), kResultOk);
        // Taking another descriptor closes the owned one first.
        ASSERT_EQ(stream->attach(fds[1], nullptr, true), kResultOk);
        EXPECT_FALSE(descriptorIsOpen(fds[0]));
        EXPECT_TRUE(descriptorIsOpen(fds[1]));
    }
    EXPECT_FALSE(descriptorIsOpen(fds[1]));

    XpHolder<XpFileStream> stream = newFileStream();
    EXPECT_EQ(stream->attach(-1, "x", true), kErrInvalidArgument);
    XpHolder<XpStdioStream> stdio;
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    EXPECT_EQ(stdio->attach(nullptr, "x", true), kErrInvalidArgument);
    ASSERT_EQ(stdio->attach(stdout, nullptr, false), kResultOk);
    EXPECT_EQ(stdio->close(), kResultOk);
    EXPECT_TRUE(descriptorIsOpen(1));
}

TEST_F(ByteStreams, DisplayNames) {
    const std::string relative = "./sub/../data.csv";
    writeFile(path("data.csv"), "");
    XpHolder<XpFileStream> stream = newFileStream();
    char previousDirectory[4096];
    ASSERT_NE(getcwd(previousDirectory, sizeof previousDirectory), nullptr);
    ASSERT_EQ(chdir(dir_.c_str()), 0);
    ASSERT_EQ(stream->open(relative.c_str(), kStreamModeReadInput), 2);  // sub does not exist
    ASSERT_EQ(stream->open("./data.csv", kStreamModeReadInput), kResultOk);
    EXPECT_STREQ(stream->name(), "./data.csv");
    ASSERT_EQ(chdir(previousDirectory), 0);

    const struct {
        int descriptor;
        const char* name;
    } defaults[] = {{0, "<stdin>"}, {1, "<stdout>"}, {2, "<stderr>"}, {stream->descriptor(), nullptr}};
    for (const auto& d : defaults) {
        XpHolder<XpFileStream> other = newFileStream();
        ASSERT_EQ(other->attach(d.descriptor, nullptr, false), kResultOk);
        const std::string expected = d.name ? d.name : "<fd:" + std::to_string(d.descriptor) + ">";
        EXPECT_EQ(other->name(), expected);
    }
    ASSERT_EQ(stream->close(), kResultOk);
    EXPECT_STREQ(stream->name(), "<file>");

    XpHolder<XpStdioStream> stdio;
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    EXPECT_STREQ(stdio->name(), "<stdio>");
    const struct {
        FILE* file;
        const char* name;
    } stdioNames[] = {{stdin, "<stdin>"}, {stdout, "<stdout>"}, {stderr, "<stderr>"}};
    for (const auto& s : stdioNames) {
        ASSERT_EQ(stdio->attach(s.file, nullptr, false), kResultOk);
        EXPECT_STREQ(stdio->name(), s.name);
    }
    FILE* temp = std::tmpfile();
    ASSERT_NE(temp, nullptr);
    ASSERT_EQ(stdio->attach(temp, nullptr, true), kResultOk);
    EXPECT_EQ(std::string(stdio->name()), "<stdio:" + std::to_string(fileno(temp)) + ">");
    ASSERT_EQ(stdio->attach(temp, "named", true), kResultOk);  // same stream: kept open
    EXPECT_STREQ(stdio->name(), "named");
    EXPECT_EQ(stdio->typeTag(), xpTypeTag("sios"));
}

TEST_F(ByteStreams, ReadLoopHonoursMinimumAndReportsEndOfFile) {
    const struct {
        size_t minimum, maximum;
        ResultCode code;
        size_t count;
    } cases[] = {
        {1, 3, kResultOk, 3},       // stops at maximum
        {5, 10, kResultOk, 5},      // end of data after the minimum
        {6, 10, kErrEndOfFile, 5},  // end of data before it
        {0, 0, kResultOk, 0},
        {4, 3, kErrInvalidArgument, 0},
    };
    for (const auto& c : cases) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        ASSERT_EQ(::write(fds[1], "hello", 5), 5);
        ::close(fds[1]);
        XpHolder<XpFileStream> stream = newFileStream();
        ASSERT_EQ(stream->attach(fds[0], nullptr, true), kResultOk);
        char buffer[16] = {};
        size_t count = 99;
        EXPECT_EQ(stream->read(buffer, c.minimum, c.maximum, &count), c.code) << c.minimum << ".." << c.maximum;
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(std::string(buffer, count), std::string("hello").substr(0, count));
    }

    // An empty input reports the end at once, also with minimum 0 a success.
    XpHolder<XpFileStream> stream = newFileStream();
    writeFile(path("empty"), "");
    ASSERT_EQ(stream->open(path("empty").c_str(), kStreamModeReadInput), kResultOk);
    char byte;
    size_t count = 7;
    EXPECT_EQ(stream->read(&byte, 1, 1, &count), kErrEndOfFile);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(stream->read(&byte, 0, 1, &count), kResultOk);

    // A directory opens for reading and fails on the first read.
    ASSERT_EQ(stream->open(dir_.c_str(), kStreamModeReadInput), kResultOk);
    EXPECT_EQ(stream->read(&byte, 1, 1, &count), kErrIsDirectory);
    ASSERT_EQ(stream->close(), kResultOk);
    EXPECT_EQ(stream->read(&byte, 1, 1, &count), kErrBadDescriptor);
}

void ignoreSignal(int) {}

// A signal that lands while the stream waits for data must not end the read.
TEST_F(ByteStreams, InterruptedReadIsRetried) {
    struct sigaction action {}, previous {};
    action.sa_handler = ignoreSignal;  // no SA_RESTART: the host call fails with EINTR
    sigemptyset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pthread_t reader = pthread_self();
    std::thread helper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        pthread_kill(reader, SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        (void)!::write(fds[1], "ok", 2);
        ::close(fds[1]);
    });
    XpHolder<XpFileStream> stream = newFileStream();
    ASSERT_EQ(stream->attach(fds[0], nullptr, true), kResultOk);
    char buffer[4];
    size_t count = 0;
    const ResultCode code = stream->read(buffer, 2, 2, &count);
    helper.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_EQ(code, kResultOk);
    EXPECT_EQ(std::string(buffer, count), "ok");
}

TEST_F(ByteStreams, WriteReportsFullDeviceAndBadArguments) {
    XpHolder<XpFileStream> stream = newFileStream();
    size_t written = 99;
    if (access("/dev/full", W_OK) == 0) {
        ASSERT_EQ(stream->open("/dev/full", kStreamModeWriteReport), kResultOk);
        EXPECT_EQ(stream->write("abc", 3, &written), kErrNoSpace);
        EXPECT_EQ(written, 0u);
        EXPECT_EQ(stream->writeByte('x'), kErrNoSpace);
    }
    EXPECT_EQ(stream->write(nullptr, 0, &written), kResultOk);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(stream->write(nullptr, 1, &written), kErrInvalidArgument);
    ASSERT_EQ(stream->open(path("out").c_str(), kStreamModeWriteReport), kResultOk);
    EXPECT_EQ(stream->write("abc", 3, &written), kResultOk);
    EXPECT_EQ(written, 3u);
    ASSERT_EQ(stream->close(), kResultOk);
    EXPECT_EQ(readFile(path("out")), "abc");
    EXPECT_EQ(stream->write("abc", 3, &written), kErrBadDescriptor);

    // Writing to a pipe nobody reads breaks it; the signal is ignored here.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ::close(fds[0]);
    void (*old)(int) = signal(SIGPIPE, SIG_IGN);
    ASSERT_EQ(stream->attach(fds[1], nullptr, true), kResultOk);
    EXPECT_EQ(stream->write("abc", 3, &written), 32);
    signal(SIGPIPE, old);
}

TEST_F(ByteStreams, PositionAndSeek) {
    writeFile(path("f"), "0123456789");
    XpHolder<XpFileStream> stream = newFileStream();
    ASSERT_EQ(stream->open(path("f").c_str(), kStreamModeReadInput), kResultOk);
    int64_t at = -1;
    EXPECT_EQ(stream->seek(-3, kSeekEnd, &at), kResultOk);
    EXPECT_EQ(at, 7);
    EXPECT_EQ(stream->seek(-2, kSeekCurrent, &at), kResultOk);
    EXPECT_EQ(at, 5);
    char c;
    size_t n;
    ASSERT_EQ(stream->read(&c, 1, 1, &n), kResultOk);
    EXPECT_EQ(c, '5');
    EXPECT_EQ(stream->position(&at), kResultOk);
    EXPECT_EQ(at, 6);
    EXPECT_EQ(stream->seek(0, 3, &at), kErrInvalidArgument);
    EXPECT_EQ(stream->position(nullptr), kErrInvalidArgument);
    EXPECT_EQ(stream->seek(-1, kSeekStart, &at), kErrInvalidArgument);

    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(stream->attach(fds[0], nullptr, true), kResultOk);
    at = 5;
    EXPECT_EQ(stream->position(&at), 29);  // "Invalid seek"
    EXPECT_EQ(at, 0);
    ::close(fds[1]);
}

TEST_F(ByteStreams, TerminalsAreConsoles) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master == -1 || grantpt(master) != 0 || unlockpt(master) != 0) GTEST_SKIP() << "no pseudo-terminal";
    const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_NE(terminal, -1);
    XpHolder<XpFileStream> stream = newFileStream();
    ASSERT_EQ(stream->attach(terminal, nullptr, true), kResultOk);
    EXPECT_TRUE(stream->isConsole());
    EXPECT_EQ(stream->capabilities() & kStreamCapabilityLineOriented, 0u);
    writeFile(path("plain"), "");
    ASSERT_EQ(stream->open(path("plain").c_str(), kStreamModeReadInput), kResultOk);
    EXPECT_FALSE(stream->isConsole());
    EXPECT_FALSE(descriptorIsOpen(terminal));  // the owned terminal was closed on reopening

    FILE* file = fdopen(open(ptsname(master), O_RDWR | O_NOCTTY), "r+");
    ASSERT_NE(file, nullptr);
    XpHolder<XpStdioStream> stdio;
    ASSERT_EQ(XpStdioStream::create(&stdio), kResultOk);
    ASSERT_EQ(stdio->attach(file, nullptr, true), kResultOk);
    EXPECT_TRUE(stdio->isConsole());
    ASSERT_EQ(stdio->attach(std::tmpfile(), nullptr, true), kResultOk);
    EXPECT_FALSE(stdio->isConsole());
    ::close(master);
}

TEST_F(ByteStreams, StdioStreamsFollowTheSameRules) {
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    XpHolder<XpStdioStream> stream;
    ASSERT_EQ(XpStdioStream::create(&stream), kResultOk);
    ASSERT_EQ(stream->attach(file, nullptr, true), kResultOk);
    size_t count = 0;
    ASSERT_EQ(stream->write("hello", 5, &count), kResultOk);
    EXPECT_EQ(count, 5u);
    int64_t at = -1;
    ASSERT_EQ(stream->seek(1, kSeekStart, &at), kResultOk);
    EXPECT_EQ(at, 1);
    char buffer[8];
    EXPECT_EQ(stream->read(buffer, 2, 8, &count), kResultOk);
    EXPECT_EQ(std::string(buffer, count), "ello");
    EXPECT_EQ(stream->read(buffer, 1, 8, &count), kErrEndOfFile);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(stream->read(buffer, 3, 2, &count), kErrInvalidArgument);
    EXPECT_EQ(stream->position(&at), kResultOk);
    EXPECT_EQ(at, 5);
    ASSERT_EQ(stream->close(), kResultOk);
    EXPECT_EQ(stream->write("x", 1, &count), kErrBadDescriptor);

    if (FILE* full = std::fopen("/dev/full", "w")) {
        std::setvbuf(full, nullptr, _IONBF, 0);
        ASSERT_EQ(stream->attach(full, nullptr, true), kResultOk);
        EXPECT_EQ(stream->write("abc", 3, &count), kErrNoSpace);
        EXPECT_EQ(count, 0u);
    }
    if (FILE* full = std::fopen("/dev/full", "w")) {
        // Buffered: the failure shows when the bytes are pushed out.
        ASSERT_EQ(stream->attach(full, nullptr, true), kResultOk);
        ASSERT_EQ(stream->write("abc", 3, &count), kResultOk);
        EXPECT_EQ(stream->flush(), kErrNoSpace);
    }
}

}  // namespace
