// The encoding registry: one lazily created, shared object per code page.
//
// - Pseudo numbers first: 0 and 0xFFFFFFFE are the ANSI code page (1252),
//   1 the OEM code page (850), 2 the Mac code page (10000).
// - The code page is then found by binary search in the table below; an
//   unknown number gives 526.
// - The first request runs the entry's factory and installs the new object by
//   compare-and-swap; a thread that loses the race releases its own object
//   and uses the installed one. Every caller gets one added reference.
// - At process exit each installed object is taken out by atomic exchange
//   and released, so objects no holder keeps are destroyed.
#include <algorithm>
#include <atomic>
#include <iterator>
#include <new>

#include "foundation/encodings.h"
#include "foundation/sorted_tables.h"

namespace {

struct RegistryEntry {
    uint32_t codePage;
    const char* name;
    charenc* (*factory)();
};

template <class T>
charenc* make() {
    return new (std::nothrow) T();
}

template <const SbcsDefinition* Definition>
charenc* makeSbcs() {
    return new (std::nothrow) charenc_sbcs(Definition);
}

constexpr RegistryEntry kRegistry[] = {
    {kCodePageIbm437, "ibm437", makeSbcs<&kSbcsIbm437>},                // DOS United States
    {kCodePageIbm850, "ibm850", makeSbcs<&kSbcsIbm850>},                // DOS Latin 1
    {kCodePageUtf16Le, "utf-16le", make<charenc_utf16le>},
    {kCodePageUtf16Be, "utf-16be", make<charenc_utf16be>},
    {kCodePageWindows1252, "windows-1252", makeSbcs<&kSbcsWindows1252>},  // Windows Latin 1
    {kCodePageMacintosh, "macintosh", makeSbcs<&kSbcsMacintosh>},       // Mac OS Roman
    {kCodePageUtf32Le, "utf-32le", make<charenc_utf32le>},
    {kCodePageUtf32Be, "utf-32be", make<charenc_utf32be>},
    {kCodePageUsAscii, "us-ascii", make<charenc_ascii>},
    {kCodePageIso8859_1, "iso-8859-1", makeSbcs<&kSbcsIso8859_1>},      // both halves identity
    {kCodePageUtf8, "utf-8", make<charenc_utf8>},
    {kCodePageUserDefined, "x-user-defined", make<charenc_user>},
};
constexpr size_t kRegistrySize = std::size(kRegistry);

static_assert(isStrictlyAscending(kRegistry,
                                  [](const RegistryEntry& a, const RegistryEntry& b) {
                                      return a.codePage < b.codePage;
                                  }),
              "the registry is searched by binary search");

constexpr size_t indexOf(uint32_t codePage) {
    for (size_t i = 0; i < kRegistrySize; ++i)
        if (kRegistry[i].codePage == codePage) return i;
    return kRegistrySize;
}
constexpr size_t kUtf8Index = indexOf(kCodePageUtf8);
static_assert(kUtf8Index < kRegistrySize);

// The installed objects, one slot per registry entry (constant-initialised,
// so usable before any constructor of this program has run).
std::atomic<charenc*> gInstances[kRegistrySize];

// Gives the registry's references back at process exit.
struct RegistryRelease {
    ~RegistryRelease() {
        for (std::atomic<charenc*>& slot : gInstances)
            if (charenc* encoding = slot.exchange(nullptr, std::memory_order_acq_rel)) encoding->release();
    }
};
RegistryRelease gRegistryRelease;

uint32_t resolvePseudoCodePage(uint32_t codePage) noexcept {
    switch (codePage) {
        case kCodePageAnsi:
        case kCodePageThreadAnsi: return kCodePageWindows1252;
        case kCodePageOem: return kCodePageIbm850;
        case kCodePageMac: return kCodePageMacintosh;
        default: return codePage;
    }
}

}  // namespace

ResultCode getEncoding(uint32_t codePage, charenc** encoding) noexcept {
    if (!encoding) return kErrInvalidArgument;
    *encoding = nullptr;
    codePage = resolvePseudoCodePage(codePage);
    const RegistryEntry* end = kRegistry + kRegistrySize;
    const RegistryEntry* entry = std::lower_bound(
        kRegistry, end, codePage, [](const RegistryEntry& e, uint32_t v) { return e.codePage < v; });
    if (entry == end || entry->codePage != codePage) return kErrObjectNotFound;
    std::atomic<charenc*>& slot = gInstances[entry - kRegistry];

    charenc* installed = slot.load(std::memory_order_acquire);
    if (!installed) {
        if (!entry->factory) return kErrEncodingNotImplemented;
        charenc* made = entry->factory();
        if (!made) return kErrEncodingUnavailable;
        charenc* expected = nullptr;
        if (slot.compare_exchange_strong(expected, made, std::memory_order_acq_rel, std::memory_order_acquire)) {
            installed = made;
        } else {
            made->release();
            installed = expected;
        }
    }
    installed->retain();
    *encoding = installed;
    return kResultOk;
}

// Fast path: once the UTF-8 object is installed, no search is needed.
charenc* defaultEncoding() noexcept {
    if (charenc* installed = gInstances[kUtf8Index].load(std::memory_order_acquire)) {
        installed->retain();
        return installed;
    }
    charenc* encoding = nullptr;
    return getEncoding(kCodePageUtf8, &encoding) == kResultOk ? encoding : nullptr;
}

void releaseEncoding(charenc* encoding) noexcept {
    if (encoding) encoding->release();
}

bool replaceEncoding(charenc** holder, charenc* encoding) noexcept {
    if (!holder) return false;
    std::atomic_ref<charenc*> slot(*holder);
    if (slot.load(std::memory_order_acquire) == encoding) return false;
    charenc* previous = slot.exchange(encoding, std::memory_order_acq_rel);
    if (previous) previous->release();
    return true;
}
