#include "VideoCommand.h"

#include <cstdio>
#include <map>
#include <memory>
#include <optional>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>

#include "EffectChain.h"
#include "Failure.h"
#include "FrameInput.h"
#include "FrameTexture.h"
#include "Interruption.h"
#include "OutputFile.h"
#include "Session.h"
#include "SourceLibrary.h"
#include "VideoJob.h"

namespace ondrix::tools {
namespace {

const std::map<std::string, ProgressKind> progressKinds{
    {"auto", ProgressKind::automatic}, {"json", ProgressKind::json}, {"none", ProgressKind::none}};

std::string jsonDetails(const VideoJob::Result& result, std::int64_t lostFrames) {
    char text[256];
    std::snprintf(text, sizeof text,
                  ",\"convertMilliseconds\":%.3f,\"effectMilliseconds\":%.3f,\"readBackMilliseconds\":%.3f,"
                  "\"lostFrames\":%lld,\"interrupted\":%s",
                  result.convert * 1000, result.effect * 1000, result.readBack * 1000,
                  static_cast<long long>(lostFrames), result.interrupted ? "true" : "false");
    return text;
}

}  // namespace

void VideoCommand::add(CLI::App& program) {
    const auto command = std::make_shared<VideoCommand>();
    CLI::App* const options = program.add_subcommand("video", "Draw the frames of a movie into a new movie");
    options->add_option("INPUT", command->input_, "Movie file, or DEVICE:NAME such as v4l2:/dev/video0")->required();
    options->add_option("OUTPUT", command->output_, "Movie file to write; its ending names the format")->required();
    addSizeOption(*options, command->size_, "Size of the output, that of the input unless given; even sides");
    addPresentationOptions(*options, command->presentation_);
    addEffectOption(*options, command->effects_);
    addLibraryOptions(*options, command->library_);
    options->add_option("--quality", command->quality_, "0 (best) to 51 (23)")->check(CLI::Range(0, 51));
    options->add_option("--preset", command->preset_, "Speed of the encoder, such as ultrafast or slow")
        ->type_name("NAME");
    options
        ->add_option_function<std::string>(
            "--progress", [command](const std::string& name) { command->progress_ = progressKinds.at(name); },
            "auto: a bar on a terminal; json: one object a line; none (auto)")
        ->check(CLI::IsMember(progressKinds));
    options->callback([command] { command->run(); });
}

PictureSize VideoCommand::outputSize(const MovieInformation& movie) const {
    if (size_ != PictureSize{}) return size_;
    // 4:2:0 has one chroma sample for two pixels.
    const auto evenSide = [](std::int64_t side) { return side < 2 ? 2 : side / 2 * 2; };
    PictureSize size{evenSide(movie.width), evenSide(movie.height)};
    if (isQuarterTurn(presentation_.rotation)) std::swap(size.width, size.height);
    return size;
}

void VideoCommand::run() const {
    if (size_.width % 2 != 0 || size_.height % 2 != 0) throw CLI::ValidationError("--size", "sides must be even");
    const Interruption interruption;
    Session session;
    FrameInput input(input_);
    const MovieInformation& movie = input.information();
    const auto device = session.openDevice(input_, presentationFunctions);
    const PictureSize size = outputSize(movie);
    FrameTexture texture(session, device, input_);
    EffectChain chain(session, effects_, size, output_);
    Presentation presentation(session, texture.texture(), chain.input(), MTLPixelFormat::bgra8Unorm, presentation_,
                              input_);
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
    if (!LiveSource::isLiveName(input_)) settings.copyOthersFrom = URL(input_);
    NSError error;
    const auto writer = MovieWriter::create(URL(file.path()), settings, &error);
    if (writer == nullptr) throw Failure(output_, error.localizedDescription());

    VideoJob job({session, input, texture, presentation, chain, *device->textureConverter(), *writer, output_});
    Progress progress(progress_, movie);
    const auto result = job.run(interruption, progress);
    file.keep();
    const std::int64_t lost = input.lostFrameCount();
    progress.finish(result.frames, result.seconds, jsonDetails(result, lost));
    if (lost > 0)
        std::fprintf(stderr, "ondrix: %s: %lld frames were lost\n", input_.c_str(), static_cast<long long>(lost));
    if (result.interrupted)
        throw Interrupted(output_, "interrupted; the movie ends after " + std::to_string(result.frames) + " frames");
}

}  // namespace ondrix::tools
