#pragma once

#include <stdexcept>
#include <string>

#include <ondrix/platform/ffmpeg/FFmpegPointers.h>

namespace ondrix {

/// Why a movie can't be written, on its way to the caller's `NSError`. Internal: not installed.
class WritingFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    /// "`what`: " and what the library's negative status means.
    WritingFailure(const std::string& what, int status) : runtime_error(what + ": " + ffmpegErrorText(status)) {}
};

/// Throws std::bad_alloc or `WritingFailure` for a negative status; returns it otherwise.
inline int checkWriting(const char* what, int status) {
    if (throwIfOutOfMemory(status) < 0) throw WritingFailure(what, status);
    return status;
}

}  // namespace ondrix
