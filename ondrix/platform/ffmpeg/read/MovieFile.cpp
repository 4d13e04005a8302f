#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/avstring.h>
}

#include <ondrix/platform/ffmpeg/read/MovieFile.h>
#include <ondrix/platform/ffmpeg/read/MovieIndex.h>

namespace ondrix::ffmpeg {

namespace {

constexpr const char* notAMovie = "this is not a movie file";

/// Containers and elementary streams of pictures that people have, all of which hold the whole movie. Left out is what
/// refers to other files (playlists, picture sequences, subtitles with a picture file, editors' projects), what is no
/// movie (sound, text, single pictures), and what only games and long gone programs wrote, whose readers few look
/// after.
constexpr const char* movieFormats =
    "mov,matroska,avi,mpegts,mpeg,mpegvideo,flv,ogg,mxf,gxf,asf,nut,ivf,dv,gif,apng,h264,hevc,h263,m4v,vc1,"
    "mjpeg,av1,obu,dirac,yuv4mpegpipe";
/// Formats that refer to other files and that may be allowed, with what these are read by.
constexpr const char* playlistFormats = "hls,dash,concat,sdp";
constexpr const char* playlistProtocols = "file,http,https,httpproxy,tcp,tls,crypto,data,udp,rtp";
/// Further ones, which are told what they are, and not allowed.
constexpr const char* otherListFormats = "imf,webm_dash_manifest,vobsub,rtsp,sap,image2";

bool isAnyOf(const AVInputFormat& format, const char* names) {
    return av_match_list(format.name, names, ',') != 0;
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
    return score < 0 ? FileFormat{} : FileFormat{format, isCertain};
}

/// Why files of this format aren't opened; empty when they are.
std::string refusal(const FileFormat& file, const MovieOptions& options) {
    const AVInputFormat& format = *file.format;
    if (isAnyOf(format, movieFormats) || (options.allowsPlaylists && isAnyOf(format, playlistFormats))) return "";
    const std::string name = format.name;
    if (isAnyOf(format, playlistFormats)) {
        return "this is a playlist (" + name + "), which refers to other files; it is read where playlists are allowed";
    }
    if (isAnyOf(format, otherListFormats)) return "this file (" + name + ") refers to others, which aren't opened";
    return notAMovie;
}

int refuseToOpen(AVFormatContext*, AVIOContext** io, const char*, int, AVDictionary**) {
    *io = nullptr;
    return AVERROR(EPERM);
}

char* copyOf(const std::string& text) {
    char* const copy = av_strdup(text.c_str());
    if (copy == nullptr) throw std::bad_alloc();
    return copy;
}

/// Has the context open nothing by itself, or only what playlists need, and look at no more than the options allow.
void restrict(AVFormatContext& context, const MovieOptions& options) {
    if (options.allowsPlaylists) {
        context.format_whitelist = copyOf(std::string(movieFormats) + "," + playlistFormats);
        context.protocol_whitelist = copyOf(playlistProtocols);
    } else {
        context.format_whitelist = copyOf(movieFormats);
        context.protocol_whitelist = copyOf("none");
        context.io_open = refuseToOpen;
    }
    context.max_streams = std::max(options.maximumStreams, 1);
    context.probesize = std::max<std::int64_t>(options.maximumProbeBytes, 2048);
    const double seconds = std::clamp(options.maximumProbeSeconds, 0.0, 1e6);
    context.max_analyze_duration = std::llround(seconds * AV_TIME_BASE);
}

}  // namespace

std::unique_ptr<MovieFile> MovieFile::open(const std::filesystem::path& path, const MovieOptions& options,
                                           const Cancellation& cancellation, std::string& reason) {
    const auto fail = [&](std::string why) {
        reason = cancellation.isAskedFor() ? "reading it was cancelled" : std::move(why);
        return nullptr;
    };
    int status = 0;
    auto stream = FileStream::open(path.c_str(), cancellation, status);
    if (!stream) return fail(errorText(status));
    if (stream->isEmptyFile()) return fail("the file is empty");
    const std::string url = "file:" + path.string();
    AVIOContext& io = *stream->context();
    const FileFormat format = formatOf(io, url);
    if (format.format == nullptr) {
        return fail(io.error < 0 && io.error != AVERROR_EOF ? errorText(io.error) : notAMovie);
    }
    if (std::string why = refusal(format, options); !why.empty()) return fail(std::move(why));

    std::string tooMuch;
    if (isAnyOf(*format.format, "mov") && stream->isRegularFile() &&
        !isIndexWithinLimit(io, options.maximumIndexEntries, tooMuch)) {
        return fail(std::move(tooMuch));
    }

    const auto failWith = [&](int failure) {
        if (stream->hasSoughtInVain()) return fail(mustBeSought);
        return fail(format.isCertain ? "the file is damaged or incomplete: " + errorText(failure) : notAMovie);
    };
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) throw std::bad_alloc();
    InputFormatPointer owner(context);
    restrict(*context, options);
    context->pb = &io;
    context->interrupt_callback = cancellation.interrupt();
    (void)owner.release();  // when this fails, the context is freed
    status = throwIfOutOfMemory(avformat_open_input(&context, url.c_str(), format.format, nullptr));
    if (status < 0) return failWith(status);
    owner.reset(context);
    status = findStreams(*context, options);
    if (status < 0) return failWith(status);
    if (cancellation.isAskedFor()) return fail("");
    if (stream->hasSoughtInVain()) return fail(mustBeSought);
    return std::unique_ptr<MovieFile>(new MovieFile(std::move(stream), std::move(owner)));
}

int findStreams(AVFormatContext& context, const MovieOptions& options) {
    struct Dictionaries {
        ~Dictionaries() {
            for (AVDictionary*& dictionary : all) av_dict_free(&dictionary);
        }
        std::vector<AVDictionary*> all;
    } dictionaries;
    dictionaries.all.resize(context.nb_streams);
    for (AVDictionary*& dictionary : dictionaries.all) {
        throwIfOutOfMemory(av_dict_set_int(&dictionary, "max_pixels", options.maximumPixels, 0));
        throwIfOutOfMemory(av_dict_set_int(&dictionary, "threads", 1, 0));
    }
    return throwIfOutOfMemory(avformat_find_stream_info(&context, dictionaries.all.data()));
}

}  // namespace ondrix::ffmpeg
