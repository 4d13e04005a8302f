#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Frame.h"

namespace ondrix::benchmarks {

/// One run of the work that is timed; false when it failed.
using Task = std::function<bool()>;

/// Who is measured.
enum class Role {
    ours,
    peer,    ///< a library that people would use instead
    loop,    ///< the row's work as a loop written by hand for it alone
    memory,  ///< only moves as many bytes as the work must: what no one can beat
};

/// One way of doing a row's work.
struct Contender {
    /// Contenders that move memory may share a name: the fastest of them counts.
    std::string name;
    Role role = Role::peer;
    Task run;
    /// The pixels that the latest run left, read outside the timed part. Empty where they can't be compared.
    std::function<std::shared_ptr<const Frame>()> result;
};

/// What ours is held to: a ratio of medians, ours to the fastest of those named.
struct Bound {
    std::optional<double> must;
    std::optional<double> aim;
    std::vector<std::string> against;  ///< contenders; every peer when empty
    bool milliseconds = false;         ///< the limits are times, against nobody
};

/// One line of work that is measured, with everybody who can do it.
struct Row {
    std::string name;
    std::string title;  ///< for people
    std::vector<Contender> contenders;
    std::vector<Bound> bounds;
    /// Where the libraries write; the framework's contenders have textures of their own. Null for a row without pixels.
    std::shared_ptr<Frame> output;
    /// What every result is held against. Null for a row without pixels.
    std::shared_ptr<const Frame> reference;
    /// Time without any work before each timed run; 0 for runs that follow each other closely.
    std::chrono::milliseconds idle{0};
};

}  // namespace ondrix::benchmarks
