#include "SandboxOption.h"

#include <string_view>

#include <stdlib.h>

#include "tools/sources/SourceLibrary.h"
#include "tools/system/Sandbox.h"

namespace ondrix::tools {

SandboxOption::SandboxOption(CLI::App& command) {
    command.add_flag("--no-sandbox", isOff_, "Decode with all the rights that the program has");
}

void SandboxOption::enter(std::initializer_list<std::string> inputs, const std::string& output,
                          const std::vector<EffectRequest>& effects, const LibraryOptions& library) const {
    const char* const variable = secure_getenv("ONDRIX_SANDBOX");
    if (isOff_ || (variable != nullptr && std::string_view(variable) == "0")) return;
    if (!library.library.empty() && SourceLibrary::isSource(library.library)) return;
    Sandbox sandbox;
    for (const std::string& input : inputs) sandbox.allowReading(input);
    for (const EffectRequest& effect : effects) {
        for (const auto& setting : effect.settings) {
            if (!setting.file.empty()) sandbox.allowReading(setting.file);
        }
    }
    if (!library.library.empty()) sandbox.allowReading(library.library);
    if (!output.empty()) sandbox.allowOutput(output);
    sandbox.enter();
}

}  // namespace ondrix::tools
