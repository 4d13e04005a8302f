// The operations of `Device` that make resources.

#include <algorithm>
#include <string>
#include <utility>

#include <ondrix/core/Device.h>
#include <ondrix/core/Logger.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>
#include <ondrix/resources/ConstantBuffer.h>
#include <ondrix/resources/ConstantBytes.h>
#include <ondrix/resources/Sampler.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/shaders/ShaderLibrary.h>
#include <ondrix/video/RenderViewTexture.h>
#include <ondrix/video/VideoTexture.h>

namespace ondrix {

namespace {

// Such as ["unknown", "shaderRead"].
std::string description(MTLTextureUsage usages) {
    constexpr std::pair<MTLTextureUsage, const char*> names[] = {{MTLTextureUsage::shaderRead, "shaderRead"},
                                                                 {MTLTextureUsage::shaderWrite, "shaderWrite"},
                                                                 {MTLTextureUsage::renderTarget, "renderTarget"},
                                                                 {MTLTextureUsage::pixelFormatView, "pixelFormatView"}};
    std::string text = "[\"unknown\"";
    for (const auto& [usage, name] : names) {
        if (contains(usages, usage)) text.append(", \"").append(name).append("\"");
    }
    return text + "]";
}

}  // namespace

std::shared_ptr<ShaderLibrary> Device::wrap(std::shared_ptr<MTLLibrary> mtlLibrary) {
    return std::shared_ptr<ShaderLibrary>(new ShaderLibrary(shared_from_this(), std::move(mtlLibrary)));
}

std::shared_ptr<ShaderLibrary> Device::makeShaderLibrary(AnyClass bundleForClass, const std::string& resourceName,
                                                         const std::string& extension) {
    const auto url = NSBundle::bundleForClass(bundleForClass)->URLForResource(resourceName, extension);
    if (!url) {
        Logger::gfx().error("Unable to locate the requested resource by the name '%s.%s'", resourceName.c_str(),
                            extension.c_str());
        return nullptr;
    }
    return makeShaderLibrary(*url);
}

std::shared_ptr<ShaderLibrary> Device::makeShaderLibrary(const URL& fromURL) {
    NSError error;
    auto mtlLibrary = mtlDevice_->makeLibrary(fromURL, &error);
    if (mtlLibrary == nullptr) {
        Logger::gfx().error("Failed to create shader library from URL %s: %s", fromURL.description().c_str(),
                            error.localizedDescription().c_str());
        return nullptr;
    }
    return wrap(std::move(mtlLibrary));
}

std::shared_ptr<ShaderLibrary> Device::makeDefaultShaderLibrary() {
    auto mtlLibrary = mtlDevice_->makeDefaultLibrary();
    if (mtlLibrary == nullptr) {
        Logger::gfx().error("Failed to create default shader library.");
        return nullptr;
    }
    return wrap(std::move(mtlLibrary));
}

std::shared_ptr<ShaderLibrary> Device::makeDefaultShaderLibrary(const NSBundle& bundle) {
    auto mtlLibrary = mtlDevice_->makeDefaultLibrary(bundle, nullptr);
    if (mtlLibrary == nullptr) {
        Logger::gfx().error("Failed to create default shader library for bundle.");
        return nullptr;
    }
    return wrap(std::move(mtlLibrary));
}

std::shared_ptr<ConstantBuffer> Device::makeConstantBuffer(const void* withData, Int length) {
    auto mtlBuffer = mtlDevice_->makeBuffer(length, 0);
    if (mtlBuffer == nullptr) {
        Logger::gfx().error("Failed to make constant buffer of length %ld.", length);
        return nullptr;
    }
    writeConstants(*mtlBuffer, withData, length);
    return std::shared_ptr<ConstantBuffer>(new ConstantBuffer(shared_from_this(), std::move(mtlBuffer)));
}

std::shared_ptr<Sampler> Device::makeSampler(MTLSamplerMinMagFilter minFilter, MTLSamplerMinMagFilter magFilter,
                                             MTLSamplerAddressMode sAddressMode, MTLSamplerAddressMode tAddressMode,
                                             Int maxAnisotropy, MTLSamplerBorderColor borderColor) {
    MTLSamplerDescriptor descriptor;
    descriptor.minFilter = minFilter;
    descriptor.magFilter = magFilter;
    descriptor.sAddressMode = sAddressMode;
    descriptor.tAddressMode = tAddressMode;
    descriptor.borderColor = borderColor;
    descriptor.maxAnisotropy = static_cast<std::uint64_t>(maxAnisotropy);
    auto mtlSampler = mtlDevice_->makeSamplerState(descriptor);
    if (mtlSampler == nullptr) {
        Logger::gfx().error("Failed to create Metal sampler state.");
        return nullptr;
    }
    return std::shared_ptr<Sampler>(new Sampler(shared_from_this(), std::move(mtlSampler)));
}

std::shared_ptr<Texture> Device::wrap(std::shared_ptr<MTLTexture> mtlTexture) {
    return std::shared_ptr<Texture>(new Texture(shared_from_this(), std::move(mtlTexture)));
}

std::shared_ptr<MTLTexture> Device::loadMTLTexture(const URL& fromURL, bool sRGB, NSError& error) {
    return MTKTextureLoader(mtlDevice_).newTexture(fromURL, {{MTKTextureLoader::Option::SRGB, sRGB}}, &error);
}

std::shared_ptr<Texture> Device::makeTexture(const URL& fromURL, bool sRGB) {
    NSError error;
    auto mtlTexture = loadMTLTexture(fromURL, sRGB, error);
    if (mtlTexture == nullptr) {
        Logger::gfx().error("Failed to load texture from %s: %s", fromURL.description().c_str(),
                            error.localizedDescription().c_str());
        return nullptr;
    }
    return wrap(std::move(mtlTexture));
}

std::shared_ptr<Texture> Device::makeTexture(const NSBundle& fromBundle, const std::string& fileName,
                                             const std::string& fileExtension, bool sRGB) {
    const auto url = fromBundle.URLForResource(fileName, fileExtension);
    if (!url) {
        Logger::gfx().error("Unable to locate the specified resource file: %s.%s in the bundle.", fileName.c_str(),
                            fileExtension.c_str());
        return nullptr;
    }
    NSError error;
    auto mtlTexture = loadMTLTexture(*url, sRGB, error);
    if (mtlTexture == nullptr) {
        Logger::gfx().error("Failed to load texture %s.%s from bundle: %s", fileName.c_str(), fileExtension.c_str(),
                            error.localizedDescription().c_str());
        return nullptr;
    }
    return wrap(std::move(mtlTexture));
}

std::shared_ptr<Texture> Device::makeTexture(Int width, Int height, MTLPixelFormat pixelFormat,
                                             MTLTextureUsage usages) {
    auto mtlTexture = makeMTLTexture(width, height, pixelFormat, usages);
    return mtlTexture != nullptr ? wrap(std::move(mtlTexture)) : nullptr;
}

std::shared_ptr<Texture> Device::makeTexture(Size2<Int> size, MTLPixelFormat pixelFormat, MTLTextureUsage usages) {
    auto mtlTexture = makeMTLTexture(size.width(), size.height(), pixelFormat, usages);
    return mtlTexture != nullptr ? wrap(std::move(mtlTexture)) : nullptr;
}

std::shared_ptr<RenderViewTexture> Device::makeRenderViewTexture(const std::shared_ptr<MTKView>& view) {
    std::shared_ptr<RenderViewTexture> texture(new RenderViewTexture(shared_from_this()));
    texture->start(view);
    return texture;
}

std::shared_ptr<VideoTexture> Device::makeVideoTexture(std::function<void(VideoTexture&)> frameAvailable) {
    return std::shared_ptr<VideoTexture>(new VideoTexture(shared_from_this(), std::move(frameAvailable)));
}

std::shared_ptr<MTLTexture> Device::makeMTLTexture(Int width, Int height, MTLPixelFormat pixelFormat,
                                                   MTLTextureUsage usages) {
    if (width < 1 || height < 1) {
        Logger::gfx().error("Attempt to create texture with invalid size. (%ldx%ld)", width, height);
    }
    auto descriptor =
        MTLTextureDescriptor::texture2DDescriptor(pixelFormat, static_cast<std::uint64_t>(std::max<Int>(width, 1)),
                                                  static_cast<std::uint64_t>(std::max<Int>(height, 1)), false);
    descriptor.usage = usages;
    auto mtlTexture = mtlDevice_->makeTexture(descriptor);
    if (mtlTexture == nullptr) {
        Logger::gfx().error("Failed to create a new %ldx%ld texture with pixel format '%s' and usages '%s'.", width,
                            height, ondrix::description(pixelFormat).c_str(), description(usages).c_str());
    }
    return mtlTexture;
}

}  // namespace ondrix
