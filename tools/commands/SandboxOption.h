#pragma once

#include <CLI/CLI.hpp>
#include <initializer_list>
#include <string>
#include <vector>

#include "tools/drawing/EffectChain.h"
#include "tools/drawing/Session.h"

namespace ondrix::tools {

/// The option --no-sandbox of a command that decodes files, and what it turns off.
class SandboxOption {
public:
    explicit SandboxOption(CLI::App& command);
    SandboxOption(const SandboxOption&) = delete;
    SandboxOption& operator=(const SandboxOption&) = delete;

    /// Confines the process to reading these inputs, the files of the effects and the library, and to writing the
    /// output, unless that is empty. Does nothing with a library's source, which a compiler reads. To be called when
    /// the device is open, before the first input is. Throws `Failure`.
    void enter(std::initializer_list<std::string> inputs, const std::string& output,
               const std::vector<EffectRequest>& effects = {}, const LibraryOptions& library = {}) const;

private:
    bool isOff_ = false;
};

}  // namespace ondrix::tools
