#include <cerrno>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <stdlib.h>

#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/LibraryAccess.h>
#include <ondrix/platform/software/Module.h>
#include <ondrix/platform/software/ProblemLog.h>
#include <ondrix/platform/software/SimdLevel.h>

namespace ondrix::software {

namespace {

namespace fs = std::filesystem;

/// A reason to refuse a library; never leaves this file.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string quoted(const fs::path& path) {
    return "'" + path.string() + "'";
}

/// With the system's own calls: the standard library's iterator ends the process where it has no memory for a name.
bool holdsModules(const fs::path& library) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(library.c_str()), closedir);
    if (folder == nullptr) {
        throw fs::filesystem_error("the folder cannot be read", library, {errno, std::generic_category()});
    }
    while (const dirent* const entry = readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name.size() > 3 && name.ends_with(".so")) return true;
    }
    return false;
}

void requireLibrary(const fs::path& library) {
    if (!fs::exists(library)) throw Refusal(quoted(library) + " does not exist");
    const fs::path folder = library.has_filename() ? library : library.parent_path();
    if (folder.extension() != ".oxlib" || !fs::is_directory(library) || !holdsModules(library)) {
        throw Refusal(quoted(library) + " is not a shader library");
    }
}

fs::path moduleFile(const fs::path& library, const SimdLevel& level) {
    return library / (std::string(level.name) + ".so");
}

fs::path chooseModule(const fs::path& library, const std::string& forcedLevel) {
    for (const SimdLevel& level : simdLevels()) {
        if (!forcedLevel.empty() && level.name != forcedLevel) continue;
        if (!level.supported()) {
            if (forcedLevel.empty()) continue;
            throw Refusal("this processor does not run the SIMD level '" + forcedLevel + "'");
        }
        fs::path file = moduleFile(library, level);
        if (fs::exists(file)) return file;
        if (!forcedLevel.empty())
            throw Refusal(quoted(library) + " has no module for the SIMD level '" + forcedLevel + "'");
    }
    if (forcedLevel.empty()) throw Refusal(quoted(library) + " has no module for this machine");
    std::string names;
    for (const SimdLevel& level : simdLevels()) names += (names.empty() ? "" : ", ") + std::string(level.name);
    throw Refusal("the SIMD level '" + forcedLevel + "' is unknown; the levels are " + names);
}

/// The canonical path of a file that the system's loader may open.
fs::path trustedFile(const fs::path& file) {
    fs::path canonical = fs::canonical(file);
    const char* const trusts = secure_getenv("ONDRIX_TRUST_LIBRARIES");
    if (trusts != nullptr && std::string_view(trusts) == "1") return canonical;
    std::string reason = reasonToDistrust(canonical);
    // The file may be a link to elsewhere.
    if (reason.empty()) reason = reasonToDistrust(fs::canonical(file.parent_path()) / file.filename());
    if (!reason.empty())
        throw Refusal("the module " + quoted(file) + " is not opened: " + reason +
                      ", and ONDRIX_TRUST_LIBRARIES is not 1");
    return canonical;
}

/// Returns what a function's entry says that no device can use, or null. Slots, and what one function hands to another,
/// are looked at when a pipeline is made.
const char* problemOf(const shading::Entry& entry) {
    using enum shading::FunctionKind;
    using enum shading::ParameterKind;
    const bool runs = (entry.kind == compute && entry.runCompute != nullptr) ||
                      (entry.kind == fragment && entry.runFragment != nullptr) ||
                      (entry.kind == vertex && entry.runVertex != nullptr);
    if (entry.name == nullptr) return "has no name";
    if (!runs) return "has no code";
    if (entry.parameterCount > 0 && entry.parameters == nullptr) return "has no parameters";
    for (std::uint32_t index = 0; index < entry.parameterCount; ++index) {
        const shading::Parameter& parameter = entry.parameters[index];
        if (parameter.kind < texture || parameter.kind > varying) return "has a parameter of an unknown kind";
        const bool isVector = parameter.kind == vertexInput || parameter.kind == varying;
        if (isVector && (parameter.size < 1 || parameter.size > 4)) return "has a vector of no known size";
    }
    if (entry.kind != vertex) return nullptr;
    if (entry.varyingCount > 0 && entry.varyingSizes == nullptr) return "has no varyings";
    for (std::uint32_t index = 0; index < entry.varyingCount; ++index) {
        if (entry.varyingSizes[index] < 1 || entry.varyingSizes[index] > 4) return "has a vector of no known size";
    }
    return nullptr;
}

/// Throws unless every entry can be used: a module may come from a compiler or a disk that is broken.
void requireUsable(const shading::ModuleTable& table, const fs::path& file) {
    const auto refuse = [&](const std::string& problem) {
        throw Refusal("the module " + quoted(file) + " is damaged: " + problem);
    };
    if (table.level == nullptr) refuse("its level is missing");
    if (table.entryCount > 0 && table.entries == nullptr) refuse("its functions are missing");
    for (std::uint32_t index = 0; index < table.entryCount; ++index) {
        if (const char* problem = problemOf(table.entries[index])) {
            refuse("function " + std::to_string(index) + " " + problem);
        }
    }
}

const shading::ModuleTable& openModule(const fs::path& file) {
    void* handle = dlopen(trustedFile(file).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        throw Refusal("the module " + quoted(file) + " cannot be opened: " + (reason ? reason : "unknown reason"));
    }
    // The module is never closed from here on, since somebody may hold what its table points to.
    const auto symbol = reinterpret_cast<const shading::ModuleTable* (*)()>(dlsym(handle, "ondrix_shader_module"));
    if (symbol == nullptr) throw Refusal("the module " + quoted(file) + " does not export 'ondrix_shader_module'");
    const shading::ModuleTable* table = symbol();
    if (table == nullptr || table->version != shading::moduleVersion) {
        throw Refusal("the module " + quoted(file) + " is of version " +
                      (table == nullptr ? "none" : std::to_string(table->version)) + ", but version " +
                      std::to_string(shading::moduleVersion) + " is needed");
    }
    requireUsable(*table, file);
    return *table;
}

}  // namespace

std::shared_ptr<const Module> Module::open(const fs::path& library, const std::string& level, bool checked,
                                           NSError* error) {
    return os::orAbsent(error, [&]() -> std::shared_ptr<const Module> {
        try {
            requireLibrary(library);
            fs::path file = library / (std::string(checkedLevel) + ".so");
            if (checked && !fs::exists(file)) {
                static auto& lacking = *new ProblemLog;
                lacking.finding(os::LogType::info, library.string(),
                                quoted(library) +
                                    " has no module for validation, so only the bindings of its functions " +
                                    "are checked");
            }
            if (!checked || !fs::exists(file)) file = chooseModule(library, level);
            return std::shared_ptr<const Module>(new Module(openModule(file)));
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& reason) {
            if (error != nullptr) *error = NSError(reason.what());
            return nullptr;
        }
    });
}

const shading::Entry* Module::find(std::string_view name) const noexcept {
    for (std::uint32_t index = 0; index < table_.entryCount; ++index) {
        if (table_.entries[index].name == name) return &table_.entries[index];
    }
    return nullptr;
}

}  // namespace ondrix::software
