#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "EffectRequest.h"
#include "PictureSize.h"
#include "Presentation.h"

namespace ondrix::tools {

/// `ondrix present`: draws a picture into one of another size, and runs effects over that.
class PresentCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    std::string input_;
    std::string output_;
    PictureSize size_;
    PresentationOptions options_;
    std::vector<EffectRequest> effects_;
};

}  // namespace ondrix::tools
