#include "CommandLine.h"
#include "SandboxOption.h"
#include "tools/system/Interruption.h"
#include "tools/video/FrameInput.h"

namespace ondrix::tools {
namespace {

/// Saves the frame of a movie that is on screen at a given time.
class FrameCommand {
public:
    explicit FrameCommand(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "Movie file")->required();
        options.add_option("OUTPUT", output_, "PNG file to write")->required();
        addPlaylistOption(options, allowsPlaylists_);
        options.add_option("--at", seconds_, "Seconds since the first frame")
            ->required()
            ->check(CLI::Range(0.0, 1e9))
            ->type_name("SECONDS");
    }

    void run() const {
        Session session;
        const auto device = session.openDevice(input_);
        if (!allowsPlaylists_) sandbox_.enter({input_}, output_);
        const Interruption interruption;
        FrameInput input(input_, movieOptions(allowsPlaylists_, interruption));
        const auto texture = makeFrameTexture(device, input_);
        const auto work = session.makeCommandBuffer(input_);
        show(*texture, *input.frameAt(seconds_), *work, input_);
        work->commit();
        waitFor(*work, input_);
        writePicture(output_, pixelsOf(*texture, output_));
    }

private:
    SandboxOption sandbox_;
    std::string input_, output_;
    bool allowsPlaylists_ = false;
    double seconds_ = 0;
};

}  // namespace

void addFrameCommand(CLI::App& program) {
    addCommand<FrameCommand>(program.add_subcommand("frame", "Save one frame of a movie as a picture"));
}

}  // namespace ondrix::tools
