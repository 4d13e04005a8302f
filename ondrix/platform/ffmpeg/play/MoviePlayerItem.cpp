#include <algorithm>
#include <cassert>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <deque>
#include <mutex>
#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <ondrix/platform/ffmpeg/FFmpeg.h>
#include <ondrix/platform/ffmpeg/MoviePlayerItem.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/play/PlaybackPosition.h>
#include <ondrix/platform/ffmpeg/play/Signal.h>
#include <ondrix/platform/foundation/NSRunLoop.h>

namespace ondrix::ffmpeg {

namespace {

/// Most decoded frames that an item holds: the one on screen, and those ahead of it. Fewer where they take more memory
/// than this, but always one ahead.
constexpr std::size_t heldFrames = 5;
constexpr std::int64_t heldBytes = std::int64_t{400} << 20;
/// How often the thread of a playing item looks at the clock for frames that are past, and for the end. It can't wait
/// for the clock itself, which may be one that an application moves. Shorter than a frame lasts is enough, because
/// whoever takes a frame or reads the time looks at the clock, too.
constexpr std::chrono::milliseconds lookInterval{10};
/// When the first output comes and the decoded frames are further behind the clock than this, the item seeks instead of
/// decoding all frames between.
constexpr double farBehind = 1;  // seconds
/// The file's duration is kept where its last frame ends at most this long before it. Otherwise the movie ends with the
/// last frame.
constexpr double durationLeeway = 0.5;  // seconds

std::int64_t bytesOf(const CVPixelBuffer& frame) {
    std::int64_t bytes = 0;
    for (std::int64_t plane = 0; CVPixelBufferGetHeightOfPlane(frame, plane) > 0; ++plane) {
        bytes += CVPixelBufferGetBytesPerRowOfPlane(frame, plane) * CVPixelBufferGetHeightOfPlane(frame, plane);
    }
    return bytes;
}

class DecodingItem final : public MoviePlayerItem, public std::enable_shared_from_this<DecodingItem> {
    using Lock = std::unique_lock<std::mutex>;

public:
    DecodingItem(std::shared_ptr<MovieReader> reader, MovieFrameFormat format);
    ~DecodingItem() override;

    CMTime currentTime() const override {
        const Lock lock(mutex_);
        checkEnd();
        return position_.now();
    }
    CMTime duration() const override {
        const Lock lock(mutex_);
        return position_.end();
    }
    CGSize presentationSize() const override {
        return {static_cast<double>(information_.width), static_cast<double>(information_.height)};
    }
    void add(std::shared_ptr<AVPlayerItemVideoOutput> output) override;
    void remove(const std::shared_ptr<AVPlayerItemVideoOutput>& output) override;
    void setRate(double rate) override;
    double rate() const override {
        const Lock lock(mutex_);
        checkEnd();
        return position_.rate();
    }
    void seek(CMTime to) override;
    void setOnEnd(std::function<void()> onEnd) override {
        const Lock lock(mutex_);
        onEnd_.swap(onEnd);  // so that the old one is destroyed after the lock
    }
    std::optional<NSError> error() const override {
        const Lock lock(mutex_);
        return copyOf(error_);
    }

    /// Starts the thread. Throws std::bad_alloc, and std::runtime_error with the reason.
    void start() {
        try {
            thread_ = std::thread([this] { run(); });
        } catch (const std::system_error&) {
            throw std::runtime_error("a thread for decoding can't be started");
        }
    }

private:
    struct Frame {
        std::shared_ptr<CVPixelBuffer> pixelBuffer;
        CMTime time;
    };
    struct Output {
        std::shared_ptr<AVPlayerItemVideoOutput> output;
        std::int64_t next;  ///< number of the frame that it gets next
    };

    void addOutput(std::shared_ptr<AVPlayerItemVideoOutput> output);
    void run() noexcept;
    void work(Lock& lock);
    void wait(Lock& lock);
    void seekReader(Lock& lock);
    void decode(Lock& lock);
    void take(const CMSampleBuffer& sample);
    void endMovie();
    void deliver();
    void jump(CMTime to);
    [[nodiscard]] bool hasRoom() const;
    void checkEnd() const noexcept;
    void notifyEnd() const;

    const std::shared_ptr<MovieReader> reader_;  ///< for the thread alone, apart from `cancel`
    const MovieFrameFormat format_;
    const MovieInformation information_;
    const std::shared_ptr<Signal> wake_ = std::make_shared<Signal>();

    mutable std::mutex mutex_;  ///< guards everything below; not held while frames are decoded or foreign code runs
    mutable PlaybackPosition position_;
    mutable bool isEndToBeTold_ = false;  ///< the position has come to the end, and the run loop doesn't know yet
    std::vector<Output> outputs_;
    std::deque<Frame> frames_;      ///< the newest that is due, where one is, and all that were decoded after it
    std::int64_t firstNumber_ = 0;  ///< number of the first of `frames_`, counted in the order of decoding
    CMTime decodedEnd_;             ///< where the newest frame ends; invalid without one since the last jump
    bool isDecoded_ = false;        ///< all frames up to the movie's end are decoded
    bool isFailureLogged_ = false;
    std::optional<NSError> error_;  ///< why nothing more can be decoded
    std::optional<CMTime> seekTarget_;
    std::int64_t generation_ = 0;  ///< counts jumps; a frame whose decoding began before the last one is dropped
    bool isStopping_ = false;
    std::function<void()> onEnd_;

    std::thread thread_;
};

DecodingItem::DecodingItem(std::shared_ptr<MovieReader> reader, MovieFrameFormat format)
    : reader_(std::move(reader)),
      format_(format),
      information_(reader_->information()),
      position_(information_.duration) {}

DecodingItem::~DecodingItem() {
    {
        const Lock lock(mutex_);
        isStopping_ = true;
        for (const Output& output : outputs_) output.output->setOnSpace(nullptr);
    }
    reader_->cancel();
    wake_->set();
    if (thread_.joinable()) thread_.join();
}

void DecodingItem::add(std::shared_ptr<AVPlayerItemVideoOutput> output) {
    assert(output != nullptr);
    const CVAttributes& attributes = output->pixelBufferAttributes();
    const auto format = attributes.find(kCVPixelBufferPixelFormatTypeKey);
    const auto* const value = format != attributes.end() ? std::get_if<std::int64_t>(&format->second) : nullptr;
    const bool isBGRA = value != nullptr && *value == kCVPixelFormatType_32BGRA && format_ == MovieFrameFormat::BGRA;
    if (format != attributes.end() && !isBGRA) {
        logger().error("A video output gets no frames: %s.", format_ == MovieFrameFormat::BGRA
                                                                 ? "a player has them in 'BGRA' only"
                                                                 : "it asks for a format, and the player's is another");
        return;
    }
    try {
        addOutput(std::move(output));
    } catch (const std::bad_alloc&) {
        logger().error("Out of memory: a video output gets no frames.");
    }
}

void DecodingItem::addOutput(std::shared_ptr<AVPlayerItemVideoOutput> output) {
    {
        const Lock lock(mutex_);
        const auto isSame = [&](const Output& other) { return other.output == output; };
        if (std::any_of(outputs_.begin(), outputs_.end(), isSame)) return;
        outputs_.reserve(outputs_.size() + 1);
        std::function<void()> onSpace = [wake = wake_] { wake->set(); };
        if (outputs_.empty() && !isDecoded_) {
            const CMTime now = position_.now();
            const double decoded = frames_.empty() ? 0 : CMTimeGetSeconds(frames_.back().time);
            if (CMTimeGetSeconds(now) > decoded + farBehind) jump(now);
        }
        output->setOnSpace(std::move(onSpace));
        outputs_.push_back({std::move(output), firstNumber_});
    }
    wake_->set();
}

void DecodingItem::remove(const std::shared_ptr<AVPlayerItemVideoOutput>& output) {
    const Lock lock(mutex_);
    const auto found =
        std::find_if(outputs_.begin(), outputs_.end(), [&](const Output& other) { return other.output == output; });
    if (found == outputs_.end()) return;
    output->setOnSpace(nullptr);
    output->flush();
    outputs_.erase(found);
}

void DecodingItem::setRate(double rate) {
    {
        const Lock lock(mutex_);
        checkEnd();
        position_.setRate(rate);
    }
    wake_->set();
}

void DecodingItem::seek(CMTime to) {
    {
        const Lock lock(mutex_);
        position_.move(to);
        jump(position_.now());
    }
    wake_->set();
}

void DecodingItem::jump(CMTime to) {
    ++generation_;
    seekTarget_ = to;
    isDecoded_ = false;
    decodedEnd_ = kCMTimeInvalid;
    firstNumber_ += static_cast<std::int64_t>(frames_.size());
    frames_.clear();
    error_.reset();
    for (const Output& output : outputs_) output.output->flush();
}

/// Stops the position at the end, and has the main run loop tell of it. Called by all that look at the time, so that
/// the first to come notices; where memory lacks, the next tries again.
void DecodingItem::checkEnd() const noexcept {
    isEndToBeTold_ = position_.stopAtEnd() || isEndToBeTold_;
    if (!isEndToBeTold_) return;
    try {
        os::orThrow([this] {
            NSRunLoop::main().perform([weak = weak_from_this()] {
                if (const auto self = weak.lock()) self->notifyEnd();
            });
            return errno == 0;
        });
        isEndToBeTold_ = false;
    } catch (const std::bad_alloc&) {
    }
}

void DecodingItem::notifyEnd() const {
    std::function<void()> onEnd;
    try {
        const Lock lock(mutex_);
        onEnd = onEnd_;
    } catch (const std::bad_alloc&) {
        logger().error("Out of memory: nobody is told of the movie's end.");
    }
    if (onEnd) onEnd();
}

void DecodingItem::run() noexcept {
    try {
        Lock lock(mutex_);
        while (!isStopping_) work(lock);
    } catch (const std::bad_alloc&) {
        logger().error("Out of memory: the movie isn't decoded any further.");
        const Lock lock(mutex_);
        error_ = NSError(outOfMemory);
    }
}

void DecodingItem::work(Lock& lock) {
    deliver();
    if (outputs_.empty()) {
        wait(lock);
    } else if (seekTarget_) {
        seekReader(lock);
    } else if (!isDecoded_ && hasRoom()) {
        decode(lock);
    } else {
        wait(lock);
    }
}

/// For one frame more, which is taken to be as large as the newest.
bool DecodingItem::hasRoom() const {
    if (frames_.size() < 2) return true;
    std::int64_t bytes = 0;
    for (const Frame& frame : frames_) bytes += bytesOf(*frame.pixelBuffer);
    return frames_.size() < heldFrames && bytes + bytesOf(*frames_.back().pixelBuffer) <= heldBytes;
}

void DecodingItem::wait(Lock& lock) {
    const bool isPlaying = position_.rate() > 0 || isEndToBeTold_;
    lock.unlock();
    if (isPlaying) {
        wake_->wait(lookInterval);
    } else {
        wake_->wait();
    }
    lock.lock();
}

void DecodingItem::seekReader(Lock& lock) {
    const CMTime target = CMTimeAdd(*std::exchange(seekTarget_, std::nullopt), information_.start);
    lock.unlock();
    const bool isFound = reader_->seek(target);
    lock.lock();
    if (isFound || isStopping_ || std::exchange(isFailureLogged_, true)) return;
    logger().error("The movie can't be searched for the time %.3f s.", CMTimeGetSeconds(target));
}

void DecodingItem::decode(Lock& lock) {
    const std::int64_t generation = generation_;
    lock.unlock();
    const auto sample = reader_->copyNextSampleBuffer();
    lock.lock();
    if (generation != generation_ || isStopping_) return;
    if (sample != nullptr) {
        take(*sample);
    } else {
        endMovie();
    }
}

void DecodingItem::take(const CMSampleBuffer& sample) {
    const CMTime time = CMTimeSubtract(CMSampleBufferGetPresentationTimeStamp(sample), information_.start);
    if (!CMTIME_IS_NUMERIC(time)) return;
    if (!frames_.empty() && CMTimeCompare(time, frames_.back().time) <= 0) return;
    const CMTime duration = CMSampleBufferGetDuration(sample);
    decodedEnd_ = CMTIME_IS_NUMERIC(duration) ? CMTimeAdd(time, duration) : time;
    frames_.push_back({CMSampleBufferGetImageBuffer(sample), time});
}

void DecodingItem::endMovie() {
    isDecoded_ = true;
    error_ = reader_->error();
    if (error_ && !std::exchange(isFailureLogged_, true)) {
        logger().error("The movie can't be read further: %s.", error_->localizedDescription().c_str());
    }
    const CMTime end = CMTIME_IS_NUMERIC(decodedEnd_) ? decodedEnd_ : position_.now();
    const double missing = CMTimeGetSeconds(position_.end()) - CMTimeGetSeconds(end);
    // A duration that the file doesn't say isn't near, either.
    if (!(missing >= 0 && missing <= durationLeeway)) position_.setEnd(end);
}

/// Drops frames after which another one is due already, and hands the others to the outputs as far as they have room.
void DecodingItem::deliver() {
    checkEnd();
    const CMTime now = position_.now();
    while (frames_.size() > 1 && CMTimeCompare(frames_[1].time, now) <= 0) {
        frames_.pop_front();
        ++firstNumber_;
    }
    const std::int64_t pastNumber = firstNumber_ + static_cast<std::int64_t>(frames_.size());
    for (Output& output : outputs_) {
        output.output->dropFramesBefore(now);
        output.next = std::max(output.next, firstNumber_);
        while (output.next < pastNumber) {
            const Frame& frame = frames_[static_cast<std::size_t>(output.next - firstNumber_)];
            errno = 0;
            if (!output.output->append(frame.pixelBuffer, frame.time)) {
                if (errno == ENOMEM && !std::exchange(isFailureLogged_, true)) {
                    logger().error("Out of memory: frames come late.");
                }
                break;
            }
            ++output.next;
        }
    }
}

}  // namespace
}  // namespace ondrix::ffmpeg

namespace ondrix {

std::shared_ptr<MoviePlayerItem> MoviePlayerItem::create(const URL& file, NSError* error) {
    return create(file, {}, error);
}

std::shared_ptr<MoviePlayerItem> MoviePlayerItem::create(const URL& file, const MovieOptions& options, NSError* error) {
    return create(file, MovieFrameFormat::BGRA, options, error);
}

std::shared_ptr<MoviePlayerItem> MoviePlayerItem::create(const URL& file, MovieFrameFormat format,
                                                         const MovieOptions& options, NSError* error) {
    auto reader = MovieReader::open(file, format, options, error);
    if (reader == nullptr) return nullptr;
    return ffmpeg::orReason(error, [&](std::string&) -> std::shared_ptr<MoviePlayerItem> {
        auto item = std::make_shared<ffmpeg::DecodingItem>(std::move(reader), format);
        item->start();
        return item;
    });
}

}  // namespace ondrix
