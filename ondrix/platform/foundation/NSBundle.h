#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <ondrix/platform/foundation/URL.h>

namespace ondrix {

/// Stands for a class where a bundle is asked for: the address of code or constant data that lies in the same program
/// or shared library as the class. Take it from a symbol defined in the class's own source file, never in a header.
struct AnyClass {
    const void* codeAddress = nullptr;
};

/// A folder with the resources of a program or a shared library. Immutable and safe to use from any thread. Where
/// memory runs out, what is asked for is null or absent, and `errno` is ENOMEM.
///
/// The bundle of the program `DIR/NAME` or the library `DIR/libNAME.so[.N]` is the first folder that exists of
/// `DIR/NAME.bundle` and `DIR/../lib/NAME.bundle`, or else `DIR` itself. So it is found in a build tree, in an install
/// tree and for a library that an application in another folder loads.
class NSBundle {
public:
    /// The bundle of the running program. Made once; null only without memory.
    static std::shared_ptr<NSBundle> mainBundle();
    /// The bundle of the program or library that holds `aClass`; the main bundle where the address belongs to neither.
    static std::shared_ptr<NSBundle> bundleForClass(AnyClass aClass);
    /// The folder `path` as a bundle; null when it isn't a folder.
    static std::shared_ptr<NSBundle> create(const std::filesystem::path& path);

    /// Absolute path of the folder.
    [[nodiscard]] const std::filesystem::path& bundlePath() const noexcept { return path_; }
    /// The first line of the file "BundleIdentifier" in the folder; absent without one.
    [[nodiscard]] std::optional<std::string> bundleIdentifier() const;
    /// The file or folder `name.extension` (just `name` for an empty extension); absent when it doesn't exist.
    [[nodiscard]] std::optional<URL> URLForResource(std::string_view name, std::string_view withExtension) const;

private:
    explicit NSBundle(std::filesystem::path path);

    std::filesystem::path path_;
};

}  // namespace ondrix
