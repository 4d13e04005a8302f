#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <ondrix/core/Device.h>
#include <ondrix/passes/Effect.h>
#include <ondrix/resources/Pixels.h>
#include <ondrix/resources/Texture.h>

#include "Picture.h"
#include "tools/system/Failure.h"

namespace ondrix::tools {

/// A compute function of the user's own, which reads texture 0 and writes texture 1.
struct LibraryOptions {
    std::string library;   ///< as the user wrote it: a built library, or the source of one; empty for none
    std::string function;  ///< empty for the only one in the library
    bool watch = false;    ///< to be built again whenever the source is saved
};

/// The result of an operation of the framework, which is given an `NSError*`. A `Failure` with `file` as its subject
/// where the result is null, false or absent.
template <class Operation>
auto orFail(const std::string& file, Operation&& operation) {
    NSError error;
    auto result = operation(&error);
    if (!result) throw Failure(file, error.localizedDescription());
    return result;
}

/// One command's use of the framework. What fails throws a `Failure` with the framework's reason, put down to the file
/// that the operation is given.
class Session {
public:
    /// Nothing is shown of the log from now on but what a validation finds: failures tell their reasons themselves.
    Session();

    /// The default device, which everything else needs.
    std::shared_ptr<Device> openDevice(const std::string& file);
    /// The picture in a file, its colours as they are stored.
    std::shared_ptr<Texture> loadPicture(const std::string& file);
    /// A texture that is drawn to or written by a compute function, and then read.
    std::shared_ptr<Texture> makeOutput(PictureSize size, const std::string& file);
    /// For the work of one frame, which `finish` runs.
    std::shared_ptr<MTLCommandBuffer> makeCommandBuffer(const std::string& file);
    /// Runs the user's compute function over `from`, its texture 0, into `to`, its texture 1. The library lies in
    /// `folder`; failures are put down to what the options call it.
    std::shared_ptr<Effect> makeFunctionEffect(const LibraryOptions& options, const std::filesystem::path& folder,
                                               const std::shared_ptr<Texture>& from,
                                               const std::shared_ptr<Texture>& to);

private:
    /// The name of the library's compute function, when it has no other.
    static std::string onlyFunction(const LibraryOptions& options, const ShaderLibrary& library);

    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLCommandQueue> queue_;  ///< made when it is needed first
};

/// Runs an effect to the end of its work on the GPU.
void runToEnd(Effect& effect, const std::string& file);
/// Waits for the end of work that was committed. A `Failure` where it failed.
void waitFor(MTLCommandBuffer& work, const std::string& file);
/// The texture's present pixels, for which it needs the format bgra8Unorm.
[[nodiscard]] Pixels pixelsOf(const Texture& texture, const std::string& file);

}  // namespace ondrix::tools
