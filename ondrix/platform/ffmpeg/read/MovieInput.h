#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <ondrix/platform/ffmpeg/MovieInformation.h>
#include <ondrix/platform/ffmpeg/read/FileStream.h>

namespace ondrix::ffmpeg {

/// The packets that hold the pictures of one movie file or device. For one thread at a time. Throws std::bad_alloc.
class MovieInput {
public:
    /// Null with the reason. A read that waits ends when `cancelled`, which must outlive the input, becomes true.
    [[nodiscard]] static std::unique_ptr<MovieInput> openFile(const std::filesystem::path& file,
                                                              const std::atomic<bool>& cancelled, std::string& reason);
    [[nodiscard]] static std::unique_ptr<MovieInput> openDevice(const AVInputFormat& device, const std::string& name,
                                                                const std::atomic<bool>& cancelled,
                                                                std::string& reason);

    /// That of the pictures. All ticks are of its time base.
    [[nodiscard]] const AVStream& stream() const { return *stream_; }
    [[nodiscard]] MovieInformation information() const;
    /// Time of the first picture as the file says; 0 where it doesn't.
    [[nodiscard]] std::int64_t startTicks() const;
    /// How long a frame is shown at the mean rate, 1 at least; 1/25 s where the rate isn't known.
    [[nodiscard]] std::int64_t meanFrameTicks() const;

    /// Reads the next packet of the pictures. False at the end, when cancelled, and after a failure.
    [[nodiscard]] bool read(AVPacket& packet);
    /// Why reading stopped before the end; empty when it didn't.
    [[nodiscard]] const std::string& failure() const { return failure_; }
    /// Places in the file that couldn't be read and were passed over.
    [[nodiscard]] std::int64_t lostCount() const { return lostCount_; }

    /// Goes on at a key frame that the file's index has at `ticks` or before. False where there is none.
    [[nodiscard]] bool seek(std::int64_t ticks);
    /// Goes on at the first packet. False where the file can't be searched.
    [[nodiscard]] bool rewind();

private:
    MovieInput(std::unique_ptr<FileStream> file, InputFormatPointer format, const std::atomic<bool>& cancelled)
        : file_(std::move(file)), format_(std::move(format)), cancelled_(cancelled) {}
    [[nodiscard]] static std::unique_ptr<MovieInput> create(std::unique_ptr<FileStream> file,
                                                            const AVInputFormat& format, const std::string& url,
                                                            const std::atomic<bool>& cancelled, std::string& reason);
    [[nodiscard]] bool chooseStream();
    [[nodiscard]] AVRational frameRate() const;
    [[nodiscard]] bool endsTooEarly() const;
    [[nodiscard]] bool hasMoved(int seekStatus);
    void fail(int status);

    std::unique_ptr<FileStream> file_;  ///< null for a device; the format reads from it
    InputFormatPointer format_;
    const std::atomic<bool>& cancelled_;
    AVStream* stream_ = nullptr;
    int failuresInARow_ = 0;
    std::int64_t lostCount_ = 0;
    std::string failure_;
};

}  // namespace ondrix::ffmpeg
