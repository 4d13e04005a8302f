#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#include <ondrix/platform/ffmpeg/write/StreamCopier.h>

namespace ondrix::ffmpeg {

namespace {

/// Streams of a file may be stored this far apart from each other in time. Once the source is further on than that,
/// nothing more is expected of what comes earlier.
constexpr std::int64_t longestDisorder = 10;  // seconds

/// True when the codec's tag means the same in the target, or the target has none for that codec.
bool keepsTag(const AVOutputFormat& format, const AVCodecParameters& parameters) {
    unsigned int other = 0;
    return format.codec_tag == nullptr ||
           av_codec_get_id(format.codec_tag, parameters.codec_tag) == parameters.codec_id ||
           av_codec_get_tag2(format.codec_tag, parameters.codec_id, &other) == 0;
}

bool holds(const AVOutputFormat& format, AVCodecID codec) {
    if (std::string_view(format.name) != "mpegts") {
        return avformat_query_codec(&format, codec, FF_COMPLIANCE_NORMAL) == 1;
    }
    // The library doesn't tell for this format, which has numbers for these codecs.
    constexpr AVCodecID known[] = {AV_CODEC_ID_MP2,  AV_CODEC_ID_MP3, AV_CODEC_ID_AAC, AV_CODEC_ID_AC3,
                                   AV_CODEC_ID_EAC3, AV_CODEC_ID_DTS, AV_CODEC_ID_OPUS};
    return std::find(std::begin(known), std::end(known), codec) != std::end(known);
}

void copyDictionary(AVDictionary*& target, const AVDictionary* source) {
    throwIfOutOfMemory(av_dict_copy(&target, source, 0));
}

}  // namespace

StreamCopier::StreamCopier(const URL& source, const MovieOptions& options, AVFormatContext& target)
    : target_(target), packet_(makePacket()) {
    constexpr const char* notOpened = "the movie to copy sound from can't be opened: ";
    std::error_code ignored;
    if (std::filesystem::exists(source.path(), ignored) && !std::filesystem::is_regular_file(source.path(), ignored)) {
        throw WritingFailure(std::string(notOpened) + "it is not a regular file");
    }
    cancellation_.setOther(options.isCancelled);
    std::string reason;
    file_ = MovieFile::open(source.path(), options, cancellation_, reason);
    if (!file_) throw WritingFailure(notOpened + reason);
    source_ = &file_->format();
    pictures_ = av_find_best_stream(source_, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    addStreams();
    copyDescriptions();
}

void StreamCopier::addStreams() {
    tracks_.resize(source_->nb_streams);
    for (unsigned int i = 0; i < source_->nb_streams; ++i) {
        AVStream& stream = *source_->streams[i];
        const AVCodecParameters& parameters = *stream.codecpar;
        const AVMediaType type = parameters.codec_type;
        if (static_cast<int>(i) == pictures_) continue;
        stream.discard = AVDISCARD_ALL;
        // Some formats hold chapters in a stream, too; they are copied apart from it.
        const bool isChapters = parameters.codec_id == AV_CODEC_ID_BIN_DATA && source_->nb_chapters > 0;
        if (type == AVMEDIA_TYPE_VIDEO || isChapters) continue;
        const bool isKind = type == AVMEDIA_TYPE_AUDIO || type == AVMEDIA_TYPE_SUBTITLE || type == AVMEDIA_TYPE_DATA;
        if (!isKind || !holds(*target_.oformat, parameters.codec_id)) {
            const char* kind = av_get_media_type_string(type);
            logger().info("Stream %u (%s, %s) is left out: the format %s can't hold it.", i, kind ? kind : "unknown",
                          avcodec_get_name(parameters.codec_id), target_.oformat->name);
            continue;
        }
        AVStream* copy = avformat_new_stream(&target_, nullptr);
        if (copy == nullptr) throw std::bad_alloc();
        throwIfOutOfMemory(avcodec_parameters_copy(copy->codecpar, &parameters));
        if (!keepsTag(*target_.oformat, parameters)) copy->codecpar->codec_tag = 0;
        copy->time_base = stream.time_base;
        copy->disposition = stream.disposition;
        copyDictionary(copy->metadata, stream.metadata);
        stream.discard = AVDISCARD_DEFAULT;
        tracks_[i] = {copy->index, type == AVMEDIA_TYPE_AUDIO, false};
    }
}

void StreamCopier::copyDescriptions() {
    copyDictionary(target_.metadata, source_->metadata);
    // These describe the source's file, not the movie.
    for (const char* key : {"major_brand", "minor_version", "compatible_brands", "encoder", "duration"}) {
        av_dict_set(&target_.metadata, key, nullptr, 0);
    }
    if (pictures_ < 0) return;
    AVStream& pictures = *target_.streams[0];
    for (const char* key : {"language", "title"}) {
        const AVDictionaryEntry* entry = av_dict_get(source_->streams[pictures_]->metadata, key, nullptr, 0);
        if (entry != nullptr) throwIfOutOfMemory(av_dict_set(&pictures.metadata, key, entry->value, 0));
    }
    pictures.disposition = source_->streams[pictures_]->disposition;
}

std::vector<int> StreamCopier::sampleRates() const {
    std::vector<int> rates;
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        if (tracks_[i].isSound) rates.push_back(source_->streams[i]->codecpar->sample_rate);
    }
    return rates;
}

void StreamCopier::setShift(std::int64_t ticks, AVRational timeBase) {
    shift_ = ticks;
    shiftTimeBase_ = timeBase;
}

AVRational StreamCopier::timeBase() const {
    return source_->streams[packet_->stream_index]->time_base;
}

bool StreamCopier::read() {
    while (!hasPacket_) {
        av_packet_unref(packet_.get());
        if (throwIfOutOfMemory(av_read_frame(source_, packet_.get())) < 0) return false;
        const auto index = static_cast<std::size_t>(packet_->stream_index);
        if (index >= tracks_.size()) continue;  // a stream that appeared later
        if (packet_->dts == AV_NOPTS_VALUE) packet_->dts = packet_->pts;
        if (isPicture()) {
            newestPicture_ = std::max(newestPicture_, packet_->pts == AV_NOPTS_VALUE ? packet_->dts : packet_->pts);
        }
        hasPacket_ = isPicture() || tracks_[index].target >= 0;
    }
    return true;
}

/// True for a packet without a time, too: it goes with the one before it.
bool StreamCopier::isBefore(std::int64_t time, AVRational timeBase) const {
    return packet_->dts == AV_NOPTS_VALUE || av_compare_ts(packet_->dts, this->timeBase(), time, timeBase) < 0;
}

void StreamCopier::writePacket(AVPacket& packet, const Write& write) const {
    const AVStream& source = *source_->streams[packet.stream_index];
    const AVStream& target = *target_.streams[tracks_[static_cast<std::size_t>(packet.stream_index)].target];
    av_packet_rescale_ts(&packet, source.time_base, target.time_base);
    const std::int64_t shift = av_rescale_q(shift_, shiftTimeBase_, target.time_base);
    if (packet.pts != AV_NOPTS_VALUE) packet.pts += shift;
    if (packet.dts != AV_NOPTS_VALUE) packet.dts += shift;
    packet.stream_index = target.index;
    packet.pos = -1;
    write(packet);
}

void StreamCopier::copyBefore(std::int64_t time, AVRational timeBase, const Write& write) {
    while (read() && isBefore(time, timeBase)) {
        hasPacket_ = false;
        if (!isPicture()) writePacket(*packet_, write);
    }
}

bool StreamCopier::isAllPast() const {
    const bool hasSound = std::any_of(tracks_.begin(), tracks_.end(), [](const Track& t) { return t.isSound; });
    return hasSound &&
           std::all_of(tracks_.begin(), tracks_.end(), [](const Track& t) { return t.isPast || !t.isSound; });
}

void StreamCopier::finish(std::int64_t lastPicture, std::int64_t end, AVRational timeBase, const Write& write) {
    // The source's times may be in other ticks, so a picture is a later one from half a picture's duration on.
    const std::int64_t limit = lastPicture + std::max<std::int64_t>(0, end - lastPicture) / 2;
    const auto hasLaterPictures = [&] {
        return pictures_ < 0 ||
               (newestPicture_ != AV_NOPTS_VALUE &&
                av_compare_ts(newestPicture_, source_->streams[pictures_]->time_base, limit, timeBase) > 0);
    };
    const std::int64_t furthest = end + av_rescale_q(longestDisorder, {1, 1}, timeBase);
    std::deque<PacketPointer> later;  // written unless there are later pictures
    for (; read(); hasPacket_ = false) {
        const bool isEarly = hasLaterPictures();
        if (isEarly) later.clear();
        if (!isPicture() && isBefore(end, timeBase)) {
            writePacket(*packet_, write);
        } else if (!isPicture()) {
            tracks_[static_cast<std::size_t>(packet_->stream_index)].isPast = true;
            if (!isEarly) {
                later.push_back(makePacket());
                av_packet_move_ref(later.back().get(), packet_.get());
            }
        }
        if (isEarly && (isAllPast() || !isBefore(furthest, timeBase))) break;
    }
    for (const auto& packet : later) writePacket(*packet, write);
    copyChapters(end, timeBase);
}

/// Chapters come at the end because they may not go beyond it: players take the end of the last for that of the movie.
void StreamCopier::copyChapters(std::int64_t end, AVRational timeBase) {
    for (unsigned int i = 0; i < source_->nb_chapters; ++i) {
        const AVChapter& chapter = *source_->chapters[i];
        const std::int64_t latest = av_rescale_q(end, timeBase, chapter.time_base);
        if (chapter.start >= latest) continue;
        auto* const copy = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        if (copy == nullptr) throw std::bad_alloc();
        const std::int64_t shift = av_rescale_q(shift_, shiftTimeBase_, chapter.time_base);
        copy->id = chapter.id;
        copy->time_base = chapter.time_base;
        copy->start = chapter.start + shift;
        copy->end = std::min(chapter.end, latest) + shift;
        int count = static_cast<int>(target_.nb_chapters);
        if (av_dynarray_add_nofree(&target_.chapters, &count, copy) < 0) {
            av_free(copy);
            throw std::bad_alloc();
        }
        target_.nb_chapters = static_cast<unsigned int>(count);
        copyDictionary(copy->metadata, chapter.metadata);
    }
}

}  // namespace ondrix::ffmpeg
