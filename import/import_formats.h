// The import formats: one row per export format, in the order the import
// driver asks them.
//
// Contract: kImportFormats holds every format the import driver recognises;
// its length is the number of formats. The first row whose signatures (or
// probe) accept the first line of an input reads that input, so the order is
// part of format detection: earlier rows win. Each row declares the format
// whole (display name, four-character code, signatures or probe, record
// reader, binding table and separator; see VroImportFormat in
// import/importer.h); its binding table is defined beside it, in case-blind
// sorted order but for the one table that is documented as unsorted.

#pragma once

#include <span>

#include "import/importer.h"

extern const std::span<const VroImportFormat> kImportFormats;

struct VroCsvHeader;
// What the Scopus column probe requires (its row has a probe of its own,
// which compares the titles untrimmed), for explaining a header that falls
// short of it.
extern const VroCsvHeader& kScopusColumnsHeader;
