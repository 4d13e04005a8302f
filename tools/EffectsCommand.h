#pragma once

#include <CLI/CLI.hpp>

namespace ondrix::tools {

/// `ondrix effects`: lists what --effect takes, as text or as JSON.
class EffectsCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    bool json_ = false;
};

}  // namespace ondrix::tools
