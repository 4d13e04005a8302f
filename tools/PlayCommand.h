#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "EffectRequest.h"
#include "LibraryOptions.h"
#include "PictureSize.h"
#include "PlayInput.h"
#include "Playback.h"
#include "Presentation.h"
#include "SourceLibrary.h"

namespace ondrix::tools {

/// `ondrix play`: shows a movie or a live source in a window, or plays it without one. Space pauses, the arrows jump
/// five seconds, q, escape and closing the window end it; the window's title tells what a frame takes. With --watch a
/// function of the user's own is replaced while the movie plays.
class PlayCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;
    /// Puts a function that was built into the chain, or tells why that can't be done.
    void useFunction(EffectChain& chain, const SourceLibrary::Build& build, Playback& playback) const;
    void playInWindow(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const;
    void playHeadless(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const;
    /// Of a view that shows the whole input.
    [[nodiscard]] PictureSize uprightSize(const PlayInput& input) const;

    std::string input_;
    PresentationOptions presentation_;
    std::vector<EffectRequest> effects_;
    LibraryOptions library_;
    PictureSize size_;
    bool headless_ = false;
    double seconds_ = Playback::untilEnd;
};

}  // namespace ondrix::tools
