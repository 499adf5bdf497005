// Shared by the fuzz entries: a text writer over a byte stream in memory.
#pragma once

#include "foundation/text_writer.h"
#include "tests/support/support.h"

// A writer (UTF-8) whose bytes collect in *stream; both stay alive with the holders.
inline void openMemoryWriter(XpHolder<vt::MemoryStream>& stream, XpHolder<XpTextWriter>& writer) {
    stream.adopt(new vt::MemoryStream);
    if (XpTextWriter::create(&writer) == 0) (void)writer->attach(stream.get());
}
