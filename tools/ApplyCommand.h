#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "PictureSize.h"

namespace ondrix::tools {

/// `ondrix apply`: runs a compute function of an application's own library over a picture. The function finds the input
/// in texture 0 and the output in texture 1.
class ApplyCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    std::string input_;
    std::string output_;
    std::string library_;
    std::string function_;
    PictureSize size_;
};

}  // namespace ondrix::tools
