#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "PictureSize.h"

namespace ondrix::tools {

/// `ondrix sheet`: shows a movie at a glance, as one picture with frames from all over it, in rows.
class SheetCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    std::string input_;
    std::string output_;
    int columns_ = 4;
    int rows_ = 3;
    PictureSize size_;  ///< of one frame on the sheet
};

}  // namespace ondrix::tools
