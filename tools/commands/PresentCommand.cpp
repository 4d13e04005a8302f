#include "CommandLine.h"
#include "SandboxOption.h"

namespace ondrix::tools {
namespace {

/// Draws a picture into one of another size, and runs effects over that.
class PresentCommand {
public:
    explicit PresentCommand(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "PNG or JPEG file")->required();
        options.add_option("OUTPUT", output_, "PNG file to write")->required();
        addSizeOption(options, size_, "Size of the output")->required();
        addPresentationOptions(options, presentation_);
        addEffectOption(options, effects_);
    }

    void run() const {
        Session session;
        session.openDevice(input_);
        sandbox_.enter({input_}, output_, effects_);
        const auto picture = session.loadPicture(input_);
        EffectChain chain(session, effects_, size_, output_);
        const auto work = session.makeCommandBuffer(output_);
        Presentation(picture, chain.input(), MTLPixelFormat::bgra8Unorm, presentation_, input_).encode(*work);
        chain.encode(*work);
        work->commit();
        waitFor(*work, chain.subject());
        writePicture(output_, pixelsOf(*chain.output(), output_));
    }

private:
    SandboxOption sandbox_;
    std::string input_, output_;
    PictureSize size_;
    PresentationOptions presentation_;
    std::vector<EffectRequest> effects_;
};

}  // namespace

void addPresentCommand(CLI::App& program) {
    addCommand<PresentCommand>(program.add_subcommand("present", "Draw a picture into one of another size"));
}

}  // namespace ondrix::tools
