#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "PictureSize.h"
#include "Presentation.h"

namespace ondrix::tools {

/// `ondrix present`: draws a picture into one of another size.
class PresentCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    std::string input_;
    std::string output_;
    PictureSize size_;
    PresentationOptions options_;
};

}  // namespace ondrix::tools
