#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "PictureSize.h"
#include "PlayInput.h"
#include "Playback.h"
#include "Presentation.h"

namespace ondrix::tools {

/// `ondrix play`: shows a movie or a live source in a window, or plays it without one. Space pauses, the arrows jump
/// five seconds, q, escape and closing the window end it; the window's title tells what a frame takes.
class PlayCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;
    void playInWindow(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const;
    void playHeadless(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const;
    /// Of a view that shows the whole input.
    [[nodiscard]] PictureSize uprightSize(const PlayInput& input) const;

    std::string input_;
    PresentationOptions presentation_;
    PictureSize size_;
    bool headless_ = false;
    double seconds_ = Playback::untilEnd;
};

}  // namespace ondrix::tools
