#include "DevicesCommand.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include <ondrix/core/DeviceManager.h>

#include "Failure.h"
#include "JsonText.h"

namespace ondrix::tools {
void DevicesCommand::add(CLI::App& program) {
    const auto command = std::make_shared<DevicesCommand>();
    CLI::App* const options = program.add_subcommand("devices", "List the GPUs that Ondrix can use");
    options->add_flag("--json", command->json_, "Print a JSON array of objects with \"name\" and \"default\"");
    options->callback([command] { command->run(); });
}

void DevicesCommand::run() const {
    const auto device = DeviceManager::shared().defaultDevice();
    if (json_) {
        std::cout << '[';
        if (device != nullptr)
            std::cout << "{\"name\": " << jsonText(device->mtlDevice()->name()) << ", \"default\": true}";
        std::cout << "]\n";
    } else {
        std::cout << (device != nullptr ? device->mtlDevice()->name() + " (default)" : "no device") << '\n';
    }
    if (!std::cout.flush()) throw Failure("standard output", "can't be written");
}

}  // namespace ondrix::tools
