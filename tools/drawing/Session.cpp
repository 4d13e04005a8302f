#include "Session.h"

#include <cassert>
#include <utility>
#include <vector>

#include <ondrix/core/DeviceManager.h>
#include <ondrix/passes/ComputePass.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>
#include <ondrix/platform/os/Logger.h>
#include <ondrix/shaders/Shader.h>
#include <ondrix/shaders/ShaderLibrary.h>

#include "tools/system/InputFile.h"

namespace ondrix::tools {

Session::Session() {
    os::setLogLevel(os::LogType::info);  // whatever ONDRIX_LOG says
    os::setLogSink([](const os::LogMessage& message) {
        if (message.category == "validation") complain(std::string(message.text));
    });
}

std::shared_ptr<Device> Session::openDevice(const std::string& file) {
    device_ = DeviceManager::shared().defaultDevice();
    if (device_ == nullptr) throw Failure(file, "this machine has no GPU that Ondrix can use");
    return device_;
}

std::shared_ptr<Texture> Session::loadPicture(const std::string& file) {
    // The reason that the device's own factory gives names the file once more.
    const MTKTextureLoader loader(device_->mtlDevice());
    constexpr std::size_t largestFile = std::size_t{256} << 20;  // bytes, of those that come through a pipe
    const MTKTextureLoader::Options options{{MTKTextureLoader::Option::SRGB, false}};
    return device_->makeTexture(orFail(file, [&](NSError* error) {
        if (!isSpecialFile(file)) return loader.newTexture(URL(std::filesystem::path(file)), options, error);
        const auto bytes = readSpecialFile(file, largestFile);
        return loader.newTexture(bytes.data(), bytes.size(), options, error);
    }));
}

std::shared_ptr<Texture> Session::makeOutput(PictureSize size, const std::string& file) {
    constexpr auto usages = MTLTextureUsage::renderTarget | MTLTextureUsage::shaderWrite | MTLTextureUsage::shaderRead;
    return orFail(file, [&](NSError* error) {
        return device_->makeTexture(size.width, size.height, MTLPixelFormat::bgra8Unorm, usages, error);
    });
}

std::shared_ptr<MTLCommandBuffer> Session::makeCommandBuffer(const std::string& file) {
    if (queue_ == nullptr) queue_ = device_->mtlDevice()->makeCommandQueue();
    auto commandBuffer = queue_ != nullptr ? queue_->makeCommandBuffer() : nullptr;
    if (commandBuffer == nullptr) throw Failure(file, "the GPU takes no work");
    return commandBuffer;
}

std::shared_ptr<Effect> Session::makeFunctionEffect(const LibraryOptions& options, const std::filesystem::path& folder,
                                                    const std::shared_ptr<Texture>& from,
                                                    const std::shared_ptr<Texture>& to) {
    return orFail(options.library, [&](NSError* error) -> std::shared_ptr<Effect> {
        const auto library = device_->makeShaderLibrary(URL(folder), error);
        if (library == nullptr) return nullptr;
        const std::string name = options.function.empty() ? onlyFunction(options, *library) : options.function;
        const auto shader = library->makeShader(name, ShaderType::computeShader, error);
        if (shader == nullptr) return nullptr;
        shader->setShaderResource(from, 0);
        shader->setShaderResource(to, 1);
        auto pass = ComputePass::create(device_, shader, to, error);
        auto effect = pass != nullptr ? Effect::create(device_, error) : nullptr;
        if (effect != nullptr) effect->add(std::move(pass), "apply");
        return effect;
    });
}

std::string Session::onlyFunction(const LibraryOptions& options, const ShaderLibrary& library) {
    const std::vector<std::string> names = library.functionNames(ShaderType::computeShader);
    if (names.size() == 1) return names.front();
    if (names.empty()) throw Failure(options.library, "no compute function in it");
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    throw Failure(options.library, "which of its functions? Choose by --function: " + list);
}

void runToEnd(Effect& effect, const std::string& file) {
    orFail(file, [&](NSError* error) { return effect.applyAndWait(error); });
}

void waitFor(MTLCommandBuffer& work, const std::string& file) {
    work.waitUntilCompleted();
    if (work.status() != MTLCommandBufferStatus::error) return;
    throw Failure(file, "the GPU's work failed: " + work.error().value_or(NSError()).localizedDescription());
}

Pixels pixelsOf(const Texture& texture, const std::string& file) {
    auto pixels = *orFail(file, [&](NSError* error) { return readPixels(texture, error); });
    assert(pixels.pixelFormat == MTLPixelFormat::bgra8Unorm);
    return pixels;
}

}  // namespace ondrix::tools
