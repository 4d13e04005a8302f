#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
}

#include <ondrix/platform/ffmpeg/write/VideoEncoder.h>

namespace ondrix::ffmpeg {

namespace {

bool isNamed(const AVOutputFormat& format, std::string_view name) {
    return name == format.name;
}

/// False for formats that only count frames, all of which are shown for the same time.
bool holdsTimes(const AVOutputFormat& format) {
    return (format.flags & (AVFMT_VARIABLE_FPS | AVFMT_TS_NEGATIVE)) != 0;
}

AVCodecID codecFor(const AVOutputFormat& format) {
    // The library can't tell what MPEG transport streams hold.
    const bool holdsH264 =
        avformat_query_codec(&format, AV_CODEC_ID_H264, FF_COMPLIANCE_NORMAL) == 1 || isNamed(format, "mpegts");
    return holdsH264 && holdsTimes(format) ? AV_CODEC_ID_H264 : format.video_codec;
}

const AVCodec& encoderFor(const AVOutputFormat& format) {
    const AVCodecID id = codecFor(format);
    const AVCodec* encoder = id == AV_CODEC_ID_H264 ? avcodec_find_encoder_by_name("libx264") : nullptr;
    if (encoder == nullptr) encoder = avcodec_find_encoder(id);
    if (encoder == nullptr) throw WritingFailure(std::string("an encoder for ") + avcodec_get_name(id) + " is missing");
    return *encoder;
}

AVRational frameRate(const MovieWriterSettings& settings) {
    const bool isKnown = std::isfinite(settings.frameRate) && settings.frameRate > 0;
    return isKnown ? av_d2q(settings.frameRate, 1001000) : AVRational{0, 1};
}

/// The quantiser with which the older MPEG codecs round as coarsely as H.264 does at `quality`.
int mpegQuantiser(int quality) {
    return std::clamp(static_cast<int>(std::lround(0.3125 * std::exp2(quality / 6.0))), 1, 31);
}

void setQuality(AVCodecContext& context, const MovieWriterSettings& settings) {
    if (const AVOption* crf = av_opt_find(context.priv_data, "crf", nullptr, 0, 0); crf != nullptr) {
        const double scale = crf->max < 100 ? crf->max / worstQuality : 1;
        av_opt_set_double(context.priv_data, "crf", std::round(settings.quality * scale), 0);
        if (context.codec_id == AV_CODEC_ID_VP9) {
            // The defaults of VP9 take ten times as long as those of other encoders, and only one thread.
            av_opt_set(context.priv_data, "cpu-used", "4", 0);
            av_opt_set(context.priv_data, "row-mt", "1", 0);
        }
        context.bit_rate = context.codec_id == AV_CODEC_ID_VP8 ? 100'000'000 : 0;  // bits a second: no limit
        return;
    }
    context.flags |= AV_CODEC_FLAG_QSCALE;
    context.global_quality =
        FF_QP2LAMBDA * (context.codec_id == AV_CODEC_ID_THEORA ? 10 * (worstQuality - settings.quality) / worstQuality
                                                               : mpegQuantiser(settings.quality));
}

/// Frames that libx264 looks ahead by a preset's name; absent for a name that it doesn't know.
std::optional<int> lookAheadOf(std::string_view preset) {
    constexpr std::pair<std::string_view, int> known[] = {
        {"ultrafast", 0}, {"superfast", 0}, {"veryfast", 10}, {"faster", 20},   {"fast", 30},
        {"medium", 40},   {"slow", 50},     {"slower", 60},   {"veryslow", 60}, {"placebo", 60}};
    for (const auto& [name, count] : known) {
        if (name == preset) return count;
    }
    return std::nullopt;
}

/// Keeps libx264's memory in bounds. It takes, measured, 18 bytes a pixel at least, 32 with the pictures that others
/// are predicted from and to, 4 for each that it looks ahead and 8 for each thread.
void limitMemory(AVCodecContext& context, const MovieWriterSettings& settings) {
    if (std::string_view(context.codec->name) != "libx264") return;
    const auto room = static_cast<int>(settings.maximumEncodingMemory / (settings.width * settings.height));
    const int usual = lookAheadOf(settings.preset.empty() ? "medium" : settings.preset).value_or(0);
    const int free = std::max(room - 32, 0), threads = std::max(1, free / 16);
    const int wanted =
        settings.threadCount > 0 ? settings.threadCount : static_cast<int>(std::thread::hardware_concurrency()) * 3 / 2;
    if (wanted > threads) context.thread_count = threads;
    const int lookAhead = (free - 8 * std::min(wanted, threads)) / 4;
    if (lookAhead >= usual) return;
    av_opt_set_int(context.priv_data, "rc-lookahead", std::max(lookAhead, 0), 0);
    throwIfOutOfMemory(av_opt_set(context.priv_data, "x264-params", "sync-lookahead=0", 0));
    if (room >= 32) return;
    context.max_b_frames = 0;
    context.refs = 1;
}

void setPreset(AVCodecContext& context, const MovieWriterSettings& settings) {
    const std::string& preset = settings.preset;
    if (preset.empty() || av_opt_find(context.priv_data, "preset", nullptr, 0, 0) == nullptr) return;
    // libx264 itself writes to standard error about names that it doesn't know.
    const std::string_view encoder = context.codec->name;
    if ((encoder == "libx264" && !lookAheadOf(preset)) ||
        throwIfOutOfMemory(av_opt_set(context.priv_data, "preset", preset.c_str(), 0)) < 0) {
        throw WritingFailure("the encoder " + std::string(encoder) + " has no preset \"" + preset + "\"");
    }
}

CodecPointer openEncoder(const AVOutputFormat& format, const MovieWriterSettings& settings) {
    const AVCodec& encoder = encoderFor(format);
    CodecPointer codec(avcodec_alloc_context3(&encoder));
    if (!codec) throw std::bad_alloc();
    codec->width = static_cast<int>(settings.width);
    codec->height = static_cast<int>(settings.height);
    codec->pix_fmt = EncoderPicture::bestFormat(encoder.pix_fmts);
    codec->framerate = frameRate(settings);
    const bool countsFrames = !holdsTimes(format) || encoder.id == AV_CODEC_ID_THEORA;
    codec->time_base =
        countsFrames && codec->framerate.num > 0 ? av_inv_q(codec->framerate) : AVRational{1, settings.timescale};
    codec->thread_count = settings.threadCount;
    if (!holdsTimesBeforeZero(format)) codec->max_b_frames = 0;
    if ((format.flags & AVFMT_GLOBALHEADER) != 0) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (EncoderPicture::isYCbCr(codec->pix_fmt)) {
        codec->colorspace = AVCOL_SPC_BT709;
        codec->color_primaries = AVCOL_PRI_BT709;
        codec->color_trc = AVCOL_TRC_BT709;
        codec->color_range = meansFullRange(codec->pix_fmt) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    setQuality(*codec, settings);
    setPreset(*codec, settings);
    limitMemory(*codec, settings);
    checkWriting(("the encoder " + std::string(encoder.name) + " can't be opened").c_str(),
                 avcodec_open2(codec.get(), &encoder, nullptr));
    return codec;
}

}  // namespace

bool holdsTimesBeforeZero(const AVOutputFormat& format) {
    return (format.flags & AVFMT_TS_NEGATIVE) != 0 || isNamed(format, "matroska") || isNamed(format, "webm");
}

VideoEncoder::VideoEncoder(const AVOutputFormat& format, const MovieWriterSettings& settings)
    : codec_(openEncoder(format, settings)), picture_(*codec_) {}

void VideoEncoder::encode(const std::shared_ptr<CVPixelBuffer>& pixelBuffer, std::int64_t time, std::int64_t duration) {
    AVFrame& frame = picture_.fill(pixelBuffer);
    frame.pts = time;
    frame.quality = codec_->global_quality;
    durations_.emplace(time, duration);
    checkWriting("a frame can't be encoded", avcodec_send_frame(codec_.get(), &frame));
}

void VideoEncoder::drain() {
    checkWriting("the last frames can't be encoded", avcodec_send_frame(codec_.get(), nullptr));
}

bool VideoEncoder::receive(AVPacket& packet) {
    const int status = avcodec_receive_packet(codec_.get(), &packet);
    if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return false;
    checkWriting("a frame can't be encoded", status);
    if (const auto duration = durations_.find(packet.pts); duration != durations_.end()) {
        packet.duration = duration->second;
        durations_.erase(duration);
    }
    return true;
}

}  // namespace ondrix::ffmpeg
