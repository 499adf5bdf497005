// Report inputs: files, directories and standard input.
#include "app/varoreport/report_inputs.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace {

bool isDirectory(const char* path) {
    struct stat info;
    return ::stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

bool isRegularFile(const std::string& path, const ReportFileIdentity& leaveOut) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    return !(leaveOut.known && info.st_dev == leaveOut.device && info.st_ino == leaveOut.inode);
}

// The regular files of one directory, sorted by name; the listing's failure
// when it cannot be read (an entry that vanishes meanwhile is left out).
ResultCode listDirectory(const char* directory, std::vector<ReportInput>& inputs, const ReportFileIdentity& leaveOut) {
    DIR* stream = ::opendir(directory);
    if (!stream) return resultFromErrno(errno);
    std::string prefix(directory);
    if (prefix.back() != '/') prefix += '/';
    std::vector<std::string> names;
    ResultCode rc = kResultOk;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(stream);
        if (!entry) {
            if (errno != 0) rc = resultFromErrno(errno);
            break;
        }
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
        names.emplace_back(entry->d_name);
    }
    ::closedir(stream);
    if (rc != kResultOk) return rc;
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        std::string path = prefix + name;
        if (isRegularFile(path, leaveOut)) inputs.push_back({std::move(path), kResultOk});
    }
    return kResultOk;
}

}  // namespace

ResultCode expandReportInputs(const char* const* names, uint32_t count, std::vector<ReportInput>& inputs,
                              const ReportFileIdentity& leaveOut) noexcept {
    inputs.clear();
    try {
        for (uint32_t i = 0; i < count; ++i) {
            const char* name = names[i] ? names[i] : "";
            if (name[0] == '\0') {
                // An empty name would mean standard input to the import.
                inputs.push_back({std::string(), kErrNoSuchFile});
            } else if (std::strcmp(name, "-") != 0 && isDirectory(name)) {
                const ResultCode rc = listDirectory(name, inputs, leaveOut);
                if (rc != kResultOk) inputs.push_back({std::string(name), rc});
            } else {
                inputs.push_back({std::string(name), kResultOk});
            }
        }
    } catch (const std::bad_alloc&) {
        inputs.clear();
        return kErrNoMemory;
    }
    return kResultOk;
}
