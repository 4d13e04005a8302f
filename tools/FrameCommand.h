#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace ondrix::tools {

/// `ondrix frame`: saves the frame of a movie that is on screen at a given time.
class FrameCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;

    std::string input_;
    std::string output_;
    double seconds_ = 0;
};

}  // namespace ondrix::tools
