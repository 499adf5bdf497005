// Reference-counted object base and the holder that keeps one reference.
//
// Contract: an XpObject starts with one reference owned by its creator.
// retain() adds one, release() drops one and destroys the object through its
// virtual destructor when the count reaches zero. Counts change atomically, so
// objects may be shared between threads. XpHolder<T> owns exactly one
// reference; reset() releases it and leaves the holder empty. Functions that
// create objects take a holder from the caller and leave it empty on failure.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "foundation/ascii.h"

class XpObject {
public:
    XpObject() = default;
    XpObject(const XpObject&) = delete;
    XpObject& operator=(const XpObject&) = delete;

    void retain() noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
    void release() noexcept {
        if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    uint32_t referenceCount() const noexcept { return refs_.load(std::memory_order_relaxed); }

    // Four-character type code (fourCharacterCode("txtw") for a text writer).
    virtual uint32_t typeTag() const noexcept { return 0; }

protected:
    virtual ~XpObject() = default;

private:
    std::atomic<uint32_t> refs_{1};
};

template <class T>
class XpHolder {
public:
    XpHolder() = default;
    ~XpHolder() { reset(); }
    XpHolder(const XpHolder&) = delete;
    XpHolder& operator=(const XpHolder&) = delete;
    XpHolder(XpHolder&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    XpHolder& operator=(XpHolder&& other) noexcept {
        if (this != &other) {
            reset();
            p_ = std::exchange(other.p_, nullptr);
        }
        return *this;
    }

    // Takes over a reference the caller already owns (a new object's first one).
    void adopt(T* object) noexcept {
        T* old = std::exchange(p_, object);
        if (old) old->release();
    }
    // Releases the held reference, if any, and leaves the holder empty.
    void reset() noexcept { adopt(nullptr); }
    T* get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    T& operator*() const noexcept { return *p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

private:
    T* p_ = nullptr;
};
