#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include <ondrix/types/ContentMode.h>
#include <ondrix/types/ImageRotation.h>

#include "PictureSize.h"

namespace ondrix::tools {

/// `ondrix present`: draws a picture into one of another size, turned clockwise, then placed, then mirrored. A quarter
/// turn never distorts the picture unless the mode does.
class PresentCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    std::string input_;
    std::string output_;
    PictureSize size_;
    ContentMode mode_ = ContentMode::scaleAspectFit;
    ImageRotation rotation_ = ImageRotation::degrees0;
    bool flip_ = false;
};

}  // namespace ondrix::tools
