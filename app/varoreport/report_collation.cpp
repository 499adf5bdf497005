// Report collation: groups and merged works as report rows.
#include "app/varoreport/report_collation.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "collate/collation.h"
#include "collate/works.h"
#include "foundation/byte_streams.h"
#include "foundation/text_writer.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "report/html_page.h"
#include "report/report_rows.h"

namespace {

bool isHtml(const CollatedRun& run) noexcept { return run.format->collatedPages; }

// What a group row of merged works says about the pool: the works' pooled
// publications and the exports they came from.
struct PoolView {
    const VroWorks* works;
    const std::vector<uint32_t>* exportOf;     // per pooled publication
    const std::vector<uint32_t>* firstMember;  // per work, into members (CSR with one more entry)
    const std::vector<uint32_t>* members;      // pooled publications, grouped by work
    uint32_t exportCount;
};

// The pool counts of a set of works (indexes of works).
void countPool(const PoolView& pool, const std::vector<uint32_t>& workIndexes, VroRowFrame& frame,
               std::vector<uint32_t>& stamp, uint32_t mark) {
    uint32_t read = 0;
    uint32_t exports = 0;
    for (const uint32_t w : workIndexes) {
        for (uint32_t k = (*pool.firstMember)[w]; k < (*pool.firstMember)[w + 1]; ++k) {
            ++read;
            const uint32_t e = (*pool.exportOf)[(*pool.members)[k]];
            if (stamp[e] != mark) {
                stamp[e] = mark;
                ++exports;
            }
        }
    }
    frame.exports = exports;
    frame.publicationsRead = read;
    frame.duplicatesMerged = read - uint32_t(workIndexes.size());
}

// Whether key a sorts before key b, unit by unit as std::u16string_view
// compares them. Groups that tie on h and citations (most small ones do)
// are ordered by their keys, which share long beginnings ("scopus:5700..."):
// four units are compared at a time, and the first word that differs holds,
// at its lowest differing bits, the first unit that differs.
bool keyBefore(std::u16string_view a, std::u16string_view b) noexcept {
    const size_t n = std::min(a.size(), b.size());
    size_t i = 0;
    if constexpr (std::endian::native == std::endian::little) {
        for (; i + 4 <= n; i += 4) {
            uint64_t x;
            uint64_t y;
            std::memcpy(&x, a.data() + i, sizeof x);
            std::memcpy(&y, b.data() + i, sizeof y);
            if (x == y) continue;
            const size_t unit = i + size_t(std::countr_zero(x ^ y)) / 16;
            return a[unit] < b[unit];
        }
    }
    for (; i < n; ++i)
        if (a[i] != b[i]) return a[i] < b[i];
    return a.size() < b.size();
}

struct RankedGroup {
    uint32_t group;
    uint32_t h;
    uint32_t cites;
    uint32_t i10;  // csv and json: its papers with 10 citations or more
    // The group's key, for ties: reached without going through the group,
    // as the sort compares groups that lie far apart.
    std::u16string_view key;
};

// What the ranking reads of a group: the h-index and citations of its used
// papers, as the calculation finds them, and its papers cited ten times or
// more. h is the largest k with k papers cited k times or more, counted
// without sorting; counts is scratch. False when a count reaches 2^31,
// which the calculation orders otherwise: that group is calculated.
template <class RecordOf>
bool rankingFigures(const std::vector<uint32_t>& members, RecordOf recordOf, std::vector<uint32_t>& counts,
                    RankedGroup& ranked) {
    const uint32_t n = uint32_t(members.size());
    counts.assign(size_t(n) + 1, 0);
    uint32_t total = 0;
    uint32_t i10 = 0;
    uint32_t high = 0;
    for (const uint32_t m : members) {
        const auto& record = recordOf(m);
        if (record.Use < 1) continue;
        const uint32_t cites = record.Cites;
        high |= cites;
        total += cites;
        i10 += cites >= 10 ? 1 : 0;
        ++counts[std::min(cites, n)];
    }
    ranked.i10 = i10;
    if ((high & 0x80000000u) != 0) return false;
    uint32_t h = 0;
    uint32_t reached = 0;
    for (uint32_t k = n; k > 0; --k) {
        reached += counts[k];
        if (reached >= k) {
            h = k;
            break;
        }
    }
    ranked.h = h;
    ranked.cites = total;
    return true;
}

// A group's publications lie anywhere among the export's: the next group's
// numbers (or records) are asked for while one is counted or calculated.
void prefetchMembers(const VroGroup& group, const VroPublication* const* pubs,
                     const VroPublicationNumbers* numbers) noexcept {
    for (const uint32_t m : group.members) {
        if (numbers != nullptr) {
            __builtin_prefetch(&numbers[m]);
        } else {
            __builtin_prefetch(&pubs[m]->Rank);
            __builtin_prefetch(&pubs[m]->status);
        }
    }
}

// What writing rows needs of its own: lists and metrics calculated over,
// and the marks of the pool's counts.
struct RowScratch {
    explicit RowScratch(const PoolView* pool) : stamp(pool != nullptr ? pool->exportCount : 0, 0) {}
    std::vector<const VroPublication*> members;
    VroPublicationList calculation;  // the ranking's, and csv and json rows'
    VroPublicationList list;         // the rows' that read papers
    VroMetrics metrics;
    std::vector<uint32_t> stamp;
    std::vector<uint32_t> workIndexes;
};

// Rows below this many are written on one thread: a second costs more to
// start than it saves.
constexpr size_t kRowsWorthAThread = 2048;

// Writes the rows of ranks [0, count) through writeRows(from, to, pass,
// scratch, writer). With two threads, the second writes the later half
// into memory while the first writes the earlier half into out, which
// then takes the second's text: the same bytes in the same order. A
// thread that cannot be started leaves all to the first.
template <class WriteRows>
ResultCode writeRowsOnThreads(uint32_t threads, size_t count, const PoolView* pool, const WriteRows& writeRows,
                              RowScratch& scratch, XpTextWriter* out) {
    if (threads < 2 || count < kRowsWorthAThread) return writeRows(0, count, 0, scratch, out);
    const size_t half = count / 2;
    XpHolder<XpMemoryStream> memory;
    XpHolder<XpTextWriter> later;
    if (openTextWriterOnMemory(&memory, &later) != kResultOk) return writeRows(0, count, 0, scratch, out);
    RowScratch second(pool);
    ResultCode laterCode = kResultOk;
    std::thread helper;
    try {
        helper = std::thread([&]() noexcept {
            try {
                laterCode = writeRows(half, count, 0, second, later.get());
            } catch (const std::bad_alloc&) {
                laterCode = kErrNoMemory;
            }
            if (laterCode == kResultOk) laterCode = later->close();
        });
    } catch (const std::system_error&) {
        return writeRows(0, count, 0, scratch, out);
    }
    ResultCode rc;
    try {
        rc = writeRows(0, half, 0, scratch, out);
    } catch (const std::bad_alloc&) {
        rc = kErrNoMemory;  // the second thread is waited for all the same
    }
    helper.join();
    if (rc != kResultOk) return rc;
    if (laterCode != kResultOk) return laterCode;
    // A failure to write is the writer's to keep, as with every row.
    writeLongText(out, memory->bytes(), memory->size());
    return kResultOk;
}

// groups: null, or the groups of pubs already found.
// numbers: null, or the publications' numbers when pubs is null (csv and
// json, whose rows read the metrics only).
ResultCode writeGroupsOf(const CollatedRun& run, const VroRowFrame& base, const char16_t* label,
                         const char* formatName, const VroPublication* const* pubs,
                         const VroPublicationNumbers* numbers, uint32_t count, std::vector<VroGroup>* found,
                         const PoolView* pool, XpTextWriter* out) {
    std::vector<VroGroup> own;
    ResultCode rc = kResultOk;
    if (found == nullptr) rc = groupPublications(pubs, count, VroGroupKind(run.by - 1), own);
    if (rc != kResultOk) return rc;
    std::vector<VroGroup>& groups = found != nullptr ? *found : own;
    std::vector<RankedGroup> ranked;
    std::vector<uint32_t> counts;
    // The rows of csv and json read only the metrics, calculated as each
    // row is written: the ranking needs no more than each group's h and
    // citations, counted directly.
    const bool numbersOnly = !run.format->readsPapers;
    const auto gatherMembers = [&](const VroGroup& group, RowScratch& s) {
        s.members.clear();
        for (const uint32_t m : group.members) s.members.push_back(pubs[m]);
    };
    const auto calculateNumbers = [&](const VroGroup& group, RowScratch& s) {
        if (numbers != nullptr)
            return calculateOverNumbers(numbers, group.members.data(), uint32_t(group.members.size()), run.now,
                                        s.calculation, s.metrics);
        gatherMembers(group, s);
        return calculateOver(s.members.data(), uint32_t(s.members.size()), false, run.now, s.calculation, s.metrics);
    };
    RowScratch scratch(pool);
    ranked.reserve(groups.size());
    for (uint32_t g = 0; g < groups.size(); ++g) {
        const VroGroup& group = groups[g];
        if (group.members.size() < run.minPapers) continue;
        if (g + 1 < groups.size()) prefetchMembers(groups[g + 1], pubs, numbers);
        RankedGroup r{g, 0, 0, 0, group.key};
        const bool counted =
            numbers != nullptr
                ? rankingFigures(group.members, [&](uint32_t m) -> const auto& { return numbers[m]; }, counts, r)
                : rankingFigures(group.members, [&](uint32_t m) -> const auto& { return *pubs[m]; }, counts, r);
        if (!counted) {
            rc = calculateNumbers(group, scratch);
            if (rc != kResultOk) return rc;
            r.h = scratch.metrics.hIndex;
            r.cites = scratch.metrics.totalCites;
        }
        ranked.push_back(r);
    }
    std::sort(ranked.begin(), ranked.end(), [&](const RankedGroup& a, const RankedGroup& b) {
        if (a.h != b.h) return a.h > b.h;
        if (a.cites != b.cites) return a.cites > b.cites;
        return keyBefore(a.key, b.key);
    });

    const bool html = isHtml(run);
    // The rows of ranks [from, to) of one pass (html: the table, then the
    // charts of the first groups) into to.
    const auto writeRows = [&](size_t from, size_t end, uint32_t pass, RowScratch& s, XpTextWriter* to) -> ResultCode {
        for (size_t r = from; r < end; ++r) {
            // Rows go in ranked order, which is not the order the groups and
            // their publications lie in: the rows ahead are asked for early,
            // each step reaching what the one before brought in.
            if (r + 3 < end) __builtin_prefetch(&groups[ranked[r + 3].group]);
            if (r + 2 < end) {
                const VroGroup& ahead = groups[ranked[r + 2].group];
                __builtin_prefetch(ahead.members.data());
                __builtin_prefetch(ahead.key.data());
            }
            if (numbers != nullptr && r + 1 < end) prefetchMembers(groups[ranked[r + 1].group], pubs, numbers);
            const VroGroup& group = groups[ranked[r].group];
            VroRowFrame frame = base;
            ResultCode rowCode;
            if (numbersOnly) {
                frame.publications = uint32_t(group.members.size());
                frame.i10 = ranked[r].i10;
                rowCode = calculateNumbers(group, s);
            } else {
                gatherMembers(group, s);
                rowCode = calculateOver(s.members.data(), uint32_t(s.members.size()), true, run.now, s.list,
                                        s.metrics);
            }
            if (rowCode != kResultOk) return rowCode;
            frame.grouped = true;
            frame.groupKey = group.key.c_str();
            frame.groupName = group.name.c_str();
            if (pool != nullptr) {
                s.workIndexes.assign(group.members.begin(), group.members.end());
                countPool(*pool, s.workIndexes, frame, s.stamp, uint32_t(r + 1 + pass * ranked.size()));
            }
            if (!html)
                rowCode = run.format->writeInput(frame, label, formatName, s.list, s.metrics, nullptr, to);
            else if (pass == 0)
                rowCode = writeHtmlGroupRow(to, VroHtmlGroupRow{frame.groupKey, frame.groupName, &s.metrics});
            else
                rowCode = writeHtmlGroupChart(to, VroHtmlGroupRow{frame.groupKey, frame.groupName, &s.metrics}, s.list);
            if (rowCode != kResultOk) return rowCode;
        }
        return kResultOk;
    };
    if (!html) return writeRowsOnThreads(run.rowThreads, ranked.size(), pool, writeRows, scratch, out);

    VroHtmlGroups page{label, formatName, uint32_t(ranked.size())};
    rc = writeHtmlGroupsStart(out, page);
    if (rc == kResultOk) rc = writeRows(0, ranked.size(), 0, scratch, out);
    if (rc == kResultOk) rc = writeHtmlGroupsTableEnd(out, page);
    if (rc == kResultOk) rc = writeRows(0, std::min<size_t>(ranked.size(), kChartedGroups), 1, scratch, out);
    if (rc == kResultOk) rc = writeHtmlGroupsEnd(out);
    return rc;
}

ResultCode writeMergedOf(const CollatedRun& run, const VroRowFrame& base, const std::vector<MergedExport>& exports,
                         XpTextWriter* out) {
    // The pool: every used publication of the exports that imported, in order.
    std::vector<VroPublication*> pool;
    std::vector<uint32_t> exportOf;
    std::vector<const VroWorkKeys*> keys;  // each export's, in order
    VroRowFrame frame = base;
    std::u16string label;
    std::string formats;
    std::vector<std::string> formatNames;
    size_t listed = 0;
    for (const MergedExport& e : exports) listed += e.list != nullptr ? e.list->count() : 0;
    pool.reserve(listed);
    exportOf.reserve(listed);
    for (uint32_t e = 0; e < exports.size(); ++e) {
        VroPublicationList* list = exports[e].list;
        if (list == nullptr) continue;
        ++frame.exports;
        frame.publicationsRead += list->count();
        if (!label.empty()) label += u" + ";
        label += exports[e].label;
        const std::string name = exports[e].formatName ? exports[e].formatName : "";
        if (std::find(formatNames.begin(), formatNames.end(), name) == formatNames.end()) {
            formats += (formats.empty() ? "" : " + ") + name;
            formatNames.push_back(name);
        }
        const size_t before = pool.size();
        for (uint32_t i = 0; i < list->count(); ++i) {
            VroPublication* p = list->at(i);
            if (p == nullptr || p->Use < 1) continue;
            pool.push_back(p);
            exportOf.push_back(e);
        }
        // A record the keys were made of but the list could not take.
        if (pool.size() - before != exports[e].used || exports[e].keys->count() != exports[e].used)
            return kErrNoMemory;
        keys.push_back(exports[e].keys);
    }
    if (frame.exports == 0) return kResultOk;
    VroWorks works;
    ResultCode rc = findWorks(pool.data(), uint32_t(pool.size()), keys.data(), uint32_t(keys.size()), works);
    if (rc != kResultOk) return rc;
    const uint32_t workCount = uint32_t(works.representative.size());
    frame.duplicatesMerged = uint32_t(pool.size()) - workCount;

    // Members of each work, in pool order.
    std::vector<uint32_t> firstMember(workCount + 1, 0);
    for (const uint32_t w : works.workOf) ++firstMember[w + 1];
    for (uint32_t w = 0; w < workCount; ++w) firstMember[w + 1] += firstMember[w];
    std::vector<uint32_t> members(pool.size());
    {
        std::vector<uint32_t> next(firstMember.begin(), firstMember.end() - 1);
        for (uint32_t i = 0; i < pool.size(); ++i) members[next[works.workOf[i]]++] = i;
    }

    // The works, numbered in the order of their first publication: each is
    // its representative record, ranked by that number.
    std::vector<const VroPublication*> workRecords(workCount);
    for (uint32_t w = 0; w < workCount; ++w) {
        VroPublication* representative = pool[works.representative[w]];
        representative->Rank = int32_t(w + 1);
        workRecords[w] = representative;
    }

    const PoolView view{&works, &exportOf, &firstMember, &members, uint32_t(exports.size())};
    if (run.by != 0) {
        // A work is in the groups of its record: each export's groups, found
        // as it was read, keep the members that stand for a work. An
        // export's members are its stretch of the pool, in order.
        std::vector<std::vector<VroGroup>> parts;
        std::vector<std::vector<uint32_t>> workOfMember;
        uint32_t p = 0;
        for (const MergedExport& e : exports) {
            if (e.list == nullptr) continue;
            parts.emplace_back();
            if (e.groups != nullptr) parts.back().swap(*e.groups);
            workOfMember.emplace_back();
            std::vector<uint32_t>& map = workOfMember.back();
            map.reserve(e.used);
            for (uint32_t m = 0; m < e.used; ++m, ++p) {
                const uint32_t w = works.workOf[p];
                map.push_back(works.representative[w] == p ? w : kNoMember);
            }
        }
        std::vector<VroGroup> groups;
        rc = combineGroups(parts, workOfMember, groups);
        if (rc != kResultOk) return rc;
        return writeGroupsOf(run, frame, label.c_str(), formats.c_str(), workRecords.data(), nullptr, workCount,
                             &groups, &view, out);
    }

    // Where each work was found: "label:cites" per pooled publication.
    std::vector<std::u16string> foundIn;
    std::vector<const char16_t*> foundInTexts;
    if (run.format->readsPapers) {
        foundIn.resize(workCount);
        foundInTexts.resize(workCount);
        for (uint32_t w = 0; w < workCount; ++w) {
            for (uint32_t k = firstMember[w]; k < firstMember[w + 1]; ++k) {
                const uint32_t i = members[k];
                if (!foundIn[w].empty()) foundIn[w] += u';';
                foundIn[w] += exports[exportOf[i]].label;
                foundIn[w] += u':';
                appendDecimal(foundIn[w], pool[i]->Cites);
            }
            foundInTexts[w] = foundIn[w].c_str();
        }
        frame.foundIn = foundInTexts.data();
        frame.foundInCount = workCount;
    }

    VroPublicationList list;
    VroMetrics metrics;
    rc = calculateOver(workRecords.data(), workCount, run.format->readsPapers, run.now, list, metrics);
    if (rc != kResultOk) return rc;
    if (!isHtml(run))
        return run.format->writeInput(frame, label.c_str(), formats.c_str(), list, metrics, nullptr, out);

    rc = writeHtmlSection(out, VroHtmlSection{label.c_str(), formats.c_str(), &list, &metrics, nullptr});
    if (rc != kResultOk) return rc;
    // Each export's share: works it holds, works only it holds; and the
    // works found in several exports.
    std::vector<VroHtmlPoolRow> shares;
    uint32_t several = 0;
    std::vector<uint32_t> holds(exports.size(), 0);
    std::vector<uint32_t> only(exports.size(), 0);
    std::vector<uint32_t> stamp(exports.size(), 0);
    for (uint32_t w = 0; w < workCount; ++w) {
        uint32_t distinct = 0;
        uint32_t last = 0;
        for (uint32_t k = firstMember[w]; k < firstMember[w + 1]; ++k) {
            const uint32_t e = exportOf[members[k]];
            if (stamp[e] == w + 1) continue;
            stamp[e] = w + 1;
            ++holds[e];
            ++distinct;
            last = e;
        }
        if (distinct == 1)
            ++only[last];
        else
            ++several;
    }
    for (uint32_t e = 0; e < exports.size(); ++e)
        if (exports[e].list != nullptr) shares.push_back({exports[e].label, holds[e], only[e]});
    return writeHtmlPoolTable(out, shares.data(), uint32_t(shares.size()), workCount, several);
}

}  // namespace

uint32_t collatedTexts(const CollatedRun& run) noexcept {
    uint32_t texts = 0;
    // The groups and work keys read their texts as the import ends each
    // record, so that neither needs the list to keep any.
    if (run.format->readsPapers) texts |= kFieldTitle;
    return texts;
}

ResultCode writeGroups(const CollatedRun& run, const VroRowFrame& frame, const char16_t* label, const char* formatName,
                       const VroPublication* const* pubs, const VroPublicationNumbers* numbers, uint32_t count,
                       std::vector<VroGroup>& groups, XpTextWriter* out) noexcept {
    if (pubs == nullptr && (numbers == nullptr || run.format->readsPapers)) return kErrInvalidArgument;
    try {
        return writeGroupsOf(run, frame, label, formatName, pubs, numbers, count, &groups, nullptr, out);
    } catch (const std::bad_alloc&) {
        return kErrNoMemory;
    }
}

ResultCode writeMerged(const CollatedRun& run, const VroRowFrame& frame, const std::vector<MergedExport>& exports,
                       XpTextWriter* out) noexcept {
    try {
        return writeMergedOf(run, frame, exports, out);
    } catch (const std::bad_alloc&) {
        return kErrNoMemory;
    }
}
