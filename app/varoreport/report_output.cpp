// Report output: identity of the output file, and the temporary file that
// takes its place only when the report is complete.
#include "app/varoreport/report_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "foundation/encodings.h"

namespace {

bool isStandardStream(const char* path) noexcept { return !path || !path[0] || std::strcmp(path, "-") == 0; }

// The temporary file a signal handler removes; null when there is none.
const char* volatile gTemporaryPath = nullptr;

constexpr int kCleanedSignals[] = {SIGINT, SIGTERM, SIGHUP};
struct sigaction gPreviousActions[std::size(kCleanedSignals)];
bool gHandlersInstalled = false;

void removeTemporaryAndDie(int signal) {
    const char* path = gTemporaryPath;
    if (path) ::unlink(path);
    // The handler was reset on entry: the signal now ends the process.
    ::raise(signal);
}

void installHandlers() noexcept {
    if (gHandlersInstalled) return;
    for (size_t i = 0; i < std::size(kCleanedSignals); ++i) {
        struct sigaction action{};
        action.sa_handler = removeTemporaryAndDie;
        action.sa_flags = SA_RESETHAND | SA_NODEFER;
        sigemptyset(&action.sa_mask);
        (void)::sigaction(kCleanedSignals[i], nullptr, &gPreviousActions[i]);
        // A signal the caller chose to ignore (nohup) stays ignored.
        if (gPreviousActions[i].sa_handler == SIG_IGN) continue;
        (void)::sigaction(kCleanedSignals[i], &action, nullptr);
    }
    gHandlersInstalled = true;
}

void restoreHandlers() noexcept {
    if (!gHandlersInstalled) return;
    for (size_t i = 0; i < std::size(kCleanedSignals); ++i)
        (void)::sigaction(kCleanedSignals[i], &gPreviousActions[i], nullptr);
    gHandlersInstalled = false;
}

mode_t newFileMode() noexcept {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

ReportFileIdentity identifyReportOutput(const char* outputPath) noexcept {
    ReportFileIdentity identity;
    struct stat info;
    // Standard output redirected to a file ("> dir/report.csv") is that file.
    const int rc = isStandardStream(outputPath) ? ::fstat(1, &info) : ::stat(outputPath, &info);
    if (rc != 0 || !S_ISREG(info.st_mode)) return identity;
    identity.known = true;
    identity.device = info.st_dev;
    identity.inode = info.st_ino;
    return identity;
}

const char* inputNamingOutput(const char* const* names, uint32_t count, const ReportFileIdentity& output) noexcept {
    if (!output.known) return nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        const char* name = names[i];
        if (!name || !name[0]) continue;
        struct stat info;
        const int rc = std::strcmp(name, "-") == 0 ? ::fstat(0, &info) : ::stat(name, &info);
        if (rc == 0 && S_ISREG(info.st_mode) && info.st_dev == output.device && info.st_ino == output.inode)
            return name;
    }
    return nullptr;
}

ReportOutputFile::~ReportOutputFile() { discard(); }

ResultCode ReportOutputFile::open(const char* outputPath, XpHolder<XpTextWriter>* out) noexcept {
    discard();
    ResultCode rc = kResultOk;
    if (isStandardStream(outputPath)) {
        rc = openTextWriterOnStdio(stdout, 0, out);
        return rc == kResultOk ? (*out)->setEncoding(kCodePageUtf8) : rc;
    }
    struct stat info;
    const bool exists = ::stat(outputPath, &info) == 0;
    if (exists && !S_ISREG(info.st_mode)) {
        rc = openTextWriterOnFile(outputPath, false, out);
        return rc == kResultOk ? (*out)->setEncoding(kCodePageUtf8) : rc;
    }
    try {
        target_ = outputPath;
        // A symbolic link keeps pointing where it did: the file it names is
        // the one replaced.
        if (exists) {
            if (char* resolved = ::realpath(outputPath, nullptr)) {
                target_ = resolved;
                std::free(resolved);
            }
        }
        const size_t slash = target_.rfind('/');
        const std::string directory = slash == std::string::npos ? std::string() : target_.substr(0, slash + 1);
        const std::string base = slash == std::string::npos ? target_ : target_.substr(slash + 1);
        temporary_ = directory + "." + base + ".XXXXXX";
    } catch (const std::bad_alloc&) {
        target_.clear();
        temporary_.clear();
        return kErrNoMemory;
    }
    const int fd = ::mkstemp(temporary_.data());
    if (fd < 0) {
        const int error = errno;
        temporary_.clear();
        if (!exists) return resultFromErrno(error);
        // No room beside it: the existing file is written in place.
        rc = openTextWriterOnFile(outputPath, false, out);
        return rc == kResultOk ? (*out)->setEncoding(kCodePageUtf8) : rc;
    }
    gTemporaryPath = temporary_.c_str();
    installHandlers();
    (void)::fchmod(fd, exists ? (info.st_mode & 07777) : newFileMode());
    FILE* stream = ::fdopen(fd, "wb");
    if (!stream) {
        const int error = errno;
        ::close(fd);
        discard();
        return resultFromErrno(error);
    }
    rc = openTextWriterOnStdio(stream, 1, out);
    if (rc != kResultOk) {  // the stream may be owned already: left open
        discard();
        return rc;
    }
    rc = (*out)->setEncoding(kCodePageUtf8);
    if (rc != kResultOk) discard();
    return rc;
}

ResultCode ReportOutputFile::commit() noexcept {
    if (temporary_.empty()) return kResultOk;
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        const int error = errno;
        discard();
        return resultFromErrno(error);
    }
    gTemporaryPath = nullptr;
    restoreHandlers();
    temporary_.clear();
    return kResultOk;
}

void ReportOutputFile::discard() noexcept {
    if (temporary_.empty()) return;
    gTemporaryPath = nullptr;
    ::unlink(temporary_.c_str());
    restoreHandlers();
    temporary_.clear();
}
