#include "Session.h"

#include <algorithm>
#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/DeviceManager.h>
#include <ondrix/passes/ComputePass.h>
#include <ondrix/platform/foundation/NSBundle.h>
#include <ondrix/shaders/Shader.h>
#include <ondrix/shaders/ShaderLibrary.h>

#include "Picture.h"
#include "tools/system/Failure.h"

namespace ondrix::tools {

Session::Session() {
    os::setLogLevel(os::LogType::info);  // whatever ONDRIX_LOG says
    previousSink_ = os::setLogSink([this](const os::LogMessage& message) {
        if (message.category == "validation") return complain(std::string(message.text));
        if (message.type < os::LogType::error) return;  // the others are the reasons that the program gives
        const std::lock_guard lock(mutex_);
        messages_.emplace_back(message.text);
    });
}

Session::~Session() {
    os::setLogSink(std::move(previousSink_));
}

std::shared_ptr<Device> Session::openDevice(const std::string& file,
                                            std::initializer_list<FrameworkFunction> functions) {
    device_ = DeviceManager::shared().defaultDevice();
    if (device_ == nullptr) fail(file, "this machine has no GPU that Ondrix can use");
    if (functions.size() == 0) return device_;

    const auto bundle = NSBundle::bundleForClass(MetalTextureConverter::anyClass());
    const auto library = device_->makeDefaultShaderLibrary(*bundle);
    if (library == nullptr) {
        NSError reason;  // which the framework doesn't log
        if (device_->mtlDevice()->makeDefaultLibrary(*bundle, &reason) == nullptr)
            throw Failure(file, takeMessages() + " " + reason.localizedDescription());
        fail(file, "the framework's shader library can't be opened");
    }
    for (const FrameworkFunction& function : functions) {
        if (library->makeShader(function.name, function.type) == nullptr)
            fail(file, std::string("the framework's shader library lacks ") + function.name);
    }
    return device_;
}

std::shared_ptr<Texture> Session::loadPicture(const std::string& file) {
    const URL url{std::filesystem::path(file)};
    auto picture = device_->makeTexture(url, false);
    if (picture != nullptr) return picture;

    // The line begins with the file's name already, so what follows its URL in the message is enough.
    const std::string message = takeMessages();
    const std::string mark = url.description() + ": ";
    const std::size_t at = message.find(mark);
    throw Failure(file, at == std::string::npos ? message : message.substr(at + mark.size()));
}

std::shared_ptr<Texture> Session::makeOutput(PictureSize size, const std::string& file) {
    constexpr auto usages = MTLTextureUsage::renderTarget | MTLTextureUsage::shaderWrite | MTLTextureUsage::shaderRead;
    auto texture = device_->makeTexture(size.width, size.height, MTLPixelFormat::bgra8Unorm, usages);
    if (texture == nullptr) fail(file, "no memory for a picture of " + description(size));
    return texture;
}

std::shared_ptr<Effect> Session::makeFunctionEffect(const LibraryOptions& options, const std::filesystem::path& folder,
                                                    const std::shared_ptr<Texture>& from,
                                                    const std::shared_ptr<Texture>& to) {
    const auto library = device_->makeShaderLibrary(URL(folder));
    if (library == nullptr) fail(options.library, "not a shader library");
    const std::string function = options.function.empty() ? onlyFunction(options, folder) : options.function;
    const auto shader = library->makeShader(function, ShaderType::computeShader);
    if (shader == nullptr) fail(options.library, "no function " + function);
    shader->setShaderResource(from, 0);
    shader->setShaderResource(to, 1);
    auto effect = Effect::create(device_);
    effect->add(ComputePass::create(device_, shader, to), "apply");
    return effect;
}

std::string Session::onlyFunction(const LibraryOptions& options, const std::filesystem::path& folder) {
    const auto library = device_->mtlDevice()->makeLibrary(URL(folder), nullptr);
    std::vector<std::string> names;
    const std::vector<std::string> all = library != nullptr ? library->functionNames() : names;
    for (const std::string& name : all) {
        const auto function = library->makeFunction(name);
        if (function != nullptr && function->functionType() == MTLFunctionType::kernel) names.push_back(name);
    }
    if (names.size() == 1) return names.front();
    if (names.empty()) throw Failure(options.library, "no compute function in it");
    std::sort(names.begin(), names.end());
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    throw Failure(options.library, "which of its functions? Choose by --function: " + list);
}

void Session::run(Effect& effect, const std::string& file) {
    const auto queue = device_->mtlDevice()->makeCommandQueue();
    const auto commandBuffer = queue != nullptr ? queue->makeCommandBuffer() : nullptr;
    if (commandBuffer == nullptr) fail(file, "the device takes no commands");
    if (!effect.prepare() || !effect.encode(*commandBuffer)) fail(file, "the commands could not be encoded");
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
    if (const auto error = commandBuffer->error()) fail(file, error->localizedDescription());
}

void Session::savePicture(Texture& texture, const std::string& file) {
    const auto converter = device_->textureConverter();
    const auto pool = converter->makePixelBufferPool(texture.width(), texture.height(), kCVPixelFormatType_32BGRA);
    const auto buffer = pool != nullptr ? converter->makePixelBuffer(texture, *pool) : nullptr;
    if (buffer == nullptr) fail(file, "the pixels could not be read back");

    const LockedPixels lock(*buffer);
    writePicture(file,
                 {static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddress(*buffer)), CVPixelBufferGetWidth(*buffer),
                  CVPixelBufferGetHeight(*buffer), CVPixelBufferGetBytesPerRow(*buffer)});
}

void Session::fail(const std::string& file, const std::string& otherwise) {
    const std::string messages = takeMessages();
    throw Failure(file, messages.empty() ? otherwise : messages);
}

std::string Session::takeMessages() {
    const std::lock_guard lock(mutex_);
    std::string text;
    for (const std::string& message : std::exchange(messages_, {})) {
        if (!text.empty()) text += text.back() == '.' ? " " : "; ";
        text += message;
    }
    return text;
}

}  // namespace ondrix::tools
