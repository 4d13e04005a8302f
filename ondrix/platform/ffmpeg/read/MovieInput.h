#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <ondrix/platform/ffmpeg/MovieInformation.h>
#include <ondrix/platform/ffmpeg/read/MovieFile.h>

namespace ondrix::ffmpeg {

/// The packets that hold the pictures of one movie file or device. For one thread at a time. Throws std::bad_alloc.
class MovieInput {
public:
    /// Null with the reason. A read that waits ends when it is asked for `cancellation`, which must outlive the input.
    [[nodiscard]] static std::unique_ptr<MovieInput> openFile(const std::filesystem::path& path,
                                                              const MovieOptions& options,
                                                              const Cancellation& cancellation, std::string& reason);
    [[nodiscard]] static std::unique_ptr<MovieInput> openDevice(const AVInputFormat& device, const std::string& name,
                                                                const Cancellation& cancellation, std::string& reason);

    [[nodiscard]] const MovieOptions& options() const { return options_; }
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

    /// False for pipes, which are read from their beginning to their end.
    [[nodiscard]] bool canSeek() const;
    /// Goes on at a key frame that the file's index has at `ticks` or before. False where there is none.
    [[nodiscard]] bool seek(std::int64_t ticks);
    /// Goes on at the first packet. False where the file can't be searched.
    [[nodiscard]] bool rewind();

private:
    MovieInput(std::unique_ptr<MovieFile> file, InputFormatPointer device, AVFormatContext& format,
               MovieOptions options, const Cancellation& cancellation)
        : file_(std::move(file)),
          device_(std::move(device)),
          format_(format),
          options_(std::move(options)),
          cancellation_(cancellation) {}
    [[nodiscard]] bool chooseStream();
    [[nodiscard]] AVRational frameRate() const;
    [[nodiscard]] bool endsTooEarly() const;
    [[nodiscard]] bool hasMoved(int seekStatus);
    void fail(int status);

    std::unique_ptr<MovieFile> file_;  ///< null for a device
    InputFormatPointer device_;        ///< null for a file
    AVFormatContext& format_;          ///< of either
    const MovieOptions options_;
    const Cancellation& cancellation_;
    AVStream* stream_ = nullptr;
    int failuresInARow_ = 0;
    std::int64_t lostCount_ = 0;
    std::string failure_;
};

/// False, with the reason, for pictures that are larger than the limit or than the framework can take.
[[nodiscard]] bool isWithinLimits(std::int64_t width, std::int64_t height, std::int64_t maximumPixels,
                                  std::string& reason);

}  // namespace ondrix::ffmpeg
