#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/Device.h>
#include <ondrix/core/Failure.h>
#include <ondrix/core/FrameworkBundle.h>
#include <ondrix/core/Logger.h>
#include <ondrix/core/ResourceTracker.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>
#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/simd/simd.h>
#include <ondrix/resources/ConstantBuffer.h>
#include <ondrix/resources/ConstantBytes.h>
#include <ondrix/resources/Sampler.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/shaders/Mesh.h>
#include <ondrix/shaders/ShaderLibrary.h>
#include <ondrix/video/RenderViewTexture.h>
#include <ondrix/video/VideoTexture.h>

namespace ondrix {

namespace {

// One vertex of the quad, as vertex functions read it.
struct Vertex_PosTexcoord {
    simd_float4 position;  // the fourth lane belongs to the three-float vector's 16 bytes
    simd_float2 texCoords;
    float padding[2] = {0, 0};
};
static_assert(sizeof(Vertex_PosTexcoord) == 32 && offsetof(Vertex_PosTexcoord, texCoords) == 16);

constexpr Vertex_PosTexcoord quadVertices[] = {
    {{-1.0f, 1.0f, 0.0f, 0.0f}, {0.0f, 0.0f}},
    {{-1.0f, -1.0f, 0.0f, 0.0f}, {0.0f, 1.0f}},
    {{1.0f, -1.0f, 0.0f, 0.0f}, {1.0f, 1.0f}},
    {{1.0f, 1.0f, 0.0f, 0.0f}, {1.0f, 0.0f}},
};
constexpr std::uint16_t quadIndices[] = {0, 1, 3, 2};

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

Device::Device(std::shared_ptr<MTLDevice> mtlDevice) : mtlDevice_(std::move(mtlDevice)) {
    assert(mtlDevice_ != nullptr);
}

Device::~Device() = default;

std::shared_ptr<Device> Device::create(std::shared_ptr<MTLDevice> mtlDevice) {
    return Failure::orAbsent([&]() -> std::shared_ptr<Device> {
        const std::shared_ptr<Device> device(new Device(std::move(mtlDevice)));
        return device->start() ? device : nullptr;
    });
}

bool Device::start() {
    setDefaultQuadMesh(makeQuadMesh());
    if (defaultQuadMesh_ == nullptr) return false;
    setTextureConverter(makeTextureConverter());
    if (textureConverter_ == nullptr) return false;
    complete_ = true;
    return true;
}

std::shared_ptr<Mesh> Device::defaultQuadMesh() const {
    if (defaultQuadMesh_ == nullptr) return nullptr;
    return {shared_from_this(), defaultQuadMesh_.get()};
}

void Device::setDefaultQuadMesh(std::shared_ptr<Mesh> mesh) {
    defaultQuadMesh_ = std::move(mesh);
}

std::shared_ptr<MetalTextureConverter> Device::textureConverter() const {
    return textureConverter_;
}

void Device::setTextureConverter(std::shared_ptr<MetalTextureConverter> converter) {
    textureConverter_ = std::move(converter);
}

std::shared_ptr<ResourceTracker> Device::resourceTracker() const {
    return resourceTracker_;
}

void Device::setResourceTracker(std::shared_ptr<ResourceTracker> tracker) {
    resourceTracker_ = std::move(tracker);
}

void Device::prepareForRelease() {}

void Device::cleanup() {}

void Device::track(const std::shared_ptr<ManagedResource>& resource) {
    Failure::orAbsent([&] {
        if (const auto tracker = resourceTracker()) tracker->track(resource);
    });
}

void Device::untrack(const ManagedResource& resource) {
    if (const auto tracker = resourceTracker()) tracker->untrack(resource);
}

void Device::printTrackedResources() {
    Failure::orAbsent([&] {
        if (const auto tracker = resourceTracker()) tracker->printTrackedResources();
    });
}

std::shared_ptr<Mesh> Device::makeQuadMesh() {
    return Failure::wholeOrAbsent([&]() -> std::shared_ptr<Mesh> {
        const auto descriptor = MeshDescriptor::create(MTLPrimitiveType::triangleStrip, 4, sizeof(Vertex_PosTexcoord),
                                                       0, 4, MTLIndexType::uint16, 0);
        descriptor->addVertexAttribute(MTLVertexFormat::float3, 0, 0);
        descriptor->addVertexAttribute(MTLVertexFormat::float2, offsetof(Vertex_PosTexcoord, texCoords), 0);

        // The mesh that the device makes for itself, while it is being constructed, doesn't own it.
        const std::shared_ptr<Device> self =
            complete_ ? shared_from_this() : std::shared_ptr<Device>(std::shared_ptr<Device>(), this);
        auto mesh = Mesh::create(self, descriptor, quadVertices, quadIndices);
        if (mesh == nullptr) Logger::gfx().error("Failed to create quad mesh.");
        return mesh;
    });
}

std::shared_ptr<MetalTextureConverter> Device::makeTextureConverter() {
    auto converter = MetalTextureConverter::create(mtlDevice_);
    if (converter == nullptr) Logger::gfx().error("Failed to create Metal texture converter.");
    return converter;
}

std::shared_ptr<ShaderLibrary> Device::wrap(std::shared_ptr<MTLLibrary> mtlLibrary) {
    return std::shared_ptr<ShaderLibrary>(new ShaderLibrary(shared_from_this(), std::move(mtlLibrary)));
}

std::shared_ptr<ShaderLibrary> Device::makeShaderLibrary(AnyClass bundleForClass, const std::string& resourceName,
                                                         const std::string& extension) {
    return Failure::orAbsent([&]() -> std::shared_ptr<ShaderLibrary> {
        const auto bundle = os::orThrow([&] { return NSBundle::bundleForClass(bundleForClass); });
        const auto url = os::orThrow([&] { return bundle->URLForResource(resourceName, extension); });
        if (!url) {
            Logger::gfx().error("Unable to locate the requested resource by the name '%s.%s'", resourceName.c_str(),
                                extension.c_str());
            return nullptr;
        }
        return makeShaderLibrary(*url);
    });
}

std::shared_ptr<ShaderLibrary> Device::makeShaderLibrary(const URL& fromURL) {
    return Failure::orAbsent([&]() -> std::shared_ptr<ShaderLibrary> {
        NSError error;
        auto mtlLibrary = mtlDevice_->makeLibrary(fromURL, &error);
        if (mtlLibrary == nullptr) {
            if (!Logger::wantsErrors()) return nullptr;
            Logger::gfx().error("Failed to create shader library from URL %s: %s", fromURL.description().c_str(),
                                error.localizedDescription().c_str());
            return nullptr;
        }
        return wrap(std::move(mtlLibrary));
    });
}

std::shared_ptr<ShaderLibrary> Device::makeDefaultShaderLibrary() {
    return Failure::orAbsent([&]() -> std::shared_ptr<ShaderLibrary> {
        auto mtlLibrary = mtlDevice_->makeDefaultLibrary();
        if (mtlLibrary == nullptr) {
            NSError reason;  // which the device tells for a bundle only
            const auto bundle = NSBundle::mainBundle();
            if (Failure::current() != nullptr && bundle != nullptr &&
                !mtlDevice_->makeDefaultLibrary(*bundle, &reason)) {
                Failure::because(reason);
            }
            Logger::gfx().error("Failed to create default shader library.");
            return nullptr;
        }
        return wrap(std::move(mtlLibrary));
    });
}

std::shared_ptr<ShaderLibrary> Device::makeDefaultShaderLibrary(const NSBundle& bundle) {
    return Failure::orAbsent([&]() -> std::shared_ptr<ShaderLibrary> {
        NSError reason;
        auto mtlLibrary = mtlDevice_->makeDefaultLibrary(bundle, &reason);
        if (mtlLibrary == nullptr) {
            Failure::because(reason);
            Logger::gfx().error("Failed to create default shader library for bundle.");
            return nullptr;
        }
        return wrap(std::move(mtlLibrary));
    });
}

std::shared_ptr<ConstantBuffer> Device::makeConstantBuffer(const void* withData, Int length) {
    return Failure::orAbsent([&]() -> std::shared_ptr<ConstantBuffer> {
        auto mtlBuffer = mtlDevice_->makeBuffer(length, 0);
        if (mtlBuffer == nullptr) {
            Logger::gfx().error("Failed to make constant buffer of length %ld.", length);
            return nullptr;
        }
        writeConstants(*mtlBuffer, withData, length);
        return std::shared_ptr<ConstantBuffer>(new ConstantBuffer(shared_from_this(), std::move(mtlBuffer)));
    });
}

std::shared_ptr<Sampler> Device::makeSampler(MTLSamplerMinMagFilter minFilter, MTLSamplerMinMagFilter magFilter,
                                             MTLSamplerAddressMode sAddressMode, MTLSamplerAddressMode tAddressMode,
                                             Int maxAnisotropy, MTLSamplerBorderColor borderColor) {
    return Failure::orAbsent([&]() -> std::shared_ptr<Sampler> {
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
    });
}

std::shared_ptr<Texture> Device::makeTexture(std::shared_ptr<MTLTexture> mtlTexture) {
    return Failure::orAbsent([&] {
        assert(mtlTexture != nullptr);
        return std::shared_ptr<Texture>(new Texture(shared_from_this(), std::move(mtlTexture)));
    });
}

std::shared_ptr<MTLTexture> Device::loadMTLTexture(const URL& fromURL, bool sRGB, NSError& error) {
    return MTKTextureLoader(mtlDevice_).newTexture(fromURL, {{MTKTextureLoader::Option::SRGB, sRGB}}, &error);
}

std::shared_ptr<Texture> Device::makeTexture(const URL& fromURL, bool sRGB) {
    return Failure::orAbsent([&]() -> std::shared_ptr<Texture> {
        NSError error;
        auto mtlTexture = loadMTLTexture(fromURL, sRGB, error);
        if (mtlTexture == nullptr) {
            if (!Logger::wantsErrors()) return nullptr;
            Logger::gfx().error("Failed to load texture from %s: %s", fromURL.description().c_str(),
                                error.localizedDescription().c_str());
            return nullptr;
        }
        return makeTexture(std::move(mtlTexture));
    });
}

std::shared_ptr<Texture> Device::makeTexture(const NSBundle& fromBundle, const std::string& fileName,
                                             const std::string& fileExtension, bool sRGB) {
    return Failure::orAbsent([&]() -> std::shared_ptr<Texture> {
        const auto url = os::orThrow([&] { return fromBundle.URLForResource(fileName, fileExtension); });
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
        return makeTexture(std::move(mtlTexture));
    });
}

std::shared_ptr<Texture> Device::makeTexture(Int width, Int height, MTLPixelFormat pixelFormat,
                                             MTLTextureUsage usages) {
    return Failure::orAbsent([&] {
        auto mtlTexture = makeMTLTexture(width, height, pixelFormat, usages);
        return mtlTexture != nullptr ? makeTexture(std::move(mtlTexture)) : nullptr;
    });
}

std::shared_ptr<Texture> Device::makeTexture(Size2<Int> size, MTLPixelFormat pixelFormat, MTLTextureUsage usages) {
    return Failure::orAbsent([&] {
        auto mtlTexture = makeMTLTexture(size.width(), size.height(), pixelFormat, usages);
        return mtlTexture != nullptr ? makeTexture(std::move(mtlTexture)) : nullptr;
    });
}

std::shared_ptr<RenderViewTexture> Device::makeRenderViewTexture(const std::shared_ptr<MTKView>& view) {
    return Failure::orAbsent([&] {
        std::shared_ptr<RenderViewTexture> texture(new RenderViewTexture(shared_from_this()));
        texture->start(view);
        return texture;
    });
}

std::shared_ptr<VideoTexture> Device::makeVideoTexture(std::function<void(VideoTexture&)> frameAvailable) {
    return Failure::orAbsent(
        [&] { return std::shared_ptr<VideoTexture>(new VideoTexture(shared_from_this(), std::move(frameAvailable))); });
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
    if (mtlTexture == nullptr && Logger::wantsErrors()) {
        Logger::gfx().error("Failed to create a new %ldx%ld texture with pixel format '%s' and usages '%s'.", width,
                            height, ondrix::description(pixelFormat).c_str(), description(usages).c_str());
    }
    return mtlTexture;
}

// With the reason for the caller. Each goes through the overridable operation.

std::shared_ptr<Device> Device::create(std::shared_ptr<MTLDevice> mtlDevice, NSError* error) {
    return Failure::toldTo(error, [&] { return create(std::move(mtlDevice)); });
}

std::shared_ptr<ShaderLibrary> Device::makeFrameworkShaderLibrary(NSError* error) {
    return Failure::toldTo(error, [&] { return makeDefaultShaderLibrary(*frameworkBundle()); });
}

std::shared_ptr<ShaderLibrary> Device::makeShaderLibrary(AnyClass bundleForClass, const std::string& resourceName,
                                                         const std::string& extension, NSError* error) {
    return Failure::toldTo(error, [&] { return makeShaderLibrary(bundleForClass, resourceName, extension); });
}

std::shared_ptr<ShaderLibrary> Device::makeShaderLibrary(const URL& fromURL, NSError* error) {
    return Failure::toldTo(error, [&] { return makeShaderLibrary(fromURL); });
}

std::shared_ptr<ShaderLibrary> Device::makeDefaultShaderLibrary(NSError* error) {
    return Failure::toldTo(error, [&] { return makeDefaultShaderLibrary(); });
}

std::shared_ptr<ShaderLibrary> Device::makeDefaultShaderLibrary(const NSBundle& bundle, NSError* error) {
    return Failure::toldTo(error, [&] { return makeDefaultShaderLibrary(bundle); });
}

std::shared_ptr<ConstantBuffer> Device::makeConstantBuffer(const void* withData, Int length, NSError* error) {
    return Failure::toldTo(error, [&] { return makeConstantBuffer(withData, length); });
}

std::shared_ptr<Sampler> Device::makeSampler(MTLSamplerMinMagFilter minFilter, MTLSamplerMinMagFilter magFilter,
                                             MTLSamplerAddressMode sAddressMode, MTLSamplerAddressMode tAddressMode,
                                             Int maxAnisotropy, MTLSamplerBorderColor borderColor, NSError* error) {
    return Failure::toldTo(error, [&] {
        return makeSampler(minFilter, magFilter, sAddressMode, tAddressMode, maxAnisotropy, borderColor);
    });
}

std::shared_ptr<Texture> Device::makeTexture(const URL& fromURL, bool sRGB, NSError* error) {
    return Failure::toldTo(error, [&] { return makeTexture(fromURL, sRGB); });
}

std::shared_ptr<Texture> Device::makeTexture(const NSBundle& fromBundle, const std::string& fileName,
                                             const std::string& fileExtension, bool sRGB, NSError* error) {
    return Failure::toldTo(error, [&] { return makeTexture(fromBundle, fileName, fileExtension, sRGB); });
}

std::shared_ptr<Texture> Device::makeTexture(Int width, Int height, MTLPixelFormat pixelFormat, MTLTextureUsage usages,
                                             NSError* error) {
    return Failure::toldTo(error, [&] { return makeTexture(width, height, pixelFormat, usages); });
}

std::shared_ptr<Texture> Device::makeTexture(Size2<Int> size, MTLPixelFormat pixelFormat, MTLTextureUsage usages,
                                             NSError* error) {
    return Failure::toldTo(error, [&] { return makeTexture(size, pixelFormat, usages); });
}

std::shared_ptr<Mesh> Device::makeQuadMesh(NSError* error) {
    return Failure::toldTo(error, [&] { return makeQuadMesh(); });
}

}  // namespace ondrix
