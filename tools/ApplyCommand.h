#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <string>

#include "LibraryOptions.h"
#include "PictureSize.h"
#include "SourceLibrary.h"

namespace ondrix::tools {

/// `ondrix apply`: runs a compute function of an application's own library over a picture. The function finds the input
/// in texture 0 and the output in texture 1. A library's source is built here, and with --watch again whenever it is
/// saved.
class ApplyCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;
    /// Calls `draw` with the folder of each library that is built, until an interruption.
    void watch(SourceLibrary& source, const Event& end,
               const std::function<void(const std::filesystem::path&)>& draw) const;

    std::string input_;
    std::string output_;
    LibraryOptions library_;
    PictureSize size_;
};

}  // namespace ondrix::tools
