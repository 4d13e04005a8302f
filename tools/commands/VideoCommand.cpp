#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include <ondrix/frames/FrameWriter.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>

#include "CommandLine.h"
#include "SandboxOption.h"
#include "tools/sources/SourceLibrary.h"
#include "tools/system/Failure.h"
#include "tools/system/Interruption.h"
#include "tools/system/OutputFile.h"
#include "tools/video/VideoJob.h"

namespace ondrix::tools {
namespace {

const std::map<std::string, ProgressKind> progressKinds{
    {"auto", ProgressKind::automatic}, {"json", ProgressKind::json}, {"none", ProgressKind::none}};

std::string jsonDetails(const VideoJob::Result& result, std::int64_t lostFrames) {
    char text[256];
    std::snprintf(text, sizeof text,
                  ",\"convertMilliseconds\":%.3f,\"effectMilliseconds\":%.3f,\"readBackMilliseconds\":%.3f,"
                  "\"lostFrames\":%lld,\"interrupted\":%s",
                  result.record * 1000, result.run * 1000, result.wait * 1000, static_cast<long long>(lostFrames),
                  result.interrupted ? "true" : "false");
    return text;
}

/// Takes a movie or a camera through effects into a new movie with the same times. Sound is copied. An interruption
/// completes the movie up to that frame; so shortened, it doesn't take the place of an older one.
class VideoCommand {
public:
    explicit VideoCommand(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "Movie file, or DEVICE:NAME such as v4l2:/dev/video0")->required();
        options.add_option("OUTPUT", output_, "Movie file to write; its ending names the format")->required();
        addPlaylistOption(options, allowsPlaylists_);
        addSizeOption(options, size_, "Size of the output, that of the input unless given; even sides");
        addPresentationOptions(options, presentation_);
        addEffectOption(options, effects_);
        addLibraryOptions(options, library_);
        options.add_flag(
            "--replace-shortened", replaceShortened_,
            "After Ctrl-C, let the shortened movie replace an older OUTPUT, beside which it lies otherwise");
        options.add_option("--quality", quality_, "0 (best) to 51 (23)")->check(CLI::Range(0, 51));
        options.add_option("--preset", preset_, "Speed of the encoder, such as ultrafast or slow")->type_name("NAME");
        options
            .add_option_function<std::string>("--progress", storeIn(progress_, progressKinds),
                                              "auto: a bar on a terminal; json: one object a line; none (auto)")
            ->check(CLI::IsMember(progressKinds));
    }

    void run() const {
        if (!size_.isEven()) throw CLI::ValidationError("--size", "sides must be even");
        Session session;
        const auto device = session.openDevice(input_);
        if (!isCamera(input_) && !allowsPlaylists_) sandbox_.enter({input_}, output_, effects_, library_);
        const Interruption interruption;
        const MovieOptions movieOptions = tools::movieOptions(allowsPlaylists_, interruption);
        FrameInput input(input_, movieOptions);
        const MovieInformation& movie = input.information();
        const PictureSize size = outputSize(movie);
        const auto texture = makeFrameTexture(device, input_);
        EffectChain chain(session, effects_, size, output_);
        Presentation presentation(texture, chain.input(), MTLPixelFormat::bgra8Unorm, presentation_, input_);
        std::optional<SourceLibrary> source;
        if (!library_.library.empty()) {
            const auto folder = SourceLibrary::folderOf(library_.library, *device, interruption.event(), source);
            chain.setFunction(library_, folder);
        }

        OutputFile file(output_);
        MovieWriterSettings settings;
        settings.width = size.width;
        settings.height = size.height;
        settings.timescale = movie.timescale;
        settings.frameRate = movie.frameRate;
        settings.container = std::filesystem::path(output_).extension().string();
        if (!settings.container.empty()) settings.container.erase(0, 1);
        settings.quality = quality_;
        settings.preset = preset_;
        settings.copyOptions = movieOptions;
        settings.copyOptions.isCancelled = {};  // an interrupted movie is completed, with its sound
        std::error_code ignored;
        if (std::filesystem::is_regular_file(input_, ignored)) {
            settings.copyOthersFrom = URL(input_);
        } else if (!LiveSource::isLiveName(input_)) {
            complain(input_ + ": sound isn't copied from what can't be read twice");
        }
        NSError error;
        const auto writer = MovieWriter::create(URL(file.path()), settings, &error);
        if (writer == nullptr) throw Failure(output_, error.localizedDescription());

        const auto frameWriter = orFail(output_, [&](NSError* reason) {
            return FrameWriter::create(device, writer->pixelFormat(), FrameColours{}, reason);
        });

        VideoJob job({session, input, *texture, presentation, chain, *frameWriter, *writer, output_});
        Progress progress(progress_, movie);
        const auto result = job.run(interruption, progress);
        const bool isBeside = result.interrupted && !replaceShortened_ && file.hasOlder();
        const std::string shortened = isBeside ? file.keepAs("interrupted") : "";
        if (!isBeside) file.keep();
        const std::int64_t lost = input.lostFrameCount();
        progress.finish(result.frames, result.seconds, jsonDetails(result, lost));
        if (lost > 0)
            std::fprintf(stderr, "ondrix: %s: %lld frames were lost\n", input_.c_str(), static_cast<long long>(lost));
        const std::string frames = std::to_string(result.frames) + " frames";
        if (isBeside) throw Interrupted(output_, "interrupted and left as it was; " + shortened + " has " + frames);
        if (result.interrupted) throw Interrupted(output_, "interrupted; the movie ends after " + frames);
    }

private:
    /// With even sides, as the encoders' 4:2:0 needs.
    [[nodiscard]] PictureSize outputSize(const MovieInformation& movie) const {
        if (size_.isGiven()) return size_;
        const auto evenSide = [](std::int64_t side) { return side < 2 ? 2 : side / 2 * 2; };
        PictureSize size{evenSide(movie.width), evenSide(movie.height)};
        if (presentation_.isQuarterTurn()) std::swap(size.width, size.height);
        return size;
    }

    SandboxOption sandbox_;
    std::string input_, output_;
    bool allowsPlaylists_ = false;
    PictureSize size_;
    PresentationOptions presentation_;
    std::vector<EffectRequest> effects_;
    LibraryOptions library_;
    int quality_ = 23;
    std::string preset_;
    bool replaceShortened_ = false;
    ProgressKind progress_ = ProgressKind::automatic;
};

}  // namespace

void addVideoCommand(CLI::App& program) {
    addCommand<VideoCommand>(program.add_subcommand("video", "Draw the frames of a movie into a new movie"));
}

}  // namespace ondrix::tools
