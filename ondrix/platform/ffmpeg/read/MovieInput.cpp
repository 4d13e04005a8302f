#include <cmath>
#include <cstring>
#include <system_error>
#include <utility>

#include <ondrix/platform/ffmpeg/read/MovieInput.h>
#include <ondrix/platform/ffmpeg/read/PictureProperties.h>

namespace ondrix::ffmpeg {

namespace {

constexpr const char* notAMovie = "this is not a movie file";
constexpr const char* tooEarly = "the file ends too early";
/// A file that fails to be read this many times in a row is given up.
constexpr int maximumFailuresInARow = 64;

int onInterrupt(void* cancelled) {
    return static_cast<const std::atomic<bool>*>(cancelled)->load() ? 1 : 0;
}

AVIOInterruptCB interruptOf(const std::atomic<bool>& cancelled) {
    return {onInterrupt, const_cast<std::atomic<bool>*>(&cancelled)};
}

/// What a file is taken for.
struct FileFormat {
    const AVInputFormat* format = nullptr;  ///< null when it is no movie
    bool isCertain = false;  ///< its content has the format's mark; otherwise only its name or a likeness tells
};

FileFormat formatOf(AVIOContext& io, const std::string& url) {
    const AVInputFormat* format = nullptr;
    int score = throwIfOutOfMemory(av_probe_input_buffer2(&io, &format, nullptr, nullptr, 0, 0));
    const bool isCertain = score > AVPROBE_SCORE_EXTENSION;
    if (score < 0) score = throwIfOutOfMemory(av_probe_input_buffer2(&io, &format, url.c_str(), nullptr, 0, 0));
    // To the format "tty" any text is a picture of a terminal.
    if (score < 0 || format == nullptr || std::strcmp(format->name, "tty") == 0) return {};
    return {format, isCertain};
}

}  // namespace

std::unique_ptr<MovieInput> MovieInput::openFile(const std::filesystem::path& file, const std::atomic<bool>& cancelled,
                                                 std::string& reason) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(file, ignored) && std::filesystem::file_size(file, ignored) == 0) {
        reason = "the file is empty";
        return nullptr;
    }
    int status = 0;
    auto stream = FileStream::open(file.c_str(), cancelled, status);
    if (!stream) {
        reason = errorText(status);
        return nullptr;
    }
    const std::string url = "file:" + file.string();
    AVIOContext& io = *stream->context();
    const FileFormat format = formatOf(io, url);
    if (format.format == nullptr) {
        reason = io.error < 0 && io.error != AVERROR_EOF ? errorText(io.error) : notAMovie;
        return nullptr;
    }
    auto input = create(std::move(stream), *format.format, url, cancelled, reason);
    if (!input && !format.isCertain) reason = notAMovie;
    return input;
}

std::unique_ptr<MovieInput> MovieInput::openDevice(const AVInputFormat& device, const std::string& name,
                                                   const std::atomic<bool>& cancelled, std::string& reason) {
    return create(nullptr, device, name, cancelled, reason);
}

std::unique_ptr<MovieInput> MovieInput::create(std::unique_ptr<FileStream> file, const AVInputFormat& format,
                                               const std::string& url, const std::atomic<bool>& cancelled,
                                               std::string& reason) {
    const bool isFile = file != nullptr;
    const std::string prefix = isFile ? "the file is damaged or incomplete: " : "";
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) throw std::bad_alloc();
    context->pb = isFile ? file->context() : nullptr;
    context->interrupt_callback = interruptOf(cancelled);
    // When this fails, the context is freed.
    const int openStatus = throwIfOutOfMemory(avformat_open_input(&context, url.c_str(), &format, nullptr));
    if (openStatus < 0) {
        reason = prefix + errorText(openStatus);
        return nullptr;
    }
    std::unique_ptr<MovieInput> input(new MovieInput(std::move(file), InputFormatPointer(context), cancelled));
    const int probeStatus = throwIfOutOfMemory(avformat_find_stream_info(context, nullptr));
    if (probeStatus < 0) {
        reason = prefix + errorText(probeStatus);
        return nullptr;
    }
    if (!input->chooseStream()) {
        reason = isFile ? "the file holds no pictures" : "the source has no pictures";
        return nullptr;
    }
    return input;
}

/// Chooses the largest pictures among those that the file marks as default, or else among all, and ignores everything
/// else in the file. A cover isn't taken for a movie.
bool MovieInput::chooseStream() {
    const auto rank = [](const AVStream& stream) {
        const bool isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
        return std::pair(isDefault, std::int64_t{stream.codecpar->width} * stream.codecpar->height);
    };
    for (unsigned index = 0; index < format_->nb_streams; ++index) {
        AVStream* const stream = format_->streams[index];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
        if ((stream->disposition & (AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS)) != 0) continue;
        if (stream_ == nullptr || rank(*stream) > rank(*stream_)) stream_ = stream;
    }
    for (unsigned index = 0; index < format_->nb_streams; ++index) {
        if (format_->streams[index] != stream_) format_->streams[index]->discard = AVDISCARD_ALL;
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
    } else if (format_->duration > 0) {
        // Matroska counts from time 0, other formats from the first frame.
        const bool countsFromZero = std::strncmp(format_->iformat->name, "matroska", 8) == 0;
        const std::int64_t skipped = countsFromZero && format_->start_time > 0 ? format_->start_time : 0;
        if (format_->duration > skipped)
            result.duration = timeOf(format_->duration - skipped, AVRational{1, AV_TIME_BASE});
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
    while (failure_.empty() && !cancelled_) {
        av_packet_unref(&packet);
        const int status = throwIfOutOfMemory(av_read_frame(format_.get(), &packet));
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
    if (cancelled_) return;
    const int readStatus = file_ ? file_->context()->error : 0;
    if (readStatus < 0 && readStatus != AVERROR_EOF) {
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
    const std::int64_t size = avio_size(file_->context());
    const int count = avformat_index_get_entries_count(stream_);
    if (size <= 0 || count <= 0) return false;
    const AVIndexEntry* last = avformat_index_get_entry(stream_, count - 1);
    return last != nullptr && last->pos + last->size > size;
}

bool MovieInput::seek(std::int64_t ticks) {
    return hasMoved(avformat_seek_file(format_.get(), stream_->index, INT64_MIN, ticks, ticks, 0));
}

bool MovieInput::rewind() {
    // A search by time in a transport stream finds a place near the start, but not the start itself.
    const auto toFirstByte = [&] { return hasMoved(av_seek_frame(format_.get(), -1, 0, AVSEEK_FLAG_BYTE)); };
    if ((format_->iformat->flags & AVFMT_TS_DISCONT) != 0 && toFirstByte()) return true;
    return seek(startTicks()) || toFirstByte();
}

bool MovieInput::hasMoved(int seekStatus) {
    if (seekStatus < 0) return false;
    failuresInARow_ = 0;
    failure_.clear();
    return true;
}

}  // namespace ondrix::ffmpeg
