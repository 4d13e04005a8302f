#include <ondrix/passes/BlitEffect.h>
#include <ondrix/types/PassType.h>

#include "CommandLine.h"
#include "SandboxOption.h"

namespace ondrix::tools {
namespace {

const std::map<std::string, PassType> passes{{"render", PassType::renderPass}, {"compute", PassType::computePass}};

/// Copies a picture into one of another size. The render pass stretches it; the compute pass copies position for
/// position, and what it doesn't reach stays transparent black.
class BlitCommand {
public:
    explicit BlitCommand(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "PNG or JPEG file")->required();
        options.add_option("OUTPUT", output_, "PNG file to write")->required();
        addSizeOption(options, size_, "Size of the output")->required();
        options
            .add_option_function<std::string>(
                "--pass", storeIn(pass_, passes),
                "render: stretched over the output; compute: position for position (render)")
            ->check(CLI::IsMember(passes));
    }

    void run() const {
        Session session;
        const auto device = session.openDevice(input_);
        sandbox_.enter({input_}, output_);
        const auto picture = session.loadPicture(input_);
        const auto output = session.makeOutput(size_, output_);
        const auto effect = orFail(input_, [&](NSError* error) {
            return BlitEffect::create(device, picture, output, pass_, MTLPixelFormat::bgra8Unorm, error);
        });
        runToEnd(*effect, output_);
        writePicture(output_, pixelsOf(*output, output_));
    }

private:
    SandboxOption sandbox_;
    std::string input_, output_;
    PictureSize size_;
    PassType pass_ = PassType::renderPass;
};

}  // namespace

void addBlitCommand(CLI::App& program) {
    addCommand<BlitCommand>(program.add_subcommand("blit", "Copy a picture into one of another size"));
}

}  // namespace ondrix::tools
