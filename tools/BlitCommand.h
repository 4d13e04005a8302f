#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include <ondrix/types/PassType.h>

#include "PictureSize.h"

namespace ondrix::tools {

/// `ondrix blit`: copies a picture into one of another size. The render pass stretches it; the compute pass copies
/// position for position, and what it doesn't reach stays transparent black.
class BlitCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    std::string input_;
    std::string output_;
    PictureSize size_;
    PassType pass_ = PassType::renderPass;
};

}  // namespace ondrix::tools
