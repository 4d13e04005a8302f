#include <algorithm>
#include <utility>

#include <ondrix/platform/ffmpeg/read/PictureDecoder.h>

namespace ondrix::ffmpeg {

namespace {

/// Packets whose times are remembered; no decoder holds back as many.
constexpr std::size_t maximumPacketsOnTheirWay = 256;
/// Where times go back by more than this many frames, another part of a joined file begins. Where they go back by less,
/// one frame's time is wrong.
constexpr std::int64_t framesOfASlip = 4;

std::string nameOf(const AVCodecParameters& parameters) {
    if (parameters.codec_id != AV_CODEC_ID_NONE) return avcodec_get_name(parameters.codec_id);
    char text[AV_FOURCC_MAX_STRING_SIZE] = {};
    return av_fourcc_make_string(text, parameters.codec_tag);
}

/// True for decoders that, while they decode several frames at once, hand out a picture before all damage in it is
/// noted, so that it depends on chance whether it comes as a damaged one.
bool losesDamageBetweenThreads(AVCodecID codec) {
    return codec == AV_CODEC_ID_MPEG4 || codec == AV_CODEC_ID_RV30 || codec == AV_CODEC_ID_RV40;
}

bool isDamaged(const AVFrame& frame) {
    return (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame.decode_error_flags != 0;
}

}  // namespace

std::unique_ptr<PictureDecoder> PictureDecoder::create(std::unique_ptr<MovieInput> input, std::string& reason) {
    const AVStream& stream = input->stream();
    const AVCodec* const decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    if (decoder == nullptr) {
        reason = "no decoder for " + nameOf(*stream.codecpar);
        return nullptr;
    }
    CodecPointer owner(avcodec_alloc_context3(decoder));
    if (!owner) throw std::bad_alloc();
    AVCodecContext* const codec = owner.get();
    const std::int64_t maximumPixels = input->options().maximumPixels;
    std::unique_ptr<PictureDecoder> result(new PictureDecoder(std::move(input), std::move(owner)));
    int status = throwIfOutOfMemory(avcodec_parameters_to_context(codec, stream.codecpar));
    if (status >= 0) {
        codec->pkt_timebase = stream.time_base;
        codec->thread_type = FF_THREAD_SLICE | (losesDamageBetweenThreads(decoder->id) ? 0 : FF_THREAD_FRAME);
        // H.264 has the same weakness, but can be told to fail at damage, and failures are reported in order.
        if (decoder->id == AV_CODEC_ID_H264) codec->err_recognition |= AV_EF_EXPLODE;
        // Hands out pictures that lack those which they refer to, marked as damaged, so that they can be counted.
        codec->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
        // Decoders count whole blocks of up to 128 pixels a side.
        codec->max_pixels = maximumPixels + 128 * (2 * std::int64_t{largestSide} + 128);
        result->memory_.attachTo(*codec);
        status = throwIfOutOfMemory(avcodec_open2(codec, decoder, nullptr));
    }
    if (status < 0) {
        reason = "the decoder for " + nameOf(*stream.codecpar) + " doesn't start: " + errorText(status);
        return nullptr;
    }
    return result;
}

std::optional<DecodedPicture> PictureDecoder::next() {
    FramePointer frame = makeFrame();
    for (;;) {
        const int status = throwIfOutOfMemory(avcodec_receive_frame(codec_.get(), frame.get()));
        if (status == AVERROR_EOF || memory_.isExceeded()) return std::nullopt;
        if (status == AVERROR(EAGAIN)) {
            feed();
        } else if (status < 0 || isDamaged(*frame)) {
            if (!isSettling_) ++lostCount_;
            av_frame_unref(frame.get());
        } else if (frame->pts != AV_NOPTS_VALUE && frame->pts < wholeFrom_) {
            av_frame_unref(frame.get());
        } else {
            isSettling_ = false;
            return describe(std::move(frame));
        }
    }
}

std::string PictureDecoder::failure() const {
    if (!memory_.isExceeded()) return input_->failure();
    return "decoding takes more than the limit of " + std::to_string(memory_.limit()) + " bytes";
}

/// Gives the decoder its next packet, or the end.
void PictureDecoder::feed() {
    do {
        if (!input_->read(*packet_)) {
            avcodec_send_packet(codec_.get(), nullptr);
            return;
        }
    } while (isAwaitingKey_ && (packet_->flags & AV_PKT_FLAG_KEY) == 0);
    if (std::exchange(isAwaitingKey_, false)) wholeFrom_ = packet_->pts;
    packetTimes_.push_back({packet_->pts, packet_->dts, packet_->duration});
    lastPacketTime_ = packet_->dts;
    if (packetTimes_.size() > maximumPacketsOnTheirWay) packetTimes_.pop_front();
    const int status = throwIfOutOfMemory(avcodec_send_packet(codec_.get(), packet_.get()));
    if (status < 0 && !isSettling_) ++lostCount_;
}

DecodedPicture PictureDecoder::describe(FramePointer frame) {
    DecodedPicture picture;
    picture.decodeTime = AV_NOPTS_VALUE;
    const auto packet = std::find_if(packetTimes_.begin(), packetTimes_.end(), [&](const PacketTimes& times) {
        return times.presentation != AV_NOPTS_VALUE && times.presentation == frame->pts;
    });
    if (packet != packetTimes_.end()) {
        picture.decodeTime = packet->decode;
        picture.duration = packet->duration;
        packetTimes_.erase(packet);
    }
    picture.time = continuous(frame->best_effort_timestamp);
    if (picture.decodeTime != AV_NOPTS_VALUE) picture.decodeTime += shift_;
    picture.frame = std::move(frame);
    return picture;
}

std::int64_t PictureDecoder::continuous(std::int64_t time) {
    const std::int64_t step = step_ > 0 ? step_ : input_->meanFrameTicks();
    if (time != AV_NOPTS_VALUE) {
        time += shift_;
    } else if (lastTime_) {
        time = *lastTime_ + step;
    } else {
        // Without presentation times, the decoder's last pictures come after the time of the last packet.
        time = lastPacketTime_ != AV_NOPTS_VALUE ? lastPacketTime_ + step : input_->startTicks();
    }
    if (lastTime_ && time <= *lastTime_) {
        if (*lastTime_ - time > framesOfASlip * step) {
            shift_ += *lastTime_ + step - time;
            time = *lastTime_ + step;
        } else {
            time = *lastTime_ + 1;
        }
    }
    if (lastTime_) step_ = time - *lastTime_;
    lastTime_ = time;
    return time;
}

bool PictureDecoder::seek(std::int64_t ticks) {
    if (!input_->seek(ticks)) return false;
    restart();
    isAwaitingKey_ = true;
    return true;
}

bool PictureDecoder::rewind() {
    if (!input_->rewind()) return false;
    restart();
    isAwaitingKey_ = false;
    return true;
}

void PictureDecoder::restart() {
    avcodec_flush_buffers(codec_.get());
    packetTimes_.clear();
    lastTime_.reset();
    lastPacketTime_ = AV_NOPTS_VALUE;
    step_ = 0;
    shift_ = 0;
    wholeFrom_ = AV_NOPTS_VALUE;
    isSettling_ = true;
}

}  // namespace ondrix::ffmpeg
