#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Frame.h"

namespace ondrix::benchmarks {

/// One run of the work that is timed; false when it failed.
using Task = std::function<bool()>;

/// One way of doing a row's work.
struct Contender {
    std::string name;
    bool ours = false;
    Task run;
    /// The pixels that the latest run left, read outside the timed part. Empty for a row without pixels.
    std::function<std::shared_ptr<const Frame>()> result;
};

/// One line of work that is measured, with everybody who can do it.
struct Row {
    std::string name;
    std::vector<Contender> contenders;
    /// Where the libraries write; the framework's contenders have textures of their own. Null for a row without pixels.
    std::shared_ptr<Frame> output;
    /// What every result is held against. Null for a row without pixels.
    std::shared_ptr<const Frame> reference;
    /// Time without any work before each timed run; 0 for runs that follow each other closely.
    std::chrono::milliseconds idle{0};
};

}  // namespace ondrix::benchmarks
