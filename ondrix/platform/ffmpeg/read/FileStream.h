#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::ffmpeg {

/// A file as FFmpeg's libraries read it. Unlike their own way to open one, it can be cancelled while it waits for a
/// pipe.
class FileStream {
public:
    /// Null with a negative `status`. Reads fail once `cancelled`, which must outlive the stream, is true. Throws
    /// std::bad_alloc.
    [[nodiscard]] static std::unique_ptr<FileStream> open(const char* path, const std::atomic<bool>& cancelled,
                                                          int& status);
    ~FileStream();
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    [[nodiscard]] AVIOContext* context() const { return context_; }

private:
    FileStream(int descriptor, const std::atomic<bool>& cancelled) : descriptor_(descriptor), cancelled_(cancelled) {}
    static int read(void* stream, std::uint8_t* bytes, int count);
    static std::int64_t seek(void* stream, std::int64_t offset, int whence);

    int descriptor_;
    const std::atomic<bool>& cancelled_;
    AVIOContext* context_ = nullptr;
};

}  // namespace ondrix::ffmpeg
