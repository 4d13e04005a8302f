#pragma once

#include <functional>
#include <string>

namespace ondrix {

/// Helpers for developers.
class Utility {
public:
    Utility() = delete;

    /// Runs `block` once and prints to standard output how long it took: "label took 1.500 ms".
    static void measure(const std::string& label, const std::function<void()>& block);
};

}  // namespace ondrix
