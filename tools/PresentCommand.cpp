#include "PresentCommand.h"

#include <map>
#include <memory>
#include <utility>

#include <ondrix/passes/PresentTextureEffect.h>

#include "Session.h"

namespace ondrix::tools {
namespace {

const std::map<std::string, ContentMode> modes{{"fit", ContentMode::scaleAspectFit},
                                               {"fill", ContentMode::scaleAspectFill},
                                               {"stretch", ContentMode::scaleToFill}};
const std::map<std::string, ImageRotation> rotations{{"0", ImageRotation::degrees0},
                                                     {"90", ImageRotation::degrees90},
                                                     {"180", ImageRotation::degrees180},
                                                     {"270", ImageRotation::degrees270}};

bool isQuarterTurn(ImageRotation rotation) {
    return rotation == ImageRotation::degrees90 || rotation == ImageRotation::degrees270;
}

}  // namespace

void PresentCommand::add(CLI::App& program) {
    const auto command = std::make_shared<PresentCommand>();
    CLI::App* const options = program.add_subcommand("present", "Draw a picture into one of another size");
    options->add_option("INPUT", command->input_, "PNG or JPEG file")->required();
    options->add_option("OUTPUT", command->output_, "PNG file to write")->required();
    addSizeOption(*options, command->size_, "Size of the output")->required();
    options
        ->add_option_function<std::string>(
            "--mode", [command](const std::string& name) { command->mode_ = modes.at(name); },
            "fit: whole, with bars; fill: cut at the sides; stretch: distorted (fit)")
        ->check(CLI::IsMember(modes));
    options
        ->add_option_function<std::string>(
            "--rotate", [command](const std::string& name) { command->rotation_ = rotations.at(name); },
            "Degrees to turn clockwise (0)")
        ->check(CLI::IsMember(rotations));
    options->add_flag("--flip", command->flip_, "Mirror left to right, after the turn");
    options->callback([command] { command->run(); });
}

void PresentCommand::run() const {
    Session session;
    const auto device = session.openDevice(input_, {{"Ondrix::PresentTexture::VS_Main", ShaderType::vertexShader},
                                                    {"Ondrix::PresentTexture::FS_Main", ShaderType::fragmentShader}});
    const auto draw = [&](const std::shared_ptr<Texture>& from, PictureSize size, ContentMode mode,
                          ImageRotation rotation, bool flip) {
        auto to = session.makeOutput(size, output_);
        const auto effect =
            PresentTextureEffect::create(device, from, to, MTLPixelFormat::bgra8Unorm, mode, rotation, flip);
        session.run(*effect, output_);
        return to;
    };

    auto picture = session.loadPicture(input_);
    ImageRotation rotation = rotation_;
    // The effect compares the sides as they are before the turn, so fit and fill need a picture that is turned already.
    if (isQuarterTurn(rotation) && mode_ != ContentMode::scaleToFill) {
        const PictureSize turned{picture->height(), picture->width()};
        picture =
            draw(picture, turned, ContentMode::scaleToFill, std::exchange(rotation, ImageRotation::degrees0), false);
    }
    session.savePicture(*draw(picture, size_, mode_, rotation, flip_), output_);
}

}  // namespace ondrix::tools
