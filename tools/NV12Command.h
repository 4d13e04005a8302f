#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>

#include "PictureSize.h"

namespace ondrix::tools {

/// `ondrix nv12`: converts one raw NV12 frame to a picture. The file holds the luma plane and then the interleaved
/// chroma plane, without padding.
class NV12Command {
public:
    static void add(CLI::App& program);

private:
    void run() const;
    /// The frame in the file; throws `Failure` unless the file has exactly as many bytes as the frame.
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> readFrame() const;

    std::string input_;
    std::string output_;
    PictureSize size_;
    OSType format_ = 0;
};

}  // namespace ondrix::tools
