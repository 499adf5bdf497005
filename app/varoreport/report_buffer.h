// Report buffer: a byte stream that collects what a text writer writes in
// memory, so that inputs reported on several threads can be written out in
// input order.
//
// Contract: VroReportBuffer is a write-only XpByteStream. write() appends to
// one growing block (12 when it cannot grow; nothing of that write is kept),
// position() is the number of bytes held, read() and seek() give 22. bytes()
// and size() show the content; clear() empties it and keeps the memory.
// openTextWriterOnBuffer attaches a new UTF-8 text writer to a new buffer;
// both holders are left empty on failure. One thread uses a buffer at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/byte_streams.h"
#include "foundation/object.h"
#include "foundation/text_writer.h"

class VroReportBuffer final : public XpByteStream {
public:
    [[nodiscard]] static ResultCode create(XpHolder<VroReportBuffer>* holder) noexcept;

    const char* bytes() const noexcept { return data_; }
    size_t size() const noexcept { return size_; }
    void clear() noexcept { size_ = 0; }

    uint32_t typeTag() const noexcept override { return fourCharacterCode("rbuf"); }
    uint32_t capabilities() const noexcept override { return 0; }
    const char* name() const noexcept override { return "<report buffer>"; }
    bool isConsole() const noexcept override { return false; }
    ResultCode close() noexcept override { return kResultOk; }
    ResultCode flush() noexcept override { return kResultOk; }
    [[nodiscard]] ResultCode position(int64_t* out) noexcept override;
    [[nodiscard]] ResultCode seek(int64_t offset, int origin, int64_t* newPosition) noexcept override;
    [[nodiscard]] ResultCode read(void* destination, size_t minimum, size_t maximum,
                                  size_t* bytesRead) noexcept override;
    [[nodiscard]] ResultCode write(const void* buffer, size_t length, size_t* written) noexcept override;
    [[nodiscard]] ResultCode writeByte(uint8_t byte) noexcept override;

protected:
    ~VroReportBuffer() override;

private:
    VroReportBuffer() = default;

    char* data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

[[nodiscard]] ResultCode openTextWriterOnBuffer(XpHolder<VroReportBuffer>* buffer,
                                                XpHolder<XpTextWriter>* writer) noexcept;
