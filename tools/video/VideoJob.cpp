#include "VideoJob.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <new>
#include <system_error>
#include <utility>

#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

/// In each of two queues, beside the one in the hands of each thread: what is decoded, and what is drawn, for which the
/// GPU holds more.
constexpr std::size_t decodedFrames = 4, drawnFrames = 2;
constexpr std::int64_t bytesOnTheirWay = std::int64_t{100} << 20;
constexpr std::chrono::milliseconds interruptionPause(100);  // how long an interruption may go unnoticed

PictureSize sizeOf(const CVPixelBuffer& pixels) {
    return {CVPixelBufferGetWidth(pixels), CVPixelBufferGetHeight(pixels)};
}

std::int64_t bytesOf(const CVPixelBuffer& pixels) {
    std::int64_t bytes = 0;
    for (std::int64_t plane = 0; plane < std::max<std::int64_t>(1, CVPixelBufferGetPlaneCount(pixels)); ++plane) {
        bytes += CVPixelBufferGetBytesPerRowOfPlane(pixels, plane) * CVPixelBufferGetHeightOfPlane(pixels, plane);
    }
    return bytes;
}

}  // namespace

VideoJob::VideoJob(Parts parts)
    : parts_(std::move(parts)),
      placesNothing_(parts_.presentation.options().changesNothing() && parts_.chain.isEmpty()),
      outputSize_{parts_.chain.output()->width(), parts_.chain.output()->height()},
      decoded_(decodedFrames, bytesOnTheirWay),
      drawn_(drawnFrames, bytesOnTheirWay) {}

VideoJob::~VideoJob() {
    parts_.input.cancel();
    decoded_.abandon();
    drawn_.abandon();
    if (decoder_.joinable()) decoder_.join();
    if (encoder_.joinable()) encoder_.join();
}

VideoJob::Result VideoJob::run(const Interruption& interruption, Progress& progress) {
    Result result;
    decoder_ = start(&VideoJob::decode, decodeFailure_);
    encoder_ = start(&VideoJob::encode, encodeFailure_);

    while (!decoded_.isDone() && !interruption.requested()) {
        const auto frame = decoded_.pop(interruptionPause);
        if (!frame) continue;
        if (!start_) start_ = CMSampleBufferGetPresentationTimeStamp(**frame);
        Drawn drawn = draw(*frame);
        const std::int64_t bytes = drawn.bytes;
        if (!drawn_.push(std::move(drawn), bytes)) break;  // the writer has failed
        result.seconds = position(**frame);
        progress.update(++result.frames, result.seconds);
    }
    // The interruption ends the reading, too, which then looks like the movie's end.
    result.interrupted = interruption.requested() && (!decoded_.isDone() || endedEarly_);

    parts_.input.cancel();
    decoded_.abandon();
    decoder_.join();
    drawn_.finish();
    encoder_.join();
    for (const auto& failure : {decodeFailure_, encodeFailure_}) {
        if (failure != nullptr) std::rethrow_exception(failure);
    }
    checkWriter(!parts_.writer.error().has_value(), result.seconds);
    if (!result.interrupted) parts_.input.checkEnd();
    if (result.frames == 0 && result.interrupted)
        throw Interrupted(parts_.outputName, "interrupted before its first frame");
    if (result.frames == 0) throw Failure(parts_.input.name(), "holds no frame that can be decoded");
    checkWriter(parts_.writer.finish(), result.seconds);

    const auto frames = static_cast<double>(result.frames);
    result.record = recordTime_ / frames;
    result.run = runTime_ / frames;
    result.wait = waitTime_ / frames;
    return result;
}

/// A thread whose exception ends the job.
std::thread VideoJob::start(void (VideoJob::*work)(), std::exception_ptr& failure) {
    try {
        return std::thread([this, work, &failure] {
            try {
                (this->*work)();
            } catch (...) {
                failure = std::current_exception();
                decoded_.abandon();
                drawn_.abandon();
            }
        });
    } catch (const std::system_error& error) {
        throw Failure(parts_.outputName, "a thread can't be started: " + error.code().message());
    }
}

void VideoJob::decode() {
    while (auto frame = parts_.input.next()) {
        const std::int64_t bytes = bytesOf(*CMSampleBufferGetImageBuffer(*frame));
        if (!decoded_.push(std::move(frame), bytes)) return;
    }
    endedEarly_ = parts_.input.isCancelled();
    decoded_.finish();
}

void VideoJob::encode() {
    while (!drawn_.isDone()) {
        auto drawn = drawn_.pop(interruptionPause);
        if (!drawn) continue;
        if (drawn->work != nullptr) {
            const double start = CACurrentMediaTime();
            waitFor(*drawn->work, parts_.chain.subject());
            drawn->work.reset();
            const double end = CACurrentMediaTime();
            waitTime_ += end - start;
            runTime_ += end - drawn->commitTime;
        }
        if (!parts_.writer.append(*drawn->frame)) {
            drawn_.abandon();
            return;
        }
    }
}

VideoJob::Drawn VideoJob::draw(const Frame& frame) {
    const auto pixels = CMSampleBufferGetImageBuffer(*frame);
    const PictureSize size = sizeOf(*pixels);
    const bool isPlaced = !placesNothing_ || size.width != outputSize_.width || size.height != outputSize_.height;
    if (!isPlaced && isWanted(*pixels)) return {frame, nullptr, 0, bytesOf(*pixels)};

    const double start = CACurrentMediaTime();
    const bool isResized = size.width != inputSize_.width || size.height != inputSize_.height;
    // What depends on the size is shared by all frames that are drawn.
    if (isResized && lastWork_ != nullptr) lastWork_->waitUntilCompleted();
    inputSize_ = size;
    auto work = parts_.session.makeCommandBuffer(parts_.outputName);
    show(parts_.texture, *frame, *work, parts_.input.name());
    if (isPlaced) parts_.presentation.encode(*work);
    parts_.chain.encode(*work);
    const Texture& picture = isPlaced ? *parts_.chain.output() : parts_.texture;
    auto written =
        orFail(parts_.outputName, [&](NSError* error) { return parts_.frames.write(picture, *work, error); });
    constexpr std::int64_t imageBytes = 4;  // of a pixel of the image that shows the frame
    const std::int64_t bytes = bytesOf(*pixels) + bytesOf(*written) + imageBytes * size.width * size.height;
    Frame timed = withTimes(std::move(written), *frame);
    work->commit();
    lastWork_ = work;
    const double end = CACurrentMediaTime();
    recordTime_ += end - start;
    return {std::move(timed), std::move(work), end, bytes};
}

bool VideoJob::isWanted(const CVPixelBuffer& pixels) const {
    const OSType format = CVPixelBufferGetPixelFormatType(pixels);
    const bool isFormat =
        format == kCVPixelFormatType_420YpCbCr8Planar || format == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    FrameColours colours = FrameColours::of(pixels);
    colours.peakLuminance = FrameColours().peakLuminance;  // means nothing in SDR
    return isFormat && parts_.frames.pixelFormat() != kCVPixelFormatType_32BGRA && colours == FrameColours();
}

VideoJob::Frame VideoJob::withTimes(std::shared_ptr<CVPixelBuffer> pixels, const CMSampleBuffer& times) {
    CMSampleTimingInfo timing;
    CMSampleBufferGetSampleTimingInfo(times, 0, &timing);
    Frame frame;
    if ((description_ == nullptr && CMVideoFormatDescriptionCreateForImageBuffer(pixels, &description_) != noErr) ||
        CMSampleBufferCreateReadyWithImageBuffer(std::move(pixels), description_, timing, &frame) != noErr) {
        throw std::bad_alloc();
    }
    return frame;
}

double VideoJob::position(const CMSampleBuffer& frame) const {
    return CMTimeGetSeconds(CMTimeSubtract(CMSampleBufferGetPresentationTimeStamp(frame), *start_));
}

void VideoJob::checkWriter(bool succeeded, double seconds) const {
    if (succeeded) return;
    const auto error = parts_.writer.error();
    char time[48];
    std::snprintf(time, sizeof time, "at %.3f s: ", seconds);
    throw Failure(parts_.outputName, time + (error ? error->localizedDescription() : "can't be written"));
}

}  // namespace ondrix::tools
