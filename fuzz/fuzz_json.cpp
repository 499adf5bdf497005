// The JSON reader through the import driver: the input is a file as the
// program opens it, so a gzip-compressed document is inflated first. Its
// seeds are the JSON test inputs, plain and compressed, so that the engine
// stays among documents and the inflater rather than other formats.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "import/import_driver.h"
#include "model/publication.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int input = memfd_create("fuzz_json", 0);
    static char path[32];
    if (input < 0 || ftruncate(input, 0) != 0 || pwrite(input, data, size, 0) != ssize_t(size))
        __builtin_trap();  // the input could not be staged: nothing would be tested
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", input);

    VroPublicationList publications;
    XpString filter;
    uint32_t format = 0, fields = 0;
    VroImportDetails details;
    (void)importPublications(path, publications, &format, filter, &fields, &details);
    (void)publications.countWithStatus(kStatusCountGiven);
    return 0;
}
