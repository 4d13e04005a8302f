#pragma once

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ondrix/core/Device.h>
#include <ondrix/passes/Effect.h>
#include <ondrix/platform/os/Logger.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/types/ShaderType.h>

#include "Picture.h"

namespace ondrix::tools {

/// A GPU function that the framework looks up in its own library.
struct FrameworkFunction {
    const char* name;
    ShaderType type;
};

/// A compute function of the user's own, which reads texture 0 and writes texture 1.
struct LibraryOptions {
    std::string library;   ///< as the user wrote it: a built library, or the source of one; empty for none
    std::string function;  ///< empty for the only one in the library
    bool watch = false;    ///< to be built again whenever the source is saved
};

/// One command's use of the framework. While it lives it receives what the framework logs, and every operation that
/// fails throws one `Failure` with those messages as its reason. One at a time.
class Session {
public:
    Session();
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// The default device, once it and `functions` are known to be there: the ready-made passes end the process
    /// without them. A failure is put down to `file`, which the user wanted to use.
    std::shared_ptr<Device> openDevice(const std::string& file, std::initializer_list<FrameworkFunction> functions);

    /// The picture in a file, its colours as they are stored.
    std::shared_ptr<Texture> loadPicture(const std::string& file);
    /// A texture that is drawn to or written by a compute function, and then read.
    std::shared_ptr<Texture> makeOutput(PictureSize size, const std::string& file);
    /// Runs the user's compute function over `from`, its texture 0, into `to`, its texture 1. The library lies in
    /// `folder`; failures are put down to what the options call it.
    std::shared_ptr<Effect> makeFunctionEffect(const LibraryOptions& options, const std::filesystem::path& folder,
                                               const std::shared_ptr<Texture>& from,
                                               const std::shared_ptr<Texture>& to);
    /// Runs an effect to its end. What goes wrong on the device is a failure put down to `file`.
    void run(Effect& effect, const std::string& file);
    /// Writes the texture to a PNG file.
    void savePicture(Texture& texture, const std::string& file);

    /// Stops with what was logged since the last call as the reason, or with `otherwise` when nothing was.
    [[noreturn]] void fail(const std::string& file, const std::string& otherwise);

private:
    /// The name of the library's compute function, when it has no other.
    std::string onlyFunction(const LibraryOptions& options, const std::filesystem::path& folder);
    std::string takeMessages();

    std::shared_ptr<Device> device_;
    os::LogSink previousSink_;
    std::mutex mutex_;  ///< guards `messages_`: the framework logs from several threads
    std::vector<std::string> messages_;
};

}  // namespace ondrix::tools
