// Report buffer: an in-memory byte stream for one input's rows.
#include "app/varoreport/report_buffer.h"

#include <cstdlib>
#include <cstring>
#include <new>

ResultCode VroReportBuffer::create(XpHolder<VroReportBuffer>* holder) noexcept {
    if (!holder) return kErrInvalidArgument;
    holder->reset();
    VroReportBuffer* buffer = new (std::nothrow) VroReportBuffer;
    if (!buffer) return kErrNoMemory;
    holder->adopt(buffer);
    return kResultOk;
}

VroReportBuffer::~VroReportBuffer() { std::free(data_); }

ResultCode VroReportBuffer::position(int64_t* out) noexcept {
    if (!out) return kErrInvalidArgument;
    *out = int64_t(size_);
    return kResultOk;
}

ResultCode VroReportBuffer::seek(int64_t, int, int64_t* newPosition) noexcept {
    if (newPosition) *newPosition = 0;
    return kErrInvalidArgument;
}

ResultCode VroReportBuffer::read(void*, size_t, size_t, size_t* bytesRead) noexcept {
    if (bytesRead) *bytesRead = 0;
    return kErrInvalidArgument;
}

ResultCode VroReportBuffer::write(const void* buffer, size_t length, size_t* written) noexcept {
    if (written) *written = 0;
    if (length == 0) return kResultOk;
    if (!buffer) return kErrInvalidArgument;
    if (length > capacity_ - size_) {
        // Doubling keeps the number of moves logarithmic in the row size.
        size_t wanted = capacity_ < 4096 ? 4096 : capacity_;
        while (wanted - size_ < length) {
            if (wanted > SIZE_MAX / 2) return kErrNoMemory;
            wanted *= 2;
        }
        char* grown = static_cast<char*>(std::realloc(data_, wanted));
        if (!grown) return kErrNoMemory;
        data_ = grown;
        capacity_ = wanted;
    }
    std::memcpy(data_ + size_, buffer, length);
    size_ += length;
    if (written) *written = length;
    return kResultOk;
}

ResultCode VroReportBuffer::writeByte(uint8_t byte) noexcept { return write(&byte, 1, nullptr); }

ResultCode openTextWriterOnBuffer(XpHolder<VroReportBuffer>* buffer, XpHolder<XpTextWriter>* writer) noexcept {
    if (!buffer || !writer) return kErrInvalidArgument;
    writer->reset();
    ResultCode rc = VroReportBuffer::create(buffer);
    if (rc == kResultOk) rc = XpTextWriter::create(writer);
    if (rc == kResultOk) rc = (*writer)->attach(buffer->get());
    if (rc != kResultOk) {
        writer->reset();
        buffer->reset();
    }
    return rc;
}
