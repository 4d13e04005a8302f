#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "EffectRequest.h"
#include "LibraryOptions.h"
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
    std::vector<EffectRequest> effects_;
    LibraryOptions library_;
    int quality_ = 23;
    std::string preset_;
    ProgressKind progress_ = ProgressKind::automatic;
};

}  // namespace ondrix::tools
