// The import's input stream: gzip inflation as the data is read, and the
// recording of the first bytes for readers that start over.
#include "import/input_stream.h"

#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "foundation/text_reader.h"

namespace {

// Compressed bytes asked of the source at a time.
constexpr size_t kCompressedBlock = 64 * 1024;

}  // namespace

VroInputStream::VroInputStream(XpByteStream* source) noexcept : source_(source) { source_->retain(); }

VroInputStream::~VroInputStream() {
    (void)close();
    source_->release();
}

ResultCode VroInputStream::create(XpHolder<VroInputStream>* holder, XpByteStream* source) noexcept {
    if (holder == nullptr || source == nullptr) return kErrInvalidArgument;
    holder->reset();
    VroInputStream* stream = new (std::nothrow) VroInputStream(source);
    if (stream == nullptr) return kErrNoMemory;
    holder->adopt(stream);
    return kResultOk;
}

ResultCode VroInputStream::close() noexcept {
    if (inflater_ != nullptr) {
        inflateEnd(inflater_);
        delete inflater_;
        inflater_ = nullptr;
    }
    std::free(compressedBlock_);
    compressedBlock_ = nullptr;
    stopRecording();
    return source_->close();
}

ResultCode VroInputStream::position(int64_t* out) noexcept {
    if (out == nullptr) return kErrInvalidArgument;
    *out = delivered_;
    return kResultOk;
}

ResultCode VroInputStream::seek(int64_t, int, int64_t* newPosition) noexcept {
    if (newPosition != nullptr) *newPosition = delivered_;
    return kErrInvalidArgument;
}

ResultCode VroInputStream::write(const void*, size_t, size_t* written) noexcept {
    if (written != nullptr) *written = 0;
    return kErrInvalidArgument;
}

ResultCode VroInputStream::writeByte(uint8_t) noexcept { return kErrInvalidArgument; }

void VroInputStream::stopRecording() noexcept {
    recording_ = false;
    std::free(recorded_);
    recorded_ = nullptr;
    recordedCount_ = recordedCapacity_ = 0;
}

void VroInputStream::takeRecording(unsigned char** bytes, size_t* count) noexcept {
    *bytes = recorded_;
    *count = recordedCount_;
    recorded_ = nullptr;
    stopRecording();
}

void VroInputStream::record(const unsigned char* bytes, size_t count) noexcept {
    if (!recording_ || count == 0) return;
    if (recordedCount_ + count > recordedCapacity_) {
        size_t capacity = recordedCapacity_ ? recordedCapacity_ * 2 : 64 * 1024;
        while (capacity < recordedCount_ + count) capacity *= 2;
        auto* grown = static_cast<unsigned char*>(std::realloc(recorded_, capacity));
        if (grown == nullptr) {
            stopRecording();
            recordingLost_ = true;
            return;
        }
        recorded_ = grown;
        recordedCapacity_ = capacity;
    }
    std::memcpy(recorded_ + recordedCount_, bytes, count);
    recordedCount_ += count;
}

// The first two bytes decide: the gzip magic starts an inflater, anything
// else is handed out again before the rest of the source.
ResultCode VroInputStream::start() noexcept {
    started_ = true;
    const ResultCode rc = source_->read(head_, 2, 2, &headCount_);
    if (headCount_ < 2 || head_[0] != 0x1F || head_[1] != 0x8B) {
        if (rc != kResultOk && rc != kErrEndOfFile) return rc;
        return kResultOk;
    }
    compressedBlock_ = static_cast<unsigned char*>(std::malloc(kCompressedBlock));
    inflater_ = new (std::nothrow) z_stream_s();
    if (compressedBlock_ == nullptr || inflater_ == nullptr) {
        delete inflater_;
        inflater_ = nullptr;
        return kErrNoMemory;
    }
    // Window bits 15 + 16: a gzip header and trailer, nothing else.
    if (inflateInit2(inflater_, 15 + 16) != Z_OK) {
        delete inflater_;
        inflater_ = nullptr;
        return kErrNoMemory;
    }
    std::memcpy(compressedBlock_, head_, 2);
    inflater_->next_in = compressedBlock_;
    inflater_->avail_in = 2;
    headPos_ = headCount_;
    return kResultOk;
}

ResultCode VroInputStream::readSource(unsigned char* destination, size_t maximum, size_t* got) noexcept {
    *got = 0;
    while (headPos_ < headCount_ && *got < maximum) destination[(*got)++] = head_[headPos_++];
    if (*got == maximum) return kResultOk;
    size_t more = 0;
    const ResultCode rc = source_->read(destination + *got, 1, maximum - *got, &more);
    *got += more;
    return rc;
}

// Fills the compressed block when inflation has used it up and the source
// has more.
ResultCode VroInputStream::refillCompressed() noexcept {
    if (inflater_->avail_in != 0 || sourceEnded_) return kResultOk;
    size_t more = 0;
    const ResultCode rc = source_->read(compressedBlock_, 1, kCompressedBlock, &more);
    if (rc != kResultOk && rc != kErrEndOfFile) return rc;
    sourceEnded_ = more == 0;
    inflater_->next_in = compressedBlock_;
    inflater_->avail_in = uInt(more);
    return kResultOk;
}

ResultCode VroInputStream::inflateInto(unsigned char* destination, size_t maximum, size_t* got) noexcept {
    *got = 0;
    while (*got < maximum) {
        const ResultCode rc = refillCompressed();
        if (rc != kResultOk) return rc;
        if (memberEnded_) {
            // Another member may follow; with no byte after a member, the
            // stream has ended.
            if (inflater_->avail_in == 0) return kErrEndOfFile;
            if (inflateReset(inflater_) != Z_OK) return kErrInvalidData;
            memberEnded_ = false;
        }
        inflater_->next_out = destination + *got;
        inflater_->avail_out = uInt(maximum - *got);
        const int z = inflate(inflater_, Z_NO_FLUSH);
        *got = maximum - inflater_->avail_out;
        if (z == Z_STREAM_END) {
            memberEnded_ = true;
            continue;
        }
        if (z == Z_BUF_ERROR && sourceEnded_ && inflater_->avail_in == 0) return kErrIncompleteInput;
        if (z == Z_MEM_ERROR) return kErrNoMemory;
        if (z != Z_OK && z != Z_BUF_ERROR) return kErrInvalidData;
    }
    return kResultOk;
}

ResultCode VroInputStream::read(void* destination, size_t minimum, size_t maximum, size_t* bytesRead) noexcept {
    if (bytesRead != nullptr) *bytesRead = 0;
    if (minimum > maximum || (destination == nullptr && maximum > 0)) return kErrInvalidArgument;
    if (failure_ != kResultOk) return failure_;
    if (!started_) {
        const ResultCode rc = start();
        if (rc != kResultOk) return failure_ = rc;
    }
    auto* out = static_cast<unsigned char*>(destination);
    size_t total = 0;
    ResultCode rc = kResultOk;
    // The source's read fills what it can; so does inflation. One call of
    // either ends only at the maximum, the end or a failure.
    while (total < maximum) {
        size_t got = 0;
        rc = inflater_ != nullptr ? inflateInto(out + total, maximum - total, &got)
                                  : readSource(out + total, maximum - total, &got);
        total += got;
        if (rc != kResultOk) break;
        if (got == 0) {
            rc = kErrEndOfFile;
            break;
        }
    }
    record(out, total);
    delivered_ += int64_t(total);
    if (bytesRead != nullptr) *bytesRead = total;
    if (rc != kResultOk && rc != kErrEndOfFile) failure_ = rc;
    return total >= minimum ? kResultOk : rc;
}

ResultCode openImportReader(const char* path, XpHolder<XpTextReader>* reader,
                            XpHolder<VroInputStream>* input) noexcept {
    if (reader == nullptr || input == nullptr) return kErrInvalidArgument;
    reader->reset();
    input->reset();
    XpHolder<XpFileStream> file;
    ResultCode rc = XpFileStream::create(&file);
    if (rc != kResultOk) return rc;
    rc = file->open(path, kStreamModeReadInput);
    if (rc != kResultOk) return rc;
    XpHolder<VroInputStream> stream;
    rc = VroInputStream::create(&stream, file.get());
    if (rc != kResultOk) return rc;
    XpHolder<XpTextReader> made;
    rc = XpTextReader::create(&made, stream.get());
    if (rc != kResultOk) return rc;
    // A terminal types in the OEM code page.
    if (stream->isConsole()) (void)made->setEncoding(1);
    *reader = std::move(made);
    *input = std::move(stream);
    return kResultOk;
}
