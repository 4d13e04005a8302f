#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

#include <dlfcn.h>
#include <link.h>

#include <ondrix/platform/foundation/NSBundle.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

namespace {

namespace fs = std::filesystem;

/// Absolute and free of symbolic links where the path exists, else as it stands.
fs::path canonicalOrSame(const fs::path& path) {
    std::error_code failure;
    fs::path canonical = fs::canonical(path, failure);
    return failure ? path : canonical;
}

bool isFolder(const fs::path& path) {
    std::error_code failure;
    return fs::is_directory(path, failure);
}

/// "libondrix.so.0.1" is named "ondrix".
std::string libraryName(const fs::path& file) {
    std::string name = file.filename().native();
    name.erase(std::min(name.find(".so"), name.size()));
    if (name.starts_with("lib") && name.size() > 3) name.erase(0, 3);
    return name;
}

std::optional<fs::path> bundleFolderBeside(const fs::path& folder, const std::string& name) {
    for (const fs::path& candidate : {folder / (name + ".bundle"), folder / ".." / "lib" / (name + ".bundle")}) {
        if (isFolder(candidate)) return canonicalOrSame(candidate);
    }
    return std::nullopt;
}

fs::path mainBundleFolder() {
    std::error_code failure;
    const fs::path program = fs::read_symlink("/proc/self/exe", failure);
    if (failure) return canonicalOrSame(".");
    if (auto folder = bundleFolderBeside(program.parent_path(), program.filename().native())) return *folder;
    return canonicalOrSame(program.parent_path());
}

/// Path of the shared library that holds `address` as the loader knows it; empty for the program itself and for an
/// address in neither.
fs::path loadedLibraryHolding(const void* address) {
    Dl_info information{};
    link_map* library = nullptr;
    if (address == nullptr ||
        ::dladdr1(address, &information, reinterpret_cast<void**>(&library), RTLD_DL_LINKMAP) == 0 ||
        library == nullptr || library->l_name == nullptr) {
        return {};
    }
    return library->l_name;
}

}  // namespace

NSBundle::NSBundle(fs::path path) : path_(std::move(path)) {}

std::shared_ptr<NSBundle> NSBundle::mainBundle() {
    // Never destroyed: others may ask for it while the program ends.
    return os::orAbsent([] {
        static const auto& bundle = *new std::shared_ptr<NSBundle>(new NSBundle(mainBundleFolder()));
        return bundle;
    });
}

std::shared_ptr<NSBundle> NSBundle::bundleForClass(AnyClass aClass) {
    return os::orAbsent([&]() -> std::shared_ptr<NSBundle> {
        const fs::path loaded = loadedLibraryHolding(aClass.codeAddress);
        std::error_code failure;
        const fs::path canonical = fs::canonical(loaded, failure);
        if (loaded.empty() || failure) return mainBundle();

        // A library may be reached through a link that lies elsewhere or has another name; its bundle may lie beside
        // either.
        std::optional<fs::path> folder;
        for (const fs::path& file : {fs::absolute(loaded, failure), canonical}) {
            if (!folder) folder = bundleFolderBeside(file.parent_path(), libraryName(file));
        }
        return std::shared_ptr<NSBundle>(new NSBundle(folder ? *folder : canonical.parent_path()));
    });
}

std::shared_ptr<NSBundle> NSBundle::create(const fs::path& path) {
    return os::orAbsent([&]() -> std::shared_ptr<NSBundle> {
        std::error_code failure;
        fs::path canonical = fs::canonical(path, failure);
        if (failure || !isFolder(canonical)) return nullptr;
        return std::shared_ptr<NSBundle>(new NSBundle(std::move(canonical)));
    });
}

std::optional<std::string> NSBundle::bundleIdentifier() const {
    return os::orAbsent([&]() -> std::optional<std::string> {
        const fs::path file = path_ / "BundleIdentifier";
        std::error_code failure;
        if (!fs::is_regular_file(file, failure)) return std::nullopt;
        std::ifstream stream(file);
        std::string line;
        std::getline(stream, line);
        if (stream.bad()) throw std::bad_alloc();  // which streams keep for themselves
        if (stream.fail()) return std::nullopt;
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty()) return std::nullopt;
        return line;
    });
}

std::optional<URL> NSBundle::URLForResource(std::string_view name, std::string_view withExtension) const {
    return os::orAbsent([&]() -> std::optional<URL> {
        if (name.empty()) return std::nullopt;
        std::string file = path_.native() + '/';
        file += name;
        if (!withExtension.empty()) {
            file += '.';
            file += withExtension;
        }
        std::error_code failure;
        if (!fs::exists(file, failure)) return std::nullopt;
        return URL(file);
    });
}

}  // namespace ondrix
