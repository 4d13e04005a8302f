#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>
#include <ondrix/profiling/Profiler.h>

#include "BoundedQueue.h"
#include "FrameInput.h"
#include "Progress.h"
#include "tools/drawing/EffectChain.h"
#include "tools/drawing/Presentation.h"
#include "tools/system/Interruption.h"

namespace ondrix::tools {

/// Takes the frames of an input through effects to a movie writer: one thread decodes, the caller's runs the effects,
/// one encodes, with a few frames on their way between each two.
class VideoJob {
public:
    struct Result {
        std::int64_t frames = 0;
        double seconds = 0;  ///< from the first frame to the last
        double convert = 0;  ///< mean seconds a frame, as are the next two
        double effect = 0;
        double readBack = 0;
        bool interrupted = false;  ///< before the input's end
    };

    /// What a job works with; held by the caller for the time of `run`.
    struct Parts {
        FrameInput& input;
        FrameTexture& texture;       ///< shows the input's frames
        Presentation& presentation;  ///< draws them into the chain's input
        EffectChain& chain;          ///< run afterwards
        MetalTextureConverter& converter;
        MovieWriter& writer;
        std::string outputName;
    };

    explicit VideoJob(Parts parts);
    ~VideoJob();
    VideoJob(const VideoJob&) = delete;
    VideoJob& operator=(const VideoJob&) = delete;

    /// Until the input ends or `interruption` asks to. Throws `Failure`; `Interrupted` before the first frame.
    Result run(const Interruption& interruption, Progress& progress);

private:
    using Frame = std::shared_ptr<CMSampleBuffer>;

    [[nodiscard]] std::thread start(void (VideoJob::*work)(), std::exception_ptr& failure);
    void decode();
    void encode();
    /// One frame on the caller's thread.
    Frame process(const Frame& frame);
    /// Seconds since the first frame.
    [[nodiscard]] double position(const CMSampleBuffer& frame) const;
    void checkWriter(bool succeeded, double seconds) const;

    Parts parts_;
    std::shared_ptr<CVPixelBufferPool> pool_;
    std::shared_ptr<Profiler> profiler_;
    std::optional<CMTime> start_;  ///< of the first frame
    BoundedQueue<Frame> decoded_;
    BoundedQueue<Frame> processed_;
    bool endedEarly_ = false;                           ///< set before `decoded_` is finished
    std::exception_ptr decodeFailure_, encodeFailure_;  ///< of the threads, to be read when they are joined
    std::thread decoder_;
    std::thread encoder_;
};

}  // namespace ondrix::tools
