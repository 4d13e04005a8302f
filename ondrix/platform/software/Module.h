#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/shading/Module.h>

namespace ondrix::software {

/// One opened module of a shader library. Its code stays loaded until the process ends, so the table's entries are
/// valid as long as anybody may hold them.
class Module {
public:
    /// Opens the best module in the folder `library`, a path ending in ".oxlib", that this processor runs, or the one
    /// of `level` when that isn't empty. Null with a reason when the folder is no shader library, holds no module for
    /// this machine, or the module can't be opened, may be changed by other users (see LibraryAccess.h) or is of
    /// another version. With `checked`, the module "checked" takes the place of all others; a library without it is
    /// opened as ever, which is logged.
    static std::shared_ptr<const Module> open(const std::filesystem::path& library, const std::string& level,
                                              bool checked, NSError* error);

    /// The function with exactly this name, or null.
    [[nodiscard]] const shading::Entry* find(std::string_view name) const noexcept;
    [[nodiscard]] const shading::ModuleTable& table() const noexcept { return table_; }
    [[nodiscard]] bool isChecked() const noexcept { return table_.level == checkedLevel; }

    /// The level of modules for validation, which no processor asks for by itself.
    static constexpr std::string_view checkedLevel = "checked";

private:
    explicit Module(const shading::ModuleTable& table) : table_(table) {}

    const shading::ModuleTable& table_;
};

}  // namespace ondrix::software
