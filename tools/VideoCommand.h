#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "PictureSize.h"
#include "Presentation.h"
#include "Progress.h"

namespace ondrix::tools {

/// `ondrix video`: takes a movie or a camera through effects into a new movie with the same times. Sound is copied. An
/// interruption completes the movie up to that frame.
class VideoCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;
    [[nodiscard]] PictureSize outputSize(const MovieInformation& movie) const;

    std::string input_;
    std::string output_;
    PictureSize size_;
    PresentationOptions presentation_;
    std::string library_;
    std::string function_;
    int quality_ = 23;
    std::string preset_;
    ProgressKind progress_ = ProgressKind::automatic;
};

}  // namespace ondrix::tools
