#include "FrameCommand.h"

#include <memory>

#include "FrameInput.h"
#include "FrameTexture.h"
#include "Session.h"

namespace ondrix::tools {

void FrameCommand::add(CLI::App& program) {
    const auto command = std::make_shared<FrameCommand>();
    CLI::App* const options = program.add_subcommand("frame", "Save one frame of a movie as a picture");
    options->add_option("INPUT", command->input_, "Movie file")->required();
    options->add_option("OUTPUT", command->output_, "PNG file to write")->required();
    options->add_option("--at", command->seconds_, "Seconds since the first frame")
        ->required()
        ->check(CLI::Range(0.0, 1e9))
        ->type_name("SECONDS");
    options->callback([command] { command->run(); });
}

void FrameCommand::run() const {
    Session session;
    FrameInput input(input_);
    const auto device = session.openDevice(input_, {});
    FrameTexture texture(session, device, input_);
    texture.show(input.frameAt(seconds_));
    session.savePicture(*texture.texture(), output_);
}

}  // namespace ondrix::tools
