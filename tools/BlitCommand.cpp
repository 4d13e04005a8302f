#include "BlitCommand.h"

#include <map>
#include <memory>

#include <ondrix/passes/BlitEffect.h>

#include "Session.h"

namespace ondrix::tools {
namespace {

const std::map<std::string, PassType> passes{{"render", PassType::renderPass}, {"compute", PassType::computePass}};

}  // namespace

void BlitCommand::add(CLI::App& program) {
    const auto command = std::make_shared<BlitCommand>();
    CLI::App* const options = program.add_subcommand("blit", "Copy a picture into one of another size");
    options->add_option("INPUT", command->input_, "PNG or JPEG file")->required();
    options->add_option("OUTPUT", command->output_, "PNG file to write")->required();
    addSizeOption(*options, command->size_, "Size of the output")->required();
    options
        ->add_option_function<std::string>(
            "--pass", [command](const std::string& name) { command->pass_ = passes.at(name); },
            "render: stretched over the output; compute: position for position (render)")
        ->check(CLI::IsMember(passes));
    options->callback([command] { command->run(); });
}

void BlitCommand::run() const {
    Session session;
    const auto device = session.openDevice(input_, {{"Ondrix::Blit::VS_Main", ShaderType::vertexShader},
                                                    {"Ondrix::Blit::FS_Main", ShaderType::fragmentShader},
                                                    {"Ondrix::Blit::CS_Main", ShaderType::computeShader}});
    const auto picture = session.loadPicture(input_);
    const auto output = session.makeOutput(size_, output_);
    const auto effect = BlitEffect::create(device, picture, output, pass_, MTLPixelFormat::bgra8Unorm);
    session.run(*effect, output_);
    session.savePicture(*output, output_);
}

}  // namespace ondrix::tools
