#include "ApplyCommand.h"

#include <memory>

#include "Session.h"

namespace ondrix::tools {

void ApplyCommand::add(CLI::App& program) {
    const auto command = std::make_shared<ApplyCommand>();
    CLI::App* const options = program.add_subcommand("apply", "Run a compute function of your own over a picture");
    options->add_option("INPUT", command->input_, "PNG or JPEG file, the function's texture 0")->required();
    options->add_option("OUTPUT", command->output_, "PNG file to write, the function's texture 1")->required();
    options->add_option("--library", command->library_, "Shader library, a folder NAME.oxlib")
        ->required()
        ->type_name("FOLDER");
    options->add_option("--function", command->function_, "Name of the compute function")
        ->required()
        ->type_name("NAME");
    addSizeOption(*options, command->size_, "Size of the output, that of the input unless given");
    options->callback([command] { command->run(); });
}

void ApplyCommand::run() const {
    Session session;
    session.openDevice(input_, {});
    const auto picture = session.loadPicture(input_);
    const PictureSize size = size_ == PictureSize{} ? PictureSize{picture->width(), picture->height()} : size_;
    const auto output = session.makeOutput(size, output_);
    session.run(*session.makeFunctionEffect(library_, function_, picture, output), library_);
    session.savePicture(*output, output_);
}

}  // namespace ondrix::tools
