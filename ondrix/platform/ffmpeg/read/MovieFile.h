#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <ondrix/platform/ffmpeg/MovieOptions.h>
#include <ondrix/platform/ffmpeg/read/FileStream.h>

namespace ondrix::ffmpeg {

/// A movie file that FFmpeg's libraries have opened and looked at, within what its options allow: they read this file
/// and open no other. For one thread at a time.
class MovieFile {
public:
    /// Null with the reason. `cancellation` must outlive the file. Throws std::bad_alloc.
    [[nodiscard]] static std::unique_ptr<MovieFile> open(const std::filesystem::path& path, const MovieOptions& options,
                                                         const Cancellation& cancellation, std::string& reason);

    [[nodiscard]] AVFormatContext& format() const { return *format_; }
    [[nodiscard]] const FileStream& stream() const { return *stream_; }

    /// Why a file can't be read that isn't a regular one, and that would have to be.
    static constexpr const char* mustBeSought =
        "the file can't be sought, which this movie needs; copy it to a file first";

private:
    MovieFile(std::unique_ptr<FileStream> stream, InputFormatPointer format)
        : stream_(std::move(stream)), format_(std::move(format)) {}

    std::unique_ptr<FileStream> stream_;  ///< the format reads from it
    InputFormatPointer format_;
};

/// Finds out what the streams of a context that was opened hold. A negative status is a failure. Throws std::bad_alloc.
[[nodiscard]] int findStreams(AVFormatContext& context, const MovieOptions& options);

}  // namespace ondrix::ffmpeg
