// A relay of batches from the thread that reads publications to a second
// thread that works through them in order while the reading goes on.
// Internal to collate/.
//
// The reader fills filling() and hands it on; at most kWaiting batches wait,
// so memory stays bounded however fast the reader is. A batch the second
// thread is done with is cleared and kept for reuse. work may throw
// std::bad_alloc: the relay then stops working (later batches are dropped)
// and finish() returns kErrNoMemory. hand() may throw std::bad_alloc to its
// caller; finish() returns such a failure instead.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/result_codes.h"

namespace vro_collate {

// A batch of publications as the relays carry them: a head each, and their
// texts one after the other, with the lengths of those texts the heads do
// not give themselves (an author list's names).
template <class Head>
struct TextBatch {
    std::vector<Head> heads;
    std::vector<uint32_t> lengths;
    std::u16string text;
    bool empty() const noexcept { return heads.empty(); }
    void clear() noexcept {
        heads.clear();
        lengths.clear();
        text.clear();
    }
};

// Batch: movable, default-constructible, with clear() and empty().
// Work: callable as work(Batch&) on the second thread.
template <class Batch, class Work>
class BatchRelay {
public:
    explicit BatchRelay(Work work) noexcept : work_(std::move(work)) {}
    ~BatchRelay() { stop(); }
    BatchRelay(const BatchRelay&) = delete;
    BatchRelay& operator=(const BatchRelay&) = delete;

    // False when no thread can be started: the caller works on its own.
    bool start() noexcept {
        try {
            thread_ = std::thread([this] { run(); });
        } catch (const std::system_error&) {
            return false;
        }
        return true;
    }

    Batch& filling() noexcept { return filling_; }

    // Hands the batch on once it holds kBatchRecords publications or
    // kBatchUnits units of text (which keeps offsets into its text well
    // within 32 bits).
    void handWhenFull(size_t records, size_t units) {
        if (records >= kBatchRecords || units >= kBatchUnits) hand();
    }

    // Hands the batch being filled to the second thread, waiting while
    // kWaiting batches wait already.
    void hand() {
        std::unique_lock<std::mutex> guard(lock_);
        roomFreed_.wait(guard, [this] { return waiting_.size() < kWaiting; });
        waiting_.push_back(std::move(filling_));
        filling_ = Batch();
        if (!spare_.empty()) {
            filling_ = std::move(spare_.back());
            spare_.pop_back();
        }
        guard.unlock();
        batchReady_.notify_one();
    }

    // Hands what is being filled, waits until every batch has been worked
    // through; the second thread's failure, if any, or kErrNoMemory when the
    // last batch could not be handed on.
    ResultCode finish() noexcept {
        ResultCode handed = kResultOk;
        try {
            if (!filling_.empty()) hand();
        } catch (const std::bad_alloc&) {
            handed = kErrNoMemory;
        }
        stop();
        return failure_ != kResultOk ? failure_ : handed;
    }

private:
    static constexpr size_t kBatchRecords = 256;
    static constexpr size_t kBatchUnits = size_t(1) << 20;
    static constexpr size_t kWaiting = 4;

    void stop() noexcept {
        {
            std::lock_guard<std::mutex> guard(lock_);
            done_ = true;
        }
        batchReady_.notify_one();
        if (thread_.joinable()) thread_.join();
    }

    void run() noexcept {
        for (;;) {
            Batch batch;
            {
                std::unique_lock<std::mutex> guard(lock_);
                batchReady_.wait(guard, [this] { return !waiting_.empty() || done_; });
                if (waiting_.empty()) return;
                batch = std::move(waiting_.front());
                waiting_.pop_front();
            }
            roomFreed_.notify_one();
            if (failure_ == kResultOk) {
                try {
                    work_(batch);
                } catch (const std::bad_alloc&) {
                    failure_ = kErrNoMemory;
                }
            }
            batch.clear();
            std::lock_guard<std::mutex> guard(lock_);
            if (spare_.size() < 2 && failure_ == kResultOk) {
                try {
                    spare_.push_back(std::move(batch));
                } catch (const std::bad_alloc&) {
                    // The batch goes; the next one is made afresh.
                }
            }
        }
    }

    Work work_;
    Batch filling_;
    std::mutex lock_;
    std::condition_variable batchReady_;
    std::condition_variable roomFreed_;
    std::deque<Batch> waiting_;
    std::vector<Batch> spare_;
    bool done_ = false;
    ResultCode failure_ = kResultOk;  // the second thread's; read once it has ended
    std::thread thread_;
};

}  // namespace vro_collate
