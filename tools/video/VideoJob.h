#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <ondrix/frames/FrameWriter.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>

#include "BoundedQueue.h"
#include "FrameInput.h"
#include "Progress.h"
#include "tools/drawing/EffectChain.h"
#include "tools/drawing/Presentation.h"
#include "tools/system/Interruption.h"

namespace ondrix::tools {

/// Takes the frames of an input through effects to a movie writer: one thread decodes, the caller's records the GPU's
/// work, one command buffer for each frame, and one waits for that and encodes, with a few frames on their way between
/// each two. A frame that nothing is done to goes on as it was decoded.
class VideoJob {
public:
    struct Result {
        std::int64_t frames = 0;
        double seconds = 0;        ///< from the first frame to the last
        double record = 0;         ///< of the GPU's work: mean seconds a frame, as are the next two
        double run = 0;            ///< from its commit to its end
        double wait = 0;           ///< of the encoding thread for that
        bool interrupted = false;  ///< before the input's end
    };

    /// What a job works with; held by the caller for the time of `run`.
    struct Parts {
        Session& session;
        FrameInput& input;
        FrameTexture& texture;       ///< shows the input's frames
        Presentation& presentation;  ///< draws them into the chain's input
        EffectChain& chain;          ///< run afterwards
        FrameWriter& frames;         ///< makes frames of its output
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
    /// A frame for the writer, which has its pixels at the end of `work`; null for one that was decoded so.
    struct Drawn {
        Frame frame;
        std::shared_ptr<MTLCommandBuffer> work;
        double commitTime = 0;   ///< of the media clock
        std::int64_t bytes = 0;  ///< held for it
    };

    [[nodiscard]] std::thread start(void (VideoJob::*work)(), std::exception_ptr& failure);
    void decode();
    void encode();
    /// One frame on the caller's thread.
    [[nodiscard]] Drawn draw(const Frame& frame);
    /// Whether the writer can take a frame as it is.
    [[nodiscard]] bool isWanted(const CVPixelBuffer& pixels) const;
    [[nodiscard]] Frame withTimes(std::shared_ptr<CVPixelBuffer> pixels, const CMSampleBuffer& times);
    /// Seconds since the first frame.
    [[nodiscard]] double position(const CMSampleBuffer& frame) const;
    void checkWriter(bool succeeded, double seconds) const;

    Parts parts_;
    const bool placesNothing_;  ///< nothing is drawn of frames that have the output's size
    const PictureSize outputSize_;
    PictureSize inputSize_;                       ///< of the frame before
    std::shared_ptr<MTLCommandBuffer> lastWork_;  ///< of the frame before
    std::shared_ptr<CMFormatDescription> description_;
    double recordTime_ = 0;              ///< sums of seconds, as are the next two
    double runTime_ = 0, waitTime_ = 0;  ///< the encoding thread's
    std::optional<CMTime> start_;        ///< of the first frame
    BoundedQueue<Frame> decoded_;
    BoundedQueue<Drawn> drawn_;
    bool endedEarly_ = false;                           ///< set before `decoded_` is finished
    std::exception_ptr decodeFailure_, encodeFailure_;  ///< of the threads, to be read when they are joined
    std::thread decoder_;
    std::thread encoder_;
};

}  // namespace ondrix::tools
