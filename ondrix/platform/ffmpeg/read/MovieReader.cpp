#include <algorithm>
#include <cassert>
#include <cinttypes>
#include <exception>
#include <utility>

#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/read/SampleMaker.h>

namespace ondrix::ffmpeg {

namespace {

constexpr CMTime oneSecond{1, 1, kCMTimeFlags_Valid, 0};

class FileReader final : public MovieReader {
public:
    ~FileReader() override { tellLoss(); }

    /// False with the reason. Throws std::bad_alloc.
    [[nodiscard]] bool start(const URL& file, MovieFrameFormat format, const MovieOptions& options,
                             std::string& reason) {
        silenceLibraries();
        cancellation_.setOther(options.isCancelled);
        name_ = file.path().filename().string();
        auto input = MovieInput::openFile(file.path(), options, cancellation_, reason);
        if (!input) return false;
        information_ = input->information();
        maker_.emplace(*input, format, name_);
        decoder_ = PictureDecoder::create(std::move(input), reason);
        return decoder_ != nullptr;
    }

    [[nodiscard]] const MovieInformation& information() const override { return information_; }

    [[nodiscard]] std::shared_ptr<CMSampleBuffer> copyNextSampleBuffer() override {
        if (error_ || cancellation_.isAskedFor()) return nullptr;
        try {
            const auto picture = takePicture();
            if (cancellation_.isAskedFor()) return nullptr;
            if (!picture) {
                finish();
                return nullptr;
            }
            std::string reason;
            auto sample = maker_->make(*picture, reason);
            if (!sample) error_.emplace(std::move(reason));
            hasHandedOut_ = hasHandedOut_ || sample != nullptr;
            return sample;
        } catch (const std::exception&) {
            error_.emplace(outOfMemory);
            return nullptr;
        }
    }

    [[nodiscard]] std::optional<NSError> error() const override { return copyOf(error_); }
    [[nodiscard]] std::int64_t lostFrameCount() const override { return decoder_->lostCount(); }

    [[nodiscard]] bool seek(CMTime time) override {
        if (!CMTIME_IS_VALID(time) || cancellation_.isAskedFor()) return false;
        try {
            error_.reset();
            return seekTo(ticksOf(time));
        } catch (const std::exception&) {
            error_.emplace(outOfMemory);
            return false;
        }
    }

    void cancel() override { cancellation_.ask(); }

private:
    /// Ticks that no movie reaches, and whose sums still fit into 64 bits.
    static constexpr std::int64_t farAway = INT64_MAX / 8;

    [[nodiscard]] std::int64_t ticksOf(CMTime time) const {
        if (CMTIME_IS_NUMERIC(time)) return std::clamp(ticksAt(time, decoder_->timeBase()), -farAway, farAway);
        return CMTimeCompare(time, kCMTimeZero) < 0 ? -farAway : farAway;
    }

    /// The next picture with its duration, which is how long it is shown: until the one after it, or, for the last, as
    /// long as its packet says or as the mean rate has it.
    [[nodiscard]] std::optional<DecodedPicture> takePicture() {
        if (!current_) current_ = ahead_ ? std::exchange(ahead_, std::nullopt) : decoder_->next();
        if (!current_) return std::nullopt;
        if (!ahead_) ahead_ = decoder_->next();
        if (ahead_) {
            current_->duration = ahead_->time - current_->time;
        } else if (current_->duration <= 0) {
            current_->duration = decoder_->input().meanFrameTicks();
        }
        return std::exchange(current_, std::nullopt);
    }

    void finish() {
        const std::string failure = decoder_->failure();
        if (!failure.empty()) {
            error_.emplace(failure);
        } else if (!hasHandedOut_) {
            error_.emplace("no picture of the file can be decoded");
        }
        tellLoss();
    }

    /// Logs once how much was lost, if anything was.
    void tellLoss() {
        if (!decoder_ || decoder_->lostCount() == 0 || std::exchange(hasToldLoss_, true)) return;
        logger().error("%s is damaged: frames lost: %" PRId64, name_.c_str(), decoder_->lostCount());
    }

    /// Makes the last picture that is shown at `target` or before the next one. The file's index tells where pictures
    /// are stored, not when they are shown, and the first whole picture from there may be later than `target`. The
    /// search then begins anew, each time further back, until the first picture that it finds is early enough.
    [[nodiscard]] bool seekTo(std::int64_t target) {
        const MovieInput& input = decoder_->input();
        if (!input.canSeek()) return readOnTo(target);
        const std::int64_t first = input.startTicks();
        const std::int64_t length = std::max<std::int64_t>(input.stream().duration, 0);
        const std::int64_t from = length > 0 ? std::min(target, first + length) : target;
        std::int64_t back = 0;
        for (bool isFound = false; !isFound && !cancellation_.isAskedFor();) {
            current_.reset();
            ahead_.reset();
            const bool isAtStart = from - back <= first;
            const bool moved = isAtStart ? decoder_->rewind() : decoder_->seek(from - back);
            if (!moved && isAtStart) return false;
            if (moved) current_ = decoder_->next();
            isFound = isAtStart || (current_ && current_->time <= target);
            back = moved ? std::max(back * 4, ticksAt(oneSecond, decoder_->timeBase())) : 2 * farAway;
        }
        while (current_ && (ahead_ = decoder_->next()) && ahead_->time <= target) current_ = std::move(ahead_);
        return !cancellation_.isAskedFor();
    }

    /// The same where there is no way back.
    [[nodiscard]] bool readOnTo(std::int64_t target) {
        if (!current_) current_ = ahead_ ? std::exchange(ahead_, std::nullopt) : decoder_->next();
        if (!current_ || (hasHandedOut_ && current_->time > target)) return false;
        if (!ahead_) ahead_ = decoder_->next();
        for (; ahead_ && ahead_->time <= target; ahead_ = decoder_->next()) current_ = std::move(ahead_);
        return !cancellation_.isAskedFor();
    }

    Cancellation cancellation_;
    std::string name_;
    MovieInformation information_;
    std::unique_ptr<PictureDecoder> decoder_;
    std::optional<SampleMaker> maker_;
    std::optional<DecodedPicture> current_;  ///< handed out next, if it is decoded already
    std::optional<DecodedPicture> ahead_;    ///< the one after it
    bool hasHandedOut_ = false;
    bool hasToldLoss_ = false;
    std::optional<NSError> error_;
};

}  // namespace
}  // namespace ondrix::ffmpeg

namespace ondrix {

std::shared_ptr<MovieReader> MovieReader::open(const URL& file, MovieFrameFormat format, NSError* error) {
    return open(file, format, {}, error);
}

std::shared_ptr<MovieReader> MovieReader::open(const URL& file, MovieFrameFormat format, const MovieOptions& options,
                                               NSError* error) {
    return ffmpeg::orReason(error, [&](std::string& reason) -> std::shared_ptr<MovieReader> {
        auto reader = std::make_shared<ffmpeg::FileReader>();
        return reader->start(file, format, options, reason) ? reader : nullptr;
    });
}

}  // namespace ondrix
