#include "ApplyCommand.h"

#include <memory>

#include <ondrix/passes/ComputePass.h>
#include <ondrix/shaders/Shader.h>
#include <ondrix/shaders/ShaderLibrary.h>

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
    const auto device = session.openDevice(input_, {});
    const auto library = device->makeShaderLibrary(URL(library_));
    if (library == nullptr) session.fail(library_, "not a shader library");
    const auto shader = library->makeShader(function_, ShaderType::computeShader);
    if (shader == nullptr) session.fail(library_, "no function " + function_);

    const auto picture = session.loadPicture(input_);
    const PictureSize size = size_ == PictureSize{} ? PictureSize{picture->width(), picture->height()} : size_;
    const auto output = session.makeOutput(size, output_);
    shader->setShaderResource(picture, 0);
    shader->setShaderResource(output, 1);

    const auto effect = Effect::create(device);
    effect->add(ComputePass::create(device, shader, output), "apply");
    session.run(*effect, library_);
    session.savePicture(*output, output_);
}

}  // namespace ondrix::tools
