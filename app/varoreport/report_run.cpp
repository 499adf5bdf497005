// Report run: worker threads, ordered output, failure lines and progress.
#include "app/varoreport/report_run.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

#include "app/common/export_metrics.h"
#include "app/varoreport/report_collation.h"
#include "collate/collation.h"
#include "collate/works.h"
#include "app/varoreport/report_options.h"
#include "app/varoreport/report_output.h"
#include "foundation/encodings.h"
#include "foundation/strings.h"
#include "foundation/text_writer.h"
#include "import/format_explanation.h"
#include "import/import_driver.h"
#include "import/importer.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "report/report_rows.h"

namespace {


// One input's outcome, filled by a worker and written by the main thread.
struct Slot {
    XpHolder<XpMemoryStream> rows;
    ResultCode importCode = kResultOk;  // the input's failure, shown on err
    ResultCode rowsCode = kResultOk;    // the rows could not be produced
    // The failure as the rows and err give it: the code's message, with the
    // explanation of an export no format accepts.
    XpString message;
    const char* failureMessage() const noexcept { return message.empty() ? resultMessage(importCode) : message.data(); }
    // An export that carries no citation counts: its format's name and where
    // its source keeps them.
    const char* noCountsFormat = nullptr;
    const char* noCountsHint = nullptr;
    bool done = false;
    // --merge: the export's publications, its label and its format's name,
    // kept until every export has been read.
    std::unique_ptr<VroPublicationList> list;
    VroWorkKeys keys;              // the work keys of list's publications with a Use of 1 or more
    std::vector<VroGroup> groups;  // with --by: the groups of those publications, found as they were read
    uint32_t used = 0;             // how many publications the keys and groups were noted over
    XpString16 label;
    XpString filterName;
};

// State shared by the workers and the writing thread; every field after
// `lock` is guarded by it.
struct Shared {
    Shared(const ReportRun& r, const std::vector<ReportInput>& in, Slot* s, size_t w) noexcept
        : run(r), inputs(in), slots(s), window(w), exportThreads(r.jobs >= 2 * in.size() ? 2 : 1) {}

    const ReportRun& run;
    const std::vector<ReportInput>& inputs;
    Slot* slots;
    size_t window;
    // Threads one export may use: a second when the run has two for every
    // export (its authors are then noted, and its group rows written, on two).
    uint32_t exportThreads;
    std::mutex lock;
    std::condition_variable slotDone;   // the writer waits here
    std::condition_variable roomFreed;  // idle workers wait here
    size_t next = 0;     // the next input to take
    size_t written = 0;  // inputs already written out
    uint32_t idleWorkers = 0;
    bool writerWaiting = false;
    bool stop = false;

    // The next input, when one is left within the window; the window keeps a
    // slow early input from letting the rows of all later ones pile up.
    bool take(size_t& index) noexcept {
        if (next >= inputs.size() || next >= written + window) return false;
        index = next++;
        return true;
    }
};

// The failure as the rows and err give it: the code's message and, for an
// export no format accepts, what its first line looks like and what a close
// layout lacks. Without memory for more, the message alone (or nothing, and
// the caller falls back on the code's message).
void noteFailure(ResultCode rc, const VroImportDetails& details, XpString& message) noexcept {
    if (message.assign(resultMessage(rc)) != kResultOk) return;
    if (rc != kErrInvalidFileType || !details.lineUnrecognised) return;
    XpString explanation;
    if (explainUnrecognisedLine(details.unrecognisedLine, explanation) != kResultOk || explanation.empty()) return;
    const uint32_t plain = message.length();
    if (message.append(": ") != kResultOk || message.append(explanation) != kResultOk) message.setLength(plain);
}

CollatedRun collatedRun(const ReportRun& run, uint32_t exportThreads) noexcept {
    return CollatedRun{run.format, run.now, run.merge, run.by, run.minPapers, exportThreads};
}

// The frame of the run's rows (a plain run's is empty but for the values'
// form).
VroRowFrame runFrame(const ReportRun& run) noexcept {
    VroRowFrame frame;
    frame.grouped = run.by != 0;
    frame.merged = run.merge;
    frame.storedValues = run.storedValues;
    return frame;
}

// What the rows and err say of an import: its code and failure, or, when
// not one record met a count field, that the export carries none at all
// (which is not the same as uncited works); and the input's label.
void noteImport(ResultCode rc, const VroImportDetails& details, const VroPublicationList* list,
                const ReportInput& input, Slot& slot) noexcept {
    slot.importCode = rc;
    if (rc != kResultOk) {
        noteFailure(rc, details, slot.message);
    } else if (details.format != nullptr && list->count() != 0 && list->countWithStatus(kStatusCountGiven) == 0) {
        slot.noCountsFormat = details.format->name;
        slot.noCountsHint = details.format->countHint != nullptr ? details.format->countHint : "";
    }
    (void)slot.label.assign(input.path.c_str());  // invalid bytes become U+FFFD
}

// What a collated run notes as the import ends each record of its
// publications with a Use of 1 or more, numbered in order: with --by their
// groups, with --merge their work keys. When the export has a second
// thread, authors and keys each have a thread of their own beside the
// import's: each does far less than the import, so the two share a processor
// without holding it up.
struct NotedAsRead {
    NotedAsRead(const ReportRun& run, VroGroupKind kind, uint32_t threads) noexcept
        : grouping(run.by != 0),
          merging(run.merge),
          groupKind(kind),
          collector(kind, threads),
          keys(threads) {}
    const bool grouping;
    const bool merging;
    const VroGroupKind groupKind;
    VroGroupCollector collector;
    VroWorkKeyCollector keys;
    uint32_t used = 0;

    // The texts note() reads.
    uint32_t texts() const noexcept {
        return (grouping ? VroGroupCollector::textsRead(groupKind) : 0) |
               (merging ? VroWorkKeyCollector::textsRead() : 0);
    }
    static void note(VroPublication& publication, void* context) noexcept {
        auto* self = static_cast<NotedAsRead*>(context);
        if (publication.Use < 1) return;
        // A failure stays for finish().
        if (self->grouping) (void)self->collector.add(publication, self->used);
        if (self->merging) (void)self->keys.add(publication);
        ++self->used;
    }
};

// The publications with a Use of 1 or more, in the order the groups number
// them: their records, or the numbers of a list that keeps only those.
struct UsedPublications {
    std::unique_ptr<const VroPublication*[]> records;
    std::unique_ptr<VroPublicationNumbers[]> numbers;
    uint32_t count = 0;

    ResultCode gather(const VroPublicationList& list) noexcept {
        const bool numbersOnly = list.keepsNumbersOnly();
        const uint32_t total = numbersOnly ? list.numbersCount() : list.count();
        if (numbersOnly)
            numbers.reset(new (std::nothrow) VroPublicationNumbers[total + 1]);
        else
            records.reset(new (std::nothrow) const VroPublication*[total + 1]);
        if (!numbers && !records) return kErrNoMemory;
        for (uint32_t i = 0; i < total; ++i) {
            if (numbersOnly) {
                if (list.numbers()[i].Use >= 1) numbers[count++] = list.numbers()[i];
            } else if (const VroPublication* p = list.at(i); p != nullptr && p->Use >= 1) {
                records[count++] = p;
            }
        }
        return kResultOk;
    }
};

// A collated run: the export is imported keeping the texts the collation
// reads, in file order; its groups are written at once, or with --merge the
// list waits for the others (a failed export still gets its row now). Rows
// that read the metrics only are calculated from a list of numbers only.
// direct: the report itself, when this export's rows are the next it takes;
// the groups of an export that imported without a word for err are written
// straight into it, since thousands of group rows would otherwise be
// gathered in memory only to be copied there.
void reportCollated(const ReportRun& run, const ReportInput& input, Slot& slot, XpTextWriter* direct,
                    uint32_t exportThreads) noexcept {
    std::unique_ptr<VroPublicationList> list(new (std::nothrow) VroPublicationList);
    ResultCode rc = list ? input.failure : kErrNoMemory;
    VroImportDetails details;
    const VroGroupKind kind = VroGroupKind(run.by != 0 ? run.by - 1 : 0);
    const bool numbersOnly = !run.merge && !run.format->readsPapers;
    NotedAsRead noted(run, kind, exportThreads);
    if (rc == kResultOk) {
        if (numbersOnly)
            list->keepNumbersOnly();
        else
            list->retainTexts(collatedTexts(collatedRun(run, exportThreads)));
        if (noted.grouping || noted.merging) list->onImportEnded(NotedAsRead::note, &noted, noted.texts());
        rc = importPublications(input.path.c_str(), *list, nullptr, slot.filterName, nullptr, &details);
        list->endImport();
    }
    noteImport(rc, details, list.get(), input, slot);

    const VroRowFrame frame = runFrame(run);
    XpHolder<XpTextWriter> memory;
    XpTextWriter* writer = nullptr;
    ResultCode rowsCode = kResultOk;
    if (rc == kResultOk && run.merge) {
        slot.list = std::move(list);
        slot.used = noted.used;
        rowsCode = noted.keys.finish(slot.keys);
        if (rowsCode == kResultOk && run.by != 0) rowsCode = noted.collector.finish(slot.groups);
    } else if (direct != nullptr && rc == kResultOk && slot.noCountsHint == nullptr) {
        writer = direct;
    } else {
        rowsCode = openTextWriterOnMemory(&slot.rows, &memory);
        writer = memory.get();
    }
    if (writer != nullptr) {
        if (rc != kResultOk) {
            rowsCode = run.format->writeFailure(frame, slot.label.data(), slot.failureMessage(), writer);
        } else {
            UsedPublications used;
            rowsCode = used.gather(*list);
            std::vector<VroGroup> found;
            if (rowsCode == kResultOk) rowsCode = noted.collector.finish(found);
            // A record the hook saw but the list could not take.
            if (rowsCode == kResultOk && used.count != noted.used) rowsCode = kErrNoMemory;
            if (rowsCode == kResultOk)
                rowsCode = writeGroups(collatedRun(run, exportThreads), frame, slot.label.data(),
                                       slot.filterName.data(), used.records.get(), used.numbers.get(), used.count,
                                       found, writer);
        }
        if (memory) {
            const ResultCode closed = memory->close();
            if (rowsCode == kResultOk) rowsCode = closed;
        }
    }
    slot.rowsCode = rowsCode;
}

// direct: the report, when input's rows are the next it takes (see
// reportCollated), else null.
void reportOne(const ReportRun& run, const ReportInput& input, Slot& slot, uint32_t exportThreads,
               XpTextWriter* direct = nullptr) noexcept {
    if (run.collates()) {
        reportCollated(run, input, slot, direct, exportThreads);
        return;
    }
    VroPublicationList list;
    if (run.format->readsPapers)
        list.retainTexts(kFieldTitle);
    else
        list.keepNumbersOnly();
    XpString filterName;
    VroMetrics metrics;
    VroImportDetails details;
    ResultCode rc = input.failure;
    if (rc == kResultOk) rc = importAndCalculate(input.path.c_str(), list, filterName, metrics, run.now, &details);
    noteImport(rc, details, &list, input, slot);

    XpHolder<XpTextWriter> writer;
    ResultCode rowsCode = openTextWriterOnMemory(&slot.rows, &writer);
    if (rowsCode == kResultOk) {
        if (rc != kResultOk) {
            rowsCode = run.format->writeFailure(runFrame(run), slot.label.data(), slot.failureMessage(), writer.get());
        } else {
            rowsCode = run.format->writeInput(runFrame(run), slot.label.data(), filterName.data(), list, metrics,
                                              slot.noCountsHint, writer.get());
        }
        const ResultCode closed = writer->close();
        if (rowsCode == kResultOk) rowsCode = closed;
    }
    slot.rowsCode = rowsCode;
}

// A worker thread: takes inputs until none is left or the run stops. Threads
// are woken only when someone waits, so that a run of many small inputs does
// not pay a system call per input.
void work(Shared& shared) noexcept {
    std::unique_lock<std::mutex> guard(shared.lock);
    for (;;) {
        size_t index = 0;
        while (!shared.stop && !shared.take(index)) {
            if (shared.next >= shared.inputs.size()) return;
            ++shared.idleWorkers;
            shared.roomFreed.wait(guard);
            --shared.idleWorkers;
        }
        if (shared.stop) return;
        guard.unlock();
        reportOne(shared.run, shared.inputs[index], shared.slots[index], shared.exportThreads);
        guard.lock();
        shared.slots[index].done = true;
        if (shared.writerWaiting) shared.slotDone.notify_one();
    }
}

class Progress {
public:
    Progress(FILE* err, bool shown, size_t total) noexcept : err_(err), shown_(shown), total_(total) {}

    void update(size_t count, bool force = false) noexcept {
        if (!shown_) return;
        const auto now = std::chrono::steady_clock::now();
        if (!force && drawn_ && now - last_ < std::chrono::milliseconds(100)) return;
        std::fprintf(err_, "\r%zu/%zu exports", count, total_);
        std::fflush(err_);
        drawn_ = true;
        last_ = now;
    }
    // Clears the counter line before another line is written, or at the end.
    void erase() noexcept {
        if (!shown_ || !drawn_) return;
        std::fputs("\r\033[K", err_);
        std::fflush(err_);
        drawn_ = false;
    }

private:
    FILE* err_;
    bool shown_;
    size_t total_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point last_{};
};

}  // namespace

int64_t julyFirstUtc(int32_t year) noexcept {
    // Days from 1970-01-01 to year-07-01 in the proleptic Gregorian calendar,
    // counted in 400-year eras that begin on 1 March. Years run from 1 (the
    // option's range), so an era is the plain quotient.
    const int64_t y = year;
    const int64_t era = y / 400;
    const int64_t yearOfEra = y - era * 400;
    const int64_t dayOfYear = (153 * (7 - 3) + 2) / 5;  // 1 July counted from 1 March
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return (era * 146097 + dayOfEra - 719468) * 86400;
}

int runReport(const ReportRun& run, const std::vector<ReportInput>& inputs, FILE* err) noexcept {
    const char* const outputName = (run.outputPath && run.outputPath[0]) ? run.outputPath : "<stdout>";
    ReportOutputFile file;
    XpHolder<XpTextWriter> out;
    ResultCode rc = file.open(run.outputPath, &out);
    if (rc != kResultOk) {
        std::fprintf(err, "%s: %s: cannot write report: %s\n", run.programName, outputName, resultMessage(rc));
        return 1;
    }
    std::unique_ptr<Slot[]> slots(new (std::nothrow) Slot[inputs.size() ? inputs.size() : 1]);
    if (!slots) {
        std::fprintf(err, "%s: %s\n", run.programName, resultMessage(kErrNoMemory));
        return 1;
    }
    const uint32_t jobs = run.jobs == 0 ? 1 : run.jobs < inputs.size() ? run.jobs : uint32_t(inputs.size());
    Shared shared(run, inputs, slots.get(), size_t(jobs) * 4 + 16);

    // A failure to write the output is kept by its writer; outputCode holds
    // one of an input's rows, which ends the run as well.
    ResultCode outputCode = kResultOk;
    if (run.format->writeHead) outputCode = run.format->writeHead(runFrame(run), out.get());
    auto writing = [&] { return outputCode == kResultOk && out->failure() == kResultOk; };

    // The writing thread is one of the `jobs`: it reports inputs itself
    // while the one it must write next is not ready.
    std::thread workers[kMaxReportJobs];
    uint32_t started = 0;
    for (; started + 1 < jobs && writing(); ++started) {
        try {
            workers[started] = std::thread(work, std::ref(shared));
        } catch (const std::system_error&) {
            break;  // fewer threads do the same work
        }
    }

    Progress progress(err, run.showProgress, inputs.size());
    bool anyFailed = false;
    for (size_t i = 0; i < inputs.size() && writing(); ++i) {
        Slot& slot = slots[i];
        {
            std::unique_lock<std::mutex> guard(shared.lock);
            while (!slot.done) {
                size_t index = 0;
                if (shared.take(index)) {
                    guard.unlock();
                    reportOne(run, inputs[index], slots[index], shared.exportThreads, index == i ? out.get() : nullptr);
                    progress.update(i);
                    guard.lock();
                    slots[index].done = true;
                    continue;
                }
                shared.writerWaiting = true;
                if (run.showProgress) {
                    shared.slotDone.wait_for(guard, std::chrono::milliseconds(100));
                    shared.writerWaiting = false;
                    guard.unlock();
                    progress.update(i);
                    guard.lock();
                } else {
                    shared.slotDone.wait(guard);
                    shared.writerWaiting = false;
                }
            }
        }
        if (slot.importCode != kResultOk || slot.noCountsHint != nullptr) {
            progress.erase();
            XpString shown;
            (void)shown.assign(slot.label);
            const bool hint = slot.noCountsHint != nullptr && slot.noCountsHint[0] != 0;
            anyFailed = anyFailed || slot.importCode != kResultOk;
            if (slot.importCode != kResultOk)
                std::fprintf(err, "%s: %s: %s\n", run.programName, shown.data(), slot.failureMessage());
            else
                std::fprintf(err, "%s: %s: no citation counts in this %s export%s%s%s\n", run.programName,
                             shown.data(), slot.noCountsFormat, hint ? " (" : "", slot.noCountsHint, hint ? ")" : "");
        }
        if (slot.rowsCode != kResultOk) {
            outputCode = slot.rowsCode;
        } else if (slot.rows) {
            writeLongText(out.get(), slot.rows->bytes(), slot.rows->size());
        }
        slot.rows.reset();
        bool wake;
        {
            std::lock_guard<std::mutex> guard(shared.lock);
            shared.written = i + 1;
            wake = shared.idleWorkers != 0;
        }
        if (wake) shared.roomFreed.notify_all();
        progress.update(i + 1);
    }
    {
        std::lock_guard<std::mutex> guard(shared.lock);
        shared.stop = true;
    }
    shared.roomFreed.notify_all();
    for (uint32_t t = 0; t < started; ++t) workers[t].join();
    progress.erase();

    if (writing() && run.merge) {
        std::vector<MergedExport> exports;
        try {
            exports.reserve(inputs.size());
            for (size_t i = 0; i < inputs.size(); ++i)
                exports.push_back(
                    {slots[i].label.data(), slots[i].filterName.data(), slots[i].list.get(), &slots[i].keys,
                     &slots[i].groups, slots[i].used});
            outputCode = writeMerged(collatedRun(run, run.jobs >= 2 ? 2 : 1), runFrame(run), exports, out.get());
        } catch (const std::bad_alloc&) {
            outputCode = kErrNoMemory;
        }
    }
    if (writing() && run.format->writeTail) outputCode = run.format->writeTail(out.get());
    // Flushed first: closing leaves standard output open, and a failure that
    // only its stdio buffer would meet at exit must still be seen here.
    (void)out->flush();
    const ResultCode closed = out->close();
    if (outputCode == kResultOk) outputCode = closed;
    // Only a complete report replaces the file that was there.
    if (outputCode == kResultOk) outputCode = file.commit();
    else file.discard();
    if (outputCode != kResultOk) {
        std::fprintf(err, "%s: %s: cannot write report: %s\n", run.programName, outputName,
                     resultMessage(outputCode));
        return 1;
    }
    return anyFailed ? 1 : 0;
}
