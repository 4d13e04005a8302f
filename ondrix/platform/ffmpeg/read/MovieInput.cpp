#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include <ondrix/platform/ffmpeg/read/MovieInput.h>
#include <ondrix/platform/ffmpeg/read/PictureProperties.h>

namespace ondrix::ffmpeg {

namespace {

constexpr const char* tooEarly = "the file ends too early";
/// A file that fails to be read this many times in a row is given up.
constexpr int maximumFailuresInARow = 64;

/// Devices are the user's own.
MovieOptions withoutLimits() {
    MovieOptions options;
    options.maximumPixels = std::int64_t{largestSide} * largestSide;
    options.maximumDecodingMemory = std::numeric_limits<std::int64_t>::max();
    return options;
}

}  // namespace

std::unique_ptr<MovieInput> MovieInput::openFile(const std::filesystem::path& path, const MovieOptions& options,
                                                 const Cancellation& cancellation, std::string& reason) {
    auto file = MovieFile::open(path, options, cancellation, reason);
    if (!file) return nullptr;
    AVFormatContext& format = file->format();
    std::unique_ptr<MovieInput> input(new MovieInput(std::move(file), nullptr, format, options, cancellation));
    if (!input->chooseStream()) {
        reason = "the file holds no pictures";
        return nullptr;
    }
    const AVCodecParameters& pictures = *input->stream().codecpar;
    return isWithinLimits(pictures.width, pictures.height, options.maximumPixels, reason) ? std::move(input) : nullptr;
}

std::unique_ptr<MovieInput> MovieInput::openDevice(const AVInputFormat& device, const std::string& name,
                                                   const Cancellation& cancellation, std::string& reason) {
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) throw std::bad_alloc();
    context->interrupt_callback = cancellation.interrupt();
    // When this fails, the context is freed.
    const int openStatus = throwIfOutOfMemory(avformat_open_input(&context, name.c_str(), &device, nullptr));
    if (openStatus < 0) {
        reason = errorText(openStatus);
        return nullptr;
    }
    InputFormatPointer owner(context);
    const int probeStatus = throwIfOutOfMemory(avformat_find_stream_info(context, nullptr));
    if (probeStatus < 0) {
        reason = errorText(probeStatus);
        return nullptr;
    }
    std::unique_ptr<MovieInput> input(
        new MovieInput(nullptr, std::move(owner), *context, withoutLimits(), cancellation));
    if (input->chooseStream()) return input;
    reason = "the source has no pictures";
    return nullptr;
}

bool isWithinLimits(std::int64_t width, std::int64_t height, std::int64_t maximumPixels, std::string& reason) {
    const std::string size = "pictures of " + std::to_string(width) + "x" + std::to_string(height) + " pixels ";
    if (width < 0 || height < 0 || width > largestSide || height > largestSide) {
        reason = size + "can't be taken";
    } else if (width * height > maximumPixels) {
        reason = size + "are larger than the limit of " + std::to_string(maximumPixels) + " pixels";
    } else {
        return true;
    }
    return false;
}

/// Chooses the largest pictures among those that the file marks as default, or else among all, and ignores everything
/// else in the file. A cover isn't taken for a movie.
bool MovieInput::chooseStream() {
    const auto rank = [](const AVStream& stream) {
        const bool isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
        return std::pair(isDefault, std::int64_t{stream.codecpar->width} * stream.codecpar->height);
    };
    for (unsigned index = 0; index < format_.nb_streams; ++index) {
        AVStream* const stream = format_.streams[index];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
        if ((stream->disposition & (AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS)) != 0) continue;
        if (stream_ == nullptr || rank(*stream) > rank(*stream_)) stream_ = stream;
    }
    for (unsigned index = 0; index < format_.nb_streams; ++index) {
        if (format_.streams[index] != stream_) format_.streams[index]->discard = AVDISCARD_ALL;
    }
    return stream_ != nullptr;
}

std::int64_t MovieInput::startTicks() const {
    return stream_->start_time != AV_NOPTS_VALUE ? stream_->start_time : 0;
}

/// The mean; 0 where it isn't known.
AVRational MovieInput::frameRate() const {
    const AVRational rate = stream_->avg_frame_rate.num > 0 ? stream_->avg_frame_rate : stream_->r_frame_rate;
    return rate.num > 0 && rate.den > 0 ? rate : AVRational{0, 1};
}

std::int64_t MovieInput::meanFrameTicks() const {
    AVRational rate = frameRate();
    if (rate.num == 0) rate = {25, 1};
    return std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(rate), stream_->time_base));
}

MovieInformation MovieInput::information() const {
    const AVCodecParameters& parameters = *stream_->codecpar;
    const PictureOrientation orientation = PictureOrientation::of(*stream_);
    const PictureColours colours = PictureColours::of(parameters);
    MovieInformation result;
    result.width = orientation.swapsSides() ? parameters.height : parameters.width;
    result.height = orientation.swapsSides() ? parameters.width : parameters.height;
    result.start = timeOf(startTicks(), stream_->time_base);
    result.duration = kCMTimeIndefinite;
    if (stream_->duration > 0) {
        result.duration = timeOf(stream_->duration, stream_->time_base);
    } else if (format_.duration > 0) {
        // Matroska counts from time 0, other formats from the first frame.
        const bool countsFromZero = std::strncmp(format_.iformat->name, "matroska", 8) == 0;
        const std::int64_t skipped = countsFromZero && format_.start_time > 0 ? format_.start_time : 0;
        if (format_.duration > skipped)
            result.duration = timeOf(format_.duration - skipped, AVRational{1, AV_TIME_BASE});
    }
    result.frameRate = av_q2d(frameRate());
    result.frameCount = stream_->nb_frames;
    if (result.frameCount <= 0 && CMTIME_IS_NUMERIC(result.duration)) {
        result.frameCount = std::llround(CMTimeGetSeconds(result.duration) * result.frameRate);
    }
    result.timescale = stream_->time_base.den;
    result.codec = avcodec_get_name(parameters.codec_id);
    result.clockwiseTurn = 90 * orientation.clockwiseQuarters;
    result.isBT709 = colours.matrix == AVCOL_SPC_BT709;
    result.isFullRange = colours.isFullRange;
    return result;
}

bool MovieInput::read(AVPacket& packet) {
    while (failure_.empty() && !cancellation_.isAskedFor()) {
        av_packet_unref(&packet);
        const int status = throwIfOutOfMemory(av_read_frame(&format_, &packet));
        if (status == AVERROR(EAGAIN)) continue;
        if (status < 0) {
            if (status != AVERROR_EOF && ++failuresInARow_ < maximumFailuresInARow) continue;
            fail(status);
            return false;
        }
        lostCount_ += std::exchange(failuresInARow_, 0);
        if (packet.stream_index == stream_->index) return true;
    }
    return false;
}

void MovieInput::fail(int status) {
    if (cancellation_.isAskedFor()) return;
    const int readStatus = file_ ? file_->stream().context()->error : 0;
    if (file_ && file_->stream().hasSoughtInVain()) {
        failure_ = MovieFile::mustBeSought;
    } else if (readStatus < 0 && readStatus != AVERROR_EOF) {
        failure_ = "the file can't be read: " + errorText(readStatus);
    } else if (status != AVERROR_EOF) {
        failure_ = file_ ? "the file is damaged: " + errorText(status) : errorText(status);
    } else if (failuresInARow_ > 0 || endsTooEarly()) {
        failure_ = tooEarly;
    }
}

/// True when a packet that the file's index names lies behind the file's end.
bool MovieInput::endsTooEarly() const {
    if (!file_) return false;
    const std::int64_t size = avio_size(file_->stream().context());
    const int count = avformat_index_get_entries_count(stream_);
    if (size <= 0 || count <= 0) return false;
    const AVIndexEntry* last = avformat_index_get_entry(stream_, count - 1);
    return last != nullptr && last->pos + last->size > size;
}

bool MovieInput::canSeek() const {
    return !file_ || file_->stream().isRegularFile();
}

bool MovieInput::seek(std::int64_t ticks) {
    return hasMoved(avformat_seek_file(&format_, stream_->index, INT64_MIN, ticks, ticks, 0));
}

bool MovieInput::rewind() {
    // A search by time in a transport stream finds a place near the start, but not the start itself.
    const auto toFirstByte = [&] { return hasMoved(av_seek_frame(&format_, -1, 0, AVSEEK_FLAG_BYTE)); };
    if ((format_.iformat->flags & AVFMT_TS_DISCONT) != 0 && toFirstByte()) return true;
    return seek(startTicks()) || toFirstByte();
}

bool MovieInput::hasMoved(int seekStatus) {
    if (seekStatus < 0) return false;
    failuresInARow_ = 0;
    failure_.clear();
    return true;
}

}  // namespace ondrix::ffmpeg
