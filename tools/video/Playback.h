#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <ondrix/passes/PresentTextureEffect.h>
#include <ondrix/platform/metalkit/MTKView.h>
#include <ondrix/platform/quartzcore/CADisplayLink.h>
#include <ondrix/profiling/Profiler.h>
#include <ondrix/video/RenderViewTexture.h>
#include <ondrix/video/VideoFrameSourceDelegate.h>
#include <ondrix/video/VideoTexture.h>

#include "PlayInput.h"
#include "tools/drawing/EffectChain.h"
#include "tools/drawing/Presentation.h"
#include "tools/system/Interruption.h"

namespace ondrix::tools {

/// How many frames were drawn so far, or in one period, and the mean seconds that each took.
struct PlaybackFigures {
    std::int64_t frames = 0;  ///< that were drawn
    double framesPerSecond = 0;
    double convert = 0;  ///< from a frame's pixel buffer to its texture
    double effect = 0;   ///< from encoding the drawing to its end on the GPU
    double present = 0;  ///< bringing what was drawn to the window
};

/// "convert 0.02 ms, effect 1.21 ms, present 0.35 ms"
std::string description(const PlaybackFigures& figures);

/// Draws an input's frames into a view at the refreshes of the display, on the main run loop. A frame that comes while
/// the view can't take one waits, and the newest is drawn. For the main thread.
class Playback {
public:
    static constexpr double untilEnd = std::numeric_limits<double>::infinity();

    /// The caller holds everything, and makes the view after this object. At a refresh of the display the steps of this
    /// constructor then come before a window shows what was drawn, and those of `run` after it; the time between the
    /// two is what presenting takes.
    Playback(Session& session, PlayInput& input, const Interruption& interruption, PresentationOptions options,
             std::string file);
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    /// Runs over each frame after it was drawn; held by the caller. To be set before `run`.
    void setEffectChain(EffectChain& chain) { chain_ = &chain; }
    /// Draws the present frame again at the next refresh: the chain has changed.
    void redraw() { isChanged_ = true; }
    /// Called with the figures of each period, of so many seconds, at its end.
    void setOnUpdate(double period, std::function<void(const PlaybackFigures&)> onUpdate);
    /// Plays for `seconds`, until `stop`, an interruption or, with `stopsAtEnd`, the end of the input. Throws
    /// `Failure`. Once. The figures are those of the last period, which is the whole time without `setOnUpdate`.
    PlaybackFigures run(const std::shared_ptr<MTKView>& view, double seconds, bool stopsAtEnd);
    void stop();

    /// How many frames of the input were never drawn.
    [[nodiscard]] std::int64_t droppedFrameCount() const;

private:
    class ConvertTimer;

    /// Calls `step` at every refresh after those that were added before; a `Failure` ends `run`, which throws it.
    void addStep(std::function<void()> step);
    void draw();
    /// Draws through the chain and shows `drawable`.
    void drawThroughChain(std::shared_ptr<MTLDrawable> drawable);
    void update();
    [[nodiscard]] PlaybackFigures figures() const;

    Session& session_;
    PlayInput& input_;
    const Interruption& interruption_;
    PresentationOptions options_;
    std::string file_;
    std::function<void(const PlaybackFigures&)> onUpdate_;

    std::vector<std::shared_ptr<CADisplayLink>> steps_;
    std::exception_ptr failure_;
    std::shared_ptr<Profiler> profiler_;
    std::shared_ptr<ConvertTimer> convertTimer_;  ///< kept for the source, which holds it weakly
    std::shared_ptr<MTKView> view_;
    std::shared_ptr<VideoTexture> videoTexture_;
    std::shared_ptr<RenderViewTexture> viewTexture_;
    std::unique_ptr<Presentation> presentation_;
    EffectChain* chain_ = nullptr;
    std::shared_ptr<Texture> copied_;             ///< the chain's output that `copy_` brings to the view
    std::shared_ptr<PresentTextureEffect> copy_;  ///< null before the first drawing

    bool isNew_ = false;            ///< a frame came since the last drawing
    bool isChanged_ = false;        ///< the present frame looks otherwise than it was drawn
    bool isToBePresented_ = false;  ///< a frame was drawn since the last refresh
    CGSize drawnSize_{};            ///< of the view at the last drawing
    std::int64_t framesDrawn_ = 0;
    std::int64_t framesReplaced_ = 0;  ///< by a newer frame before they were drawn
    std::int64_t periodFrames_ = 0;    ///< `framesDrawn_` when the period began
    double periodStart_ = 0;
};

}  // namespace ondrix::tools
