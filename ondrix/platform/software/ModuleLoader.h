#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/shading/Module.h>

namespace ondrix::software {

/// One opened module of a shader library. Its code stays loaded until the process ends, so the table's entries are
/// valid as long as anybody may hold them.
class Module {
public:
    /// Opens the best module in the folder `library`, a path ending in ".oxlib", that this processor runs, or the one
    /// of `level` when that isn't empty. Null with a reason when the folder is no shader library, holds no module for
    /// this machine, or the module can't be opened or is of another version.
    static std::shared_ptr<const Module> open(const std::filesystem::path& library, const std::string& level,
                                              NSError* error);

    /// The function with exactly this name, or null.
    [[nodiscard]] const shading::Entry* find(std::string_view name) const noexcept;
    [[nodiscard]] const shading::ModuleTable& table() const noexcept { return table_; }

private:
    explicit Module(const shading::ModuleTable& table) : table_(table) {}

    const shading::ModuleTable& table_;
};

}  // namespace ondrix::software
