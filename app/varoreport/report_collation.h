// Report collation: the rows of varoreport --by and --merge.
//
// Contract:
// - collatedTexts: the texts a list must keep for the run's format (titles
//   for the formats that show papers). The groups and the work keys are
//   noted as the import ends each record, with the texts they read.
// - writeGroups: the groups of one body of publications (collate/
//   collation.h), those with at least run.minPapers publications, one row
//   block each in the order: h index, then total citations, both
//   descending, then key; each the metrics of exactly its publications.
//   For html, one section with the table of every group and the charts of
//   the first kChartedGroups. With run.rowThreads of 2 and 2,048 rows or
//   more (every format but html), the later half of the rows is written on
//   a second thread; the rows are the same.
// - writeMerged: the works of the exports that imported (lists[i] non-null,
//   with their labels, format names and the work keys of their
//   publications with Use of 1 or more), those publications pooled in the
//   order given, as one row block (or, with
//   run.by, the groups of the works: those of their records), with the
//   pool's counts; for html also each export's share of the works.
// Each returns the first failing write code, or kErrNoMemory (also when an
// export's keys or groups were noted over other publications than its list
// holds: one the list could not take).
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/result_codes.h"

class VroPublication;
struct VroPublicationNumbers;
struct VroGroup;
class VroPublicationList;
class VroWorkKeys;
class XpTextWriter;
struct VroReportFormat;
struct VroRowFrame;

inline constexpr uint32_t kChartedGroups = 20;

// What the collation takes of a report run.
struct CollatedRun {
    const VroReportFormat* format;
    int64_t now;        // seconds since 1970-01-01 00:00 UTC
    bool merge;
    uint32_t by;        // 0: no grouping; else 1 + VroGroupKind
    uint32_t minPapers;
    // Threads the rows of one export's (or the pool's) groups may be
    // written on: 2 when a thread of the run's would otherwise stand idle.
    uint32_t rowThreads;
};

uint32_t collatedTexts(const CollatedRun& run) noexcept;

// groups: the groups of the count publications (collate/collation.h),
// found as they were read; pubs gives them, or, for formats that do not
// read papers, numbers may instead (pubs null).
[[nodiscard]] ResultCode writeGroups(const CollatedRun& run, const VroRowFrame& frame, const char16_t* label,
                                     const char* formatName, const VroPublication* const* pubs,
                                     const VroPublicationNumbers* numbers, uint32_t count,
                                     std::vector<VroGroup>& groups, XpTextWriter* out) noexcept;

struct MergedExport {
    const char16_t* label;
    const char* formatName;
    VroPublicationList* list;  // null: the export failed
    // The work keys of its publications with a Use of 1 or more, made as
    // they were read.
    const VroWorkKeys* keys;
    // With run.by: the groups of those publications, found as they were
    // read (emptied by writeMerged).
    std::vector<VroGroup>* groups;
    uint32_t used;  // how many publications the keys and groups were noted over
};

[[nodiscard]] ResultCode writeMerged(const CollatedRun& run, const VroRowFrame& frame,
                                     const std::vector<MergedExport>& exports, XpTextWriter* out) noexcept;
