#include <algorithm>
#include <cassert>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <numeric>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <ondrix/platform/ffmpeg/MovieWriter.h>
#include <ondrix/platform/ffmpeg/write/StreamCopier.h>
#include <ondrix/platform/ffmpeg/write/VideoEncoder.h>

namespace ondrix::ffmpeg {

namespace {

constexpr const char* notWritten = "the file can't be written";

struct OutputDeleter {
    void operator()(AVFormatContext* context) const noexcept {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
using OutputPointer = std::unique_ptr<AVFormatContext, OutputDeleter>;

std::string fileName(const URL& file) {
    return "file:" + file.path().native();  // so that no part of the name is taken for a protocol
}

void checkSettings(const MovieWriterSettings& settings) {
    const auto isSide = [](std::int64_t side) { return side >= 2 && side <= largestSide && side % 2 == 0; };
    if (!isSide(settings.width) || !isSide(settings.height)) {
        throw WritingFailure("pictures of " + std::to_string(settings.width) + " x " + std::to_string(settings.height) +
                             " can't be written: sides are even, from 2 to " + std::to_string(largestSide) + " pixels");
    }
    if (settings.timescale < 1) throw WritingFailure("a timescale is at least 1");
    if (settings.quality < 0 || settings.quality > worstQuality) {
        throw WritingFailure("a quality is from 0 to " + std::to_string(worstQuality));
    }
    if (settings.threadCount < 0) throw WritingFailure("a count of threads is at least 0");
}

const AVOutputFormat& formatFor(const URL& file, const MovieWriterSettings& settings) {
    std::string ending = settings.container;
    if (ending.empty()) ending = file.path().extension().native();
    if (!ending.empty() && ending.front() == '.') ending.erase(0, 1);
    if (ending.empty()) throw WritingFailure("the file's name has no ending that tells its format");
    const AVOutputFormat* format = av_guess_format(nullptr, ("movie." + ending).c_str(), nullptr);
    if (format == nullptr) throw WritingFailure("no movie format has the ending \"" + ending + "\"");
    // Formats of sound have a codec for pictures, too, but only for the cover of an album.
    const bool isMovie = format->video_codec != AV_CODEC_ID_NONE && format->video_codec != AV_CODEC_ID_PNG;
    if (!isMovie || (format->flags & AVFMT_NOFILE) != 0 || std::string_view(format->name) == "image2") {
        throw WritingFailure("files with the ending \"" + ending + "\" can't hold a movie");
    }
    return *format;
}

/// Ticks a second in which times of pictures and of sound are whole numbers; without a sound whose rate makes that more
/// than 32 bits hold.
std::int64_t commonTimescale(std::int32_t timescale, const std::vector<int>& sampleRates) {
    std::int64_t common = timescale;
    for (const int rate : sampleRates) {
        const std::int64_t next = rate > 0 ? std::lcm(common, std::int64_t{rate}) : common;
        if (next <= std::numeric_limits<std::int32_t>::max()) common = next;
    }
    return common;
}

std::string secondsText(double seconds) {
    char text[48];
    std::snprintf(text, sizeof text, "%.6f s", seconds);
    return text;
}

class EncodingWriter final : public MovieWriter {
public:
    EncodingWriter(const URL& file, const MovieWriterSettings& settings);

    bool append(const CMSampleBuffer& frame) override {
        assert(!isFinished_);
        return attempt([&] { write(frame); });
    }
    bool finish() override {
        assert(!isFinished_);
        isFinished_ = true;
        return attempt([&] { complete(); });
    }
    std::optional<NSError> error() const override { return copyOf(error_); }
    OSType pixelFormat() const override { return EncoderPicture::nearestFormat(encoder_.context().pix_fmt); }

private:
    template <typename Action>
    bool attempt(const Action& action);
    void makeFile(const URL& file);
    void setOptions(AVDictionary*& options) const;

    void write(const CMSampleBuffer& frame);
    void complete();
    [[nodiscard]] std::int64_t ticks(CMTime time) const;
    [[nodiscard]] std::int64_t duration(const CMSampleBuffer& frame, std::int64_t time) const;
    void begin(std::int64_t time);
    void writeEncoded();
    void writePacket(AVPacket& packet);

    const AVOutputFormat& format_;
    const MovieWriterSettings settings_;
    const AVRational timeBase_;  ///< of times in this class: the timescale of the settings
    VideoEncoder encoder_;
    OutputPointer output_;
    AVStream* stream_ = nullptr;            ///< of the pictures, the output's first
    std::unique_ptr<StreamCopier> copier_;  ///< null when nothing is copied
    PacketPointer packet_;

    bool hasPictures_ = false;
    bool isFinished_ = false;
    std::int64_t shift_ = 0;         ///< added to all times in the file, in the encoder's ticks
    std::int64_t lastTime_ = 0;      ///< of the last picture
    std::int64_t lastDuration_ = 0;  ///< of the last picture
    std::int64_t lastEncoded_ = 0;   ///< time of the last picture in the encoder's ticks
    std::optional<NSError> error_;
};

EncodingWriter::EncodingWriter(const URL& file, const MovieWriterSettings& settings)
    : format_(formatFor(file, settings)),
      settings_((checkSettings(settings), settings)),
      timeBase_{1, settings.timescale},
      encoder_(format_, settings),
      packet_(makePacket()) {
    if ((format_.flags & AVFMT_NOTIMESTAMPS) != 0) {
        throw WritingFailure(std::string("the format ") + format_.name + " can't hold times");
    }
    AVFormatContext* output = nullptr;
    checkWriting(notWritten, avformat_alloc_output_context2(&output, &format_, nullptr, fileName(file).c_str()));
    output_.reset(output);
    stream_ = avformat_new_stream(output, nullptr);
    if (stream_ == nullptr) throw std::bad_alloc();
    checkWriting(notWritten, avcodec_parameters_from_context(stream_->codecpar, &encoder_.context()));
    stream_->time_base = encoder_.context().time_base;
    const AVRational rate = encoder_.context().framerate;
    if (av_cmp_q(av_inv_q(rate), stream_->time_base) == 0) stream_->avg_frame_rate = rate;
    if (settings.copyOthersFrom) {
        copier_ = std::make_unique<StreamCopier>(*settings.copyOthersFrom, settings.copyOptions, *output);
    }
    makeFile(file);
}

void EncodingWriter::makeFile(const URL& file) {
    checkWriting("the file can't be made", avio_open(&output_->pb, fileName(file).c_str(), AVIO_FLAG_WRITE));
    AVDictionary* options = nullptr;
    try {
        setOptions(options);
        const int status = avformat_write_header(output_.get(), &options);
        av_dict_free(&options);
        checkWriting(notWritten, status);
        checkWriting(notWritten, output_->pb->error);
    } catch (...) {
        av_dict_free(&options);
        avio_closep(&output_->pb);
        std::error_code ignored;
        if (std::filesystem::is_regular_file(file.path(), ignored)) std::filesystem::remove(file.path(), ignored);
        throw;
    }
}

void EncodingWriter::setOptions(AVDictionary*& options) const {
    const auto set = [&options](const char* name, std::int64_t value) {
        throwIfOutOfMemory(av_dict_set_int(&options, name, value, 0));
    };
    // In QuickTime's formats the start of a track is counted in the movie's ticks, which by default are milliseconds.
    set("video_track_timescale", settings_.timescale);
    set("movie_timescale", commonTimescale(settings_.timescale, copier_ ? copier_->sampleRates() : std::vector<int>()));
    // Sound often begins a little before zero. The library would then move everything to begin at zero, pictures
    // included.
    if (holdsTimesBeforeZero(format_)) {
        output_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    }
}

template <typename Action>
bool EncodingWriter::attempt(const Action& action) {
    if (error_) return false;
    try {
        try {
            action();
            return true;
        } catch (const WritingFailure& failure) {
            error_.emplace(failure.what());
        }
    } catch (const std::bad_alloc&) {
        error_.emplace(outOfMemory);
    }
    return false;
}

std::int64_t EncodingWriter::ticks(CMTime time) const {
    return CMTimeConvertScale(time, settings_.timescale, CMTimeRoundingMethod::roundHalfAwayFromZero).value;
}

/// In ticks: what the frame says, or else the distance from the frame before, or else what the rate says, or one tick.
std::int64_t EncodingWriter::duration(const CMSampleBuffer& frame, std::int64_t time) const {
    const CMTime known = CMSampleBufferGetDuration(frame);
    if (CMTIME_IS_NUMERIC(known) && known.value > 0) return std::max<std::int64_t>(1, ticks(known));
    if (hasPictures_) return time - lastTime_;
    const AVRational rate = encoder_.context().framerate;
    return rate.num > 0 ? std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(rate), timeBase_)) : 1;
}

void EncodingWriter::write(const CMSampleBuffer& frame) {
    const auto pixelBuffer = CMSampleBufferGetImageBuffer(frame);
    if (pixelBuffer == nullptr) throw WritingFailure("a sample buffer without a picture can't be written");
    const std::int64_t width = CVPixelBufferGetWidth(*pixelBuffer), height = CVPixelBufferGetHeight(*pixelBuffer);
    if (width != settings_.width || height != settings_.height) {
        throw WritingFailure("a frame of " + std::to_string(width) + " x " + std::to_string(height) +
                             " doesn't fit into a movie of " + std::to_string(settings_.width) + " x " +
                             std::to_string(settings_.height));
    }
    const CMTime presentation = CMSampleBufferGetPresentationTimeStamp(frame);
    if (!CMTIME_IS_NUMERIC(presentation)) throw WritingFailure("a frame without a time can't be written");
    const std::int64_t time = ticks(presentation);
    if (!hasPictures_) begin(time);
    const AVRational encoderTimeBase = encoder_.context().time_base;
    const std::int64_t encoded = av_rescale_q(time, timeBase_, encoderTimeBase) + shift_;
    if (hasPictures_ && (time <= lastTime_ || encoded <= lastEncoded_)) {
        const double tick = av_q2d(timeBase_);
        throw WritingFailure("time stamps don't rise: " + secondsText(CMTimeGetSeconds(presentation)) + " after " +
                             secondsText(static_cast<double>(lastTime_) * tick));
    }
    lastDuration_ = duration(frame, time);
    lastTime_ = time;
    lastEncoded_ = encoded;
    hasPictures_ = true;
    encoder_.encode(pixelBuffer, encoded,
                    std::max<std::int64_t>(1, av_rescale_q(lastDuration_, timeBase_, encoderTimeBase)));
    writeEncoded();
    if (copier_) copier_->copyBefore(time, timeBase_, [this](AVPacket& packet) { writePacket(packet); });
}

/// Has a movie that begins before zero begin at zero, because no format here shows what comes before zero.
void EncodingWriter::begin(std::int64_t time) {
    if (time >= 0) return;
    shift_ = -av_rescale_q(time, timeBase_, encoder_.context().time_base);
    if (copier_) copier_->setShift(-time, timeBase_);
}

void EncodingWriter::writeEncoded() {
    while (encoder_.receive(*packet_)) {
        packet_->stream_index = stream_->index;
        av_packet_rescale_ts(packet_.get(), encoder_.context().time_base, stream_->time_base);
        writePacket(*packet_);
    }
}

void EncodingWriter::writePacket(AVPacket& packet) {
    checkWriting(notWritten, av_interleaved_write_frame(output_.get(), &packet));
}

void EncodingWriter::complete() {
    if (!hasPictures_) throw WritingFailure("a movie without pictures can't be written");
    encoder_.drain();
    writeEncoded();
    if (copier_) {
        copier_->finish(lastTime_, lastTime_ + lastDuration_, timeBase_,
                        [this](AVPacket& packet) { writePacket(packet); });
    }
    checkWriting(notWritten, av_write_trailer(output_.get()));
    avio_flush(output_->pb);
    checkWriting(notWritten, output_->pb->error);
    checkWriting(notWritten, avio_closep(&output_->pb));
}

}  // namespace
}  // namespace ondrix::ffmpeg

namespace ondrix {

std::shared_ptr<MovieWriter> MovieWriter::create(const URL& file, const MovieWriterSettings& settings, NSError* error) {
    ffmpeg::silenceLibraries();
    return ffmpeg::orReason(error, [&](std::string&) -> std::shared_ptr<MovieWriter> {
        return std::make_shared<ffmpeg::EncodingWriter>(file, settings);
    });
}

}  // namespace ondrix
