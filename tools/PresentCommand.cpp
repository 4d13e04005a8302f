#include "PresentCommand.h"

#include <memory>

#include "EffectChain.h"
#include "Session.h"

namespace ondrix::tools {

void PresentCommand::add(CLI::App& program) {
    const auto command = std::make_shared<PresentCommand>();
    CLI::App* const options = program.add_subcommand("present", "Draw a picture into one of another size");
    options->add_option("INPUT", command->input_, "PNG or JPEG file")->required();
    options->add_option("OUTPUT", command->output_, "PNG file to write")->required();
    addSizeOption(*options, command->size_, "Size of the output")->required();
    addPresentationOptions(*options, command->options_);
    addEffectOption(*options, command->effects_);
    options->callback([command] { command->run(); });
}

void PresentCommand::run() const {
    Session session;
    session.openDevice(input_, presentationFunctions);
    const auto picture = session.loadPicture(input_);
    EffectChain chain(session, effects_, size_, output_);
    Presentation(session, picture, chain.input(), MTLPixelFormat::bgra8Unorm, options_, output_).draw();
    chain.run();
    session.savePicture(*chain.output(), output_);
}

}  // namespace ondrix::tools
