// The text reader in every encoding: the first byte picks the encoding (or
// byte-order-mark detection) and how many bytes each read may deliver, the
// second the longest line asked for; the rest is the text, read line by line
// and unit by unit to its end.
#include <cstdint>
#include <string>

#include "foundation/text_reader.h"
#include "tests/support/support.h"

namespace {
// 0 means: detect a byte-order mark, else code page 1252, as the import does.
constexpr uint32_t kCodePages[] = {0, 1252, 65001, 1200, 1201, 12000, 12001, 437, 850, 10000, 20127, 28591, 1};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const uint32_t codePage = kCodePages[data[0] % (sizeof kCodePages / sizeof kCodePages[0])];
    const size_t chunk = 1 + (data[0] >> 4) * 300;
    const uint32_t maxUnits = data[1] < 128 ? 65536 : data[1] - 127;
    auto* stream = new vt::MemoryStream(std::string(reinterpret_cast<const char*>(data) + 2, size - 2), chunk);
    XpHolder<XpTextReader> reader;
    const ResultCode created = XpTextReader::create(&reader, stream);
    stream->release();
    if (created != 0) __builtin_trap();  // a reader over memory is always made
    const ResultCode chosen = codePage == 0 ? reader->checkEncoding(1252) : reader->setEncoding(codePage);
    // Every listed code page exists; only detection may meet an empty input.
    if (chosen != 0 && (codePage != 0 || chosen != 768)) __builtin_trap();
    if (chosen != 0) return 0;
    XpString16 line;
    // Each round consumes at least one byte or ends, so the input bounds it.
    for (size_t round = 0; round <= size; ++round) {
        char16_t unit;
        ResultCode rc = round % 3 == 2 ? reader->readUnit(&unit) : reader->readLine(line, maxUnits, u'\n');
        if (rc == 0 && round % 3 == 2) rc = reader->unreadUnit(unit) == 0 ? reader->readUnit(&unit) : 1;
        if (rc == 768) break;
        if (rc == 0 && round % 3 != 2 && line.length() > maxUnits) __builtin_trap();
    }
    return 0;
}
