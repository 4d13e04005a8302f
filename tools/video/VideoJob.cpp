#include "VideoJob.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <system_error>
#include <utility>

#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

/// In each of two queues, beside the one in the hands of each thread: what is decoded, and what is drawn. With those,
/// four 8K frames in BGRA take 560 MB.
constexpr std::size_t framesOnTheirWay = 4;
constexpr std::int64_t bytesOnTheirWay = std::int64_t{100} << 20;
constexpr std::chrono::milliseconds interruptionPause(100);  // how long an interruption may go unnoticed

enum Timer : Int { convert, effect, readBack, timerCount };

std::int64_t bytesOf(const CMSampleBuffer& frame) {
    const auto pixels = CMSampleBufferGetImageBuffer(frame);
    std::int64_t bytes = 0;
    for (std::int64_t plane = 0; plane < std::max<std::int64_t>(1, CVPixelBufferGetPlaneCount(*pixels)); ++plane) {
        bytes += CVPixelBufferGetBytesPerRowOfPlane(*pixels, plane) * CVPixelBufferGetHeightOfPlane(*pixels, plane);
    }
    return bytes;
}

}  // namespace

VideoJob::VideoJob(Parts parts)
    : parts_(std::move(parts)),
      profiler_(Profiler::create(timerCount, 0)),
      decoded_(framesOnTheirWay, bytesOnTheirWay),
      processed_(framesOnTheirWay, bytesOnTheirWay) {}

VideoJob::~VideoJob() {
    parts_.input.cancel();
    decoded_.abandon();
    processed_.abandon();
    if (decoder_.joinable()) decoder_.join();
    if (encoder_.joinable()) encoder_.join();
}

VideoJob::Result VideoJob::run(const Interruption& interruption, Progress& progress) {
    const Texture& output = *parts_.chain.output();
    pool_ = orFail(parts_.outputName, [&](NSError* error) {
        return parts_.converter.makePixelBufferPool(output.width(), output.height(), kCVPixelFormatType_32BGRA, error);
    });
    Result result;
    decoder_ = start(&VideoJob::decode, decodeFailure_);
    encoder_ = start(&VideoJob::encode, encodeFailure_);

    while (!decoded_.isDone() && !interruption.requested()) {
        const auto frame = decoded_.pop(interruptionPause);
        if (!frame) continue;
        if (!start_) start_ = CMSampleBufferGetPresentationTimeStamp(**frame);
        auto processed = process(*frame);
        const std::int64_t bytes = bytesOf(*processed);
        if (!processed_.push(std::move(processed), bytes)) break;  // the writer has failed
        result.seconds = position(**frame);
        progress.update(++result.frames, result.seconds);
    }
    // The interruption ends the reading, too, which then looks like the movie's end.
    result.interrupted = interruption.requested() && (!decoded_.isDone() || endedEarly_);

    parts_.input.cancel();
    decoded_.abandon();
    decoder_.join();
    processed_.finish();
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

    if (profiler_->update()) {
        result.convert = profiler_->getMeanInterval(convert).value_or(0);
        result.effect = profiler_->getMeanInterval(effect).value_or(0);
        result.readBack = profiler_->getMeanInterval(readBack).value_or(0);
    }
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
                processed_.abandon();
            }
        });
    } catch (const std::system_error& error) {
        throw Failure(parts_.outputName, "a thread can't be started: " + error.code().message());
    }
}

void VideoJob::decode() {
    while (auto frame = parts_.input.next()) {
        const std::int64_t bytes = bytesOf(*frame);
        if (!decoded_.push(std::move(frame), bytes)) return;
    }
    endedEarly_ = parts_.input.isCancelled();
    decoded_.finish();
}

void VideoJob::encode() {
    while (!processed_.isDone()) {
        const auto frame = processed_.pop(interruptionPause);
        if (frame && !parts_.writer.append(**frame)) {
            processed_.abandon();
            return;
        }
    }
}

VideoJob::Frame VideoJob::process(const Frame& frame) {
    profiler_->onStarted(convert);
    parts_.texture.show(frame);
    profiler_->onEnded(convert);

    profiler_->onStarted(effect);
    parts_.presentation.draw();
    parts_.chain.run();
    profiler_->onEnded(effect);

    profiler_->onStarted(readBack);
    auto processed = orFail(parts_.outputName, [&](NSError* error) {
        auto pixels = parts_.converter.makePixelBuffer(*parts_.chain.output(), *pool_, error);
        return pixels != nullptr ? parts_.converter.makeSampleBuffer(std::move(pixels), *frame, error) : nullptr;
    });
    profiler_->onEnded(readBack);
    return processed;
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
