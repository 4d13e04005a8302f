#pragma once

#include <cstdint>
#include <memory>

#include <ondrix/platform/ffmpeg/read/Cancellation.h>

namespace ondrix::ffmpeg {

/// A file as FFmpeg's libraries read it. Unlike their own way to open one, it can be cancelled while it waits for a
/// pipe, also for somebody to write to it at all.
class FileStream {
public:
    /// Null with a negative `status`. Reads fail once it is asked for `cancellation`, which must outlive the stream.
    /// Throws std::bad_alloc.
    [[nodiscard]] static std::unique_ptr<FileStream> open(const char* path, const Cancellation& cancellation,
                                                          int& status);
    ~FileStream();
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    [[nodiscard]] AVIOContext* context() const { return context_; }
    /// False for pipes and devices, which are read from their beginning to their end.
    [[nodiscard]] bool isRegularFile() const { return isRegularFile_; }
    [[nodiscard]] bool isEmptyFile() const { return isRegularFile_ && size_ == 0; }
    /// True when somewhere else was to be read in what isn't a regular file.
    [[nodiscard]] bool hasSoughtInVain() const { return hasSoughtInVain_; }

private:
    explicit FileStream(const Cancellation& cancellation) : cancellation_(cancellation) {}
    static int read(void* stream, std::uint8_t* bytes, int count);
    static std::int64_t seek(void* stream, std::int64_t offset, int whence);

    int descriptor_ = -1;
    const Cancellation& cancellation_;
    AVIOContext* context_ = nullptr;
    bool isRegularFile_ = false;
    std::int64_t size_ = 0;  ///< bytes when it was opened
    bool hasSoughtInVain_ = false;
};

}  // namespace ondrix::ffmpeg
