#include <iostream>

#include <ondrix/core/DeviceManager.h>

#include "CommandLine.h"

namespace ondrix::tools {
namespace {

/// Lists the devices that the framework can use. None is no failure.
class DevicesCommand {
public:
    explicit DevicesCommand(CLI::App& options) {
        options.add_flag("--json", json_, "Print a JSON array of objects with \"name\" and \"default\"");
    }

    void run() const {
        const auto device = DeviceManager::shared().defaultDevice();
        const std::string name = device != nullptr ? device->mtlDevice()->name() : "";
        if (json_)
            std::cout << '[' << (device != nullptr ? "{\"name\": " + jsonText(name) + ", \"default\": true}" : "")
                      << "]\n";
        else
            std::cout << (device != nullptr ? name + " (default)" : "no device") << '\n';
        finishOutput();
    }

private:
    bool json_ = false;
};

}  // namespace

void addDevicesCommand(CLI::App& program) {
    addCommand<DevicesCommand>(program.add_subcommand("devices", "List the devices that Ondrix can use"));
}

}  // namespace ondrix::tools
