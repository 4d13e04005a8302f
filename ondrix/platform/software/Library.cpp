#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/Library.h>
#include <ondrix/platform/software/ProblemLog.h>

namespace ondrix::software {

MTLFunctionType Function::functionType() const {
    switch (entry_.kind) {
        case shading::FunctionKind::vertex:
            return MTLFunctionType::vertex;
        case shading::FunctionKind::fragment:
            return MTLFunctionType::fragment;
        case shading::FunctionKind::compute:
            break;
    }
    return MTLFunctionType::kernel;
}

std::shared_ptr<Library> Library::create(const URL& URL, const std::string& level, bool checked, NSError* error) {
    NSError reason;
    auto module = Module::open(URL.path(), level, checked, &reason);
    if (!module) {
        if (error == nullptr) deviceLogger().debug("%s", reason.localizedDescription().c_str());
        if (error != nullptr) *error = std::move(reason);
        return nullptr;
    }
    return os::orAbsent(error, [&] { return std::shared_ptr<Library>(new Library(std::move(module))); });
}

std::shared_ptr<MTLFunction> Library::makeFunction(std::string_view name) {
    const shading::Entry* entry = module_->find(name);
    if (entry == nullptr) return nullptr;
    return os::orAbsent([&] { return std::make_shared<Function>(module_, *entry); });
}

std::vector<std::string> Library::functionNames() const {
    return os::orAbsent([&] {
        std::vector<std::string> names;
        const shading::ModuleTable& table = module_->table();
        for (std::uint32_t index = 0; index < table.entryCount; ++index) names.emplace_back(table.entries[index].name);
        return names;
    });
}

}  // namespace ondrix::software
