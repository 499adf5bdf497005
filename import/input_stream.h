// The import's input: the bytes of an export as its readers see them,
// inflated when the export is gzip-compressed, with the first bytes kept for
// a reader that needs the input from its start.
//
// Contract:
// - VroInputStream reads another byte stream (its source). When the source
//   begins with the gzip magic bytes 1F 8B, what it delivers is the inflated
//   data, member after member; otherwise the source's bytes as they are.
//   Either way read() keeps the contract of XpByteStream::read.
// - A compressed stream that ends before its last member does gives 537
//   "Incomplete input data", and data that cannot be inflated 522 "Invalid
//   data"; failure() keeps that code once it occurred (0 else), so a caller
//   whose reader treats any read failure as the end can still tell a cut
//   stream from a finished one.
// - While recording (from creation until stopRecording), every byte handed
//   out is kept as well; takeRecording hands the kept bytes to a reader that
//   must start over from the first byte, and stops recording. If the
//   recording cannot grow it is dropped and recordingLost() tells so.
// - The stream does not seek; position() is the count of bytes handed out.
//   name(), isConsole() and capabilities() are the source's; close() closes
//   the source.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/byte_streams.h"
#include "foundation/object.h"
#include "foundation/result_codes.h"

struct z_stream_s;

class VroInputStream final : public XpByteStream {
public:
    // Creates a stream over source (it takes its own reference) into holder;
    // 12 when it cannot be allocated, 22 without holder or source.
    [[nodiscard]] static ResultCode create(XpHolder<VroInputStream>* holder, XpByteStream* source) noexcept;

    uint32_t typeTag() const noexcept override { return fourCharacterCode("inps"); }
    uint32_t capabilities() const noexcept override { return source_->capabilities(); }
    const char* name() const noexcept override { return source_->name(); }
    bool isConsole() const noexcept override { return source_->isConsole(); }
    ResultCode close() noexcept override;
    ResultCode flush() noexcept override { return kResultOk; }
    [[nodiscard]] ResultCode position(int64_t* out) noexcept override;
    [[nodiscard]] ResultCode seek(int64_t offset, int origin, int64_t* newPosition) noexcept override;
    [[nodiscard]] ResultCode read(void* destination, size_t minimum, size_t maximum,
                                  size_t* bytesRead) noexcept override;
    [[nodiscard]] ResultCode write(const void* buffer, size_t length, size_t* written) noexcept override;
    [[nodiscard]] ResultCode writeByte(uint8_t byte) noexcept override;

    // True once the first bytes showed a gzip-compressed input.
    bool compressed() const noexcept { return inflater_ != nullptr; }
    ResultCode failure() const noexcept { return failure_; }

    void stopRecording() noexcept;
    bool recordingLost() const noexcept { return recordingLost_; }
    // Moves the bytes recorded so far to *bytes (malloc'd; the caller frees
    // them) and their count to *count, and stops recording.
    void takeRecording(unsigned char** bytes, size_t* count) noexcept;

private:
    explicit VroInputStream(XpByteStream* source) noexcept;
    ~VroInputStream() override;

    ResultCode start() noexcept;
    // Up to maximum bytes from the source, the peeked ones first.
    ResultCode readSource(unsigned char* destination, size_t maximum, size_t* got) noexcept;
    ResultCode refillCompressed() noexcept;
    ResultCode inflateInto(unsigned char* destination, size_t maximum, size_t* got) noexcept;
    void record(const unsigned char* bytes, size_t count) noexcept;

    XpByteStream* source_;
    bool started_ = false;
    unsigned char head_[2] = {};
    size_t headCount_ = 0;
    size_t headPos_ = 0;
    z_stream_s* inflater_ = nullptr;
    unsigned char* compressedBlock_ = nullptr;
    bool sourceEnded_ = false;
    bool memberEnded_ = false;
    ResultCode failure_ = kResultOk;
    int64_t delivered_ = 0;
    bool recording_ = true;
    bool recordingLost_ = false;
    unsigned char* recorded_ = nullptr;
    size_t recordedCount_ = 0;
    size_t recordedCapacity_ = 0;
};

// Opens path for reading (absent, empty or "-": standard input) through a
// VroInputStream and creates a text reader on it, as openTextReader does (a
// console gets the OEM code page); *input receives the stream.
[[nodiscard]] ResultCode openImportReader(const char* path, XpHolder<class XpTextReader>* reader,
                                          XpHolder<VroInputStream>* input) noexcept;
