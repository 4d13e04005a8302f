#pragma once

#include <CLI/CLI.hpp>

namespace ondrix::tools {

/// `ondrix devices`: lists the GPUs that the framework can use. None is no failure.
class DevicesCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    bool json_ = false;
};

}  // namespace ondrix::tools
