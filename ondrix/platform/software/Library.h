#pragma once

#include <memory>
#include <string>
#include <vector>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>
#include <ondrix/platform/metal/MTLLibrary.h>
#include <ondrix/platform/software/Module.h>

namespace ondrix::software {

/// One GPU function: an entry of a module's table.
class Function final : public MTLFunction {
public:
    Function(std::shared_ptr<const Module> module, const shading::Entry& entry)
        : module_(std::move(module)), entry_(entry) {}

    [[nodiscard]] std::string name() const override { return entry_.name; }
    [[nodiscard]] MTLFunctionType functionType() const override;
    [[nodiscard]] const shading::Entry& entry() const noexcept { return entry_; }
    [[nodiscard]] const std::shared_ptr<const Module>& module() const noexcept { return module_; }
    /// True when the module fills reports.
    [[nodiscard]] bool isChecked() const noexcept { return module_->isChecked(); }

private:
    std::shared_ptr<const Module> module_;
    const shading::Entry& entry_;
};

/// The functions of one opened module.
class Library final : public MTLLibrary {
public:
    /// See `Module::open`.
    static std::shared_ptr<Library> create(const URL& URL, const std::string& level, bool checked, NSError* error);

    [[nodiscard]] std::shared_ptr<MTLFunction> makeFunction(std::string_view name) override;
    [[nodiscard]] std::vector<std::string> functionNames() const override;

private:
    explicit Library(std::shared_ptr<const Module> module) : module_(std::move(module)) {}

    std::shared_ptr<const Module> module_;
};

}  // namespace ondrix::software
