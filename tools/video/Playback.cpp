#include "Playback.h"

#include <cstdio>
#include <utility>

#include <ondrix/platform/foundation/NSRunLoop.h>
#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

#include "FrameInput.h"
#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

enum Timer : Int { convert, effect, present, timerCount };

}  // namespace

/// Hears of the source's frames.
class Playback::Newest : public VideoFrameSourceDelegate {
public:
    explicit Newest(Playback& playback) : playback_(playback) {}

    void videoFrameSource(VideoFrameSource&, const std::shared_ptr<CVPixelBuffer>& frame) override {
        if (std::exchange(playback_.newFrame_, frame) != nullptr) ++playback_.framesReplaced_;
    }

private:
    Playback& playback_;
};

std::string description(const PlaybackFigures& figures) {
    char text[200];
    std::snprintf(text, sizeof text, "convert %.2f ms, effect %.2f ms, present %.2f ms", 1000 * figures.convert,
                  1000 * figures.effect, 1000 * figures.present);
    return text;
}

Playback::Playback(Session& session, PlayInput& input, const Interruption& interruption, PresentationOptions options,
                   std::string file)
    : session_(session),
      input_(input),
      interruption_(interruption),
      options_(options),
      file_(std::move(file)),
      profiler_(Profiler::create(timerCount, 0)) {
    addStep([this] {
        if (interruption_.requested()) stop();
        if (std::exchange(isToBePresented_, false)) profiler_->onStarted(present);
    });
}

Playback::~Playback() {
    for (const auto& step : steps_) step->invalidate();
    if (newest_ != nullptr) input_.frameSource()->destroy();
}

void Playback::setOnUpdate(double period, std::function<void(const PlaybackFigures&)> onUpdate) {
    profiler_ = Profiler::create(timerCount, period);
    onUpdate_ = std::move(onUpdate);
}

PlaybackFigures Playback::run(const std::shared_ptr<MTKView>& view, double seconds, bool stopsAtEnd) {
    addStep([this] { profiler_->onEnded(present); });

    const auto device = session_.openDevice(file_);
    view_ = view;
    viewTexture_ = device->makeRenderViewTexture(view);
    frameTexture_ = makeFrameTexture(device, file_);
    std::shared_ptr<Texture> drawn = viewTexture_;
    if (chain_ != nullptr) drawn = chain_->input();
    presentation_ = std::make_unique<Presentation>(
        frameTexture_, std::move(drawn), chain_ != nullptr ? MTLPixelFormat::bgra8Unorm : view->colorPixelFormat(),
        options_, file_);
    newest_ = std::make_shared<Newest>(*this);
    input_.frameSource()->add(newest_);

    addStep([this, stopsAtEnd] {
        input_.refresh();
        draw();
        update();
        if (stopsAtEnd && input_.hasEnded()) stop();
    });
    periodStart_ = CACurrentMediaTime();
    input_.start();
    seconds == untilEnd ? NSRunLoop::main().run() : NSRunLoop::main().run(seconds);
    if (failure_ != nullptr) std::rethrow_exception(failure_);
    if (interruption_.requested() && framesDrawn_ == 0) throw Interrupted(file_, "interrupted before its first frame");
    input_.checkEnd();
    if (framesDrawn_ == 0 && input_.hasEnded()) throw Failure(file_, "holds no frame that can be decoded");
    return figures();
}

void Playback::stop() {
    NSRunLoop::main().stop();
}

std::int64_t Playback::droppedFrameCount() const {
    return framesReplaced_ + input_.droppedFrameCount();
}

void Playback::addStep(std::function<void()> step) {
    steps_.push_back(CADisplayLink::create([this, step = std::move(step)] {
        try {
            step();
        } catch (...) {
            failure_ = std::current_exception();
            stop();
        }
    }));
    steps_.back()->add(NSRunLoop::main());
}

void Playback::draw() {
    const CGSize size = view_->drawableSize();
    const bool isResized = size.width != drawnSize_.width || size.height != drawnSize_.height;
    if (newFrame_ == nullptr && !((isResized || isChanged_) && framesDrawn_ > 0)) return;
    auto drawable = view_->currentDrawable();
    if (drawable == nullptr) return;

    const auto work = session_.makeCommandBuffer(file_);
    if (newFrame_ != nullptr) {
        profiler_->onStarted(convert);
        orFail(file_, [&](NSError* error) { return frameTexture_->show(newFrame_, *work, error); });
        profiler_->onEnded(convert);
        newFrame_ = nullptr;
        ++framesDrawn_;
    }
    profiler_->onStarted(effect);
    if (chain_ != nullptr) chain_->resize({viewTexture_->width(), viewTexture_->height()});
    presentation_->encode(*work);
    if (chain_ != nullptr) encodeChain(*work);
    work->present(std::move(drawable));
    work->commit();
    waitFor(*work, chain_ != nullptr ? chain_->subject() : file_);
    profiler_->onEnded(effect);
    isToBePresented_ = true;
    drawnSize_ = size;
    isChanged_ = false;
}

void Playback::encodeChain(MTLCommandBuffer& commandBuffer) {
    chain_->encode(commandBuffer);
    if (copied_ != chain_->output()) {
        copied_ = chain_->output();
        copy_ = orFail(file_, [&](NSError* error) {
            return PresentTexturePass::create(copied_->device(), copied_, viewTexture_, view_->colorPixelFormat(),
                                              ContentMode::scaleToFill, ImageRotation::degrees0, false, error);
        });
    }
    orFail(file_, [&](NSError* error) { return copy_->encode(commandBuffer, error); });
}

void Playback::update() {
    if (!onUpdate_ || !profiler_->update()) return;
    onUpdate_(figures());
    periodFrames_ = framesDrawn_;
    periodStart_ = CACurrentMediaTime();
}

PlaybackFigures Playback::figures() const {
    if (!onUpdate_) profiler_->update();
    const std::int64_t frames = framesDrawn_ - periodFrames_;
    return {frames, static_cast<double>(frames) / (CACurrentMediaTime() - periodStart_),
            profiler_->getMeanInterval(convert).value_or(0), profiler_->getMeanInterval(effect).value_or(0),
            profiler_->getMeanInterval(present).value_or(0)};
}

}  // namespace ondrix::tools
