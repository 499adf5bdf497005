// Report output: the file varoreport writes, chosen so that no export it
// reads can be lost to it.
//
// Contract:
// - identifyReportOutput tells which existing regular file an output name
//   means (device and inode; symbolic links followed). A name that does not
//   exist yet, or names no regular file (a device, a pipe), identifies none;
//   standard output (an empty name or "-") is the file it was redirected to.
// - inputNamingOutput returns the first named input that is that same file,
//   however it is named (another path, a hard link, a symbolic link, or "-"
//   when standard input reads it), or null. Directories are not looked into
//   here: their listing leaves the output out (report_inputs.h).
// - ReportOutputFile::open writes a file output to a new temporary file in
//   the target's directory (its mode that of the file it replaces, or what a
//   new file would get), and commit renames it over the target once the
//   report is complete: the old file stays as it was until then, also when
//   the run fails or is killed. The temporary file is removed on failure, by
//   the destructor, and on SIGINT, SIGTERM and SIGHUP (the signal then ends
//   the process as it would have). When no temporary file can be made beside
//   an existing target (a directory the user may not write in), or the target
//   is not a regular file, the target itself is written as before. An empty
//   path or "-" writes standard output.
#pragma once

#include <sys/types.h>

#include <string>

#include "foundation/result_codes.h"
#include "foundation/text_writer.h"

struct ReportFileIdentity {
    bool known = false;  // false: no existing regular file
    dev_t device = 0;
    ino_t inode = 0;
};

ReportFileIdentity identifyReportOutput(const char* outputPath) noexcept;

const char* inputNamingOutput(const char* const* names, uint32_t count, const ReportFileIdentity& output) noexcept;

class ReportOutputFile {
public:
    ReportOutputFile() = default;
    ~ReportOutputFile();
    ReportOutputFile(const ReportOutputFile&) = delete;
    ReportOutputFile& operator=(const ReportOutputFile&) = delete;

    [[nodiscard]] ResultCode open(const char* outputPath, XpHolder<XpTextWriter>* out) noexcept;
    // After the writer was closed without failure: the report takes the
    // target's place. Any failure leaves the target as it was.
    [[nodiscard]] ResultCode commit() noexcept;
    // The report is abandoned: its temporary file, if any, is removed.
    void discard() noexcept;

private:
    std::string target_;     // the file replaced (symbolic links resolved)
    std::string temporary_;  // empty: the output is written in place
};
