#pragma once

#include <functional>
#include <memory>
#include <string>

#include <ondrix/core/ManagedResource.h>
#include <ondrix/platform/foundation/NSBundle.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>
#include <ondrix/platform/metal/MTLDevice.h>
#include <ondrix/types/Int.h>
#include <ondrix/types/Size2.h>

namespace ondrix {

class ConstantBuffer;
class Mesh;
class MetalTextureConverter;
class MTKView;
class RenderViewTexture;
class ResourceTracker;
class Sampler;
class ShaderLibrary;
class Texture;
class VideoTexture;

/// One GPU and the factory of everything on it. Every object made here holds its device, so a device lives as long as
/// anything made from it; the device itself holds only its quad mesh and its texture converter. A factory that fails
/// logs one message, returns null and leaves the device as it was, also where memory runs out; with a trailing
/// `NSError*` that isn't null it writes the reason there and logs nothing. After construction nothing changes, so
/// factories may be used from any thread.
class Device : public ManagedResource, public std::enable_shared_from_this<Device> {
public:
    /// Null, with a message, when the quad mesh or the texture converter can't be made.
    [[nodiscard]] static std::shared_ptr<Device> create(std::shared_ptr<MTLDevice> mtlDevice);
    [[nodiscard]] static std::shared_ptr<Device> create(std::shared_ptr<MTLDevice> mtlDevice, NSError* error);
    ~Device() override;

    [[nodiscard]] const std::shared_ptr<MTLDevice>& mtlDevice() const noexcept { return mtlDevice_; }
    /// A strip of two triangles over the whole output, texture coordinate (0, 0) at the top left; holding it holds the
    /// device.
    [[nodiscard]] virtual std::shared_ptr<Mesh> defaultQuadMesh() const;

protected:
    virtual void setDefaultQuadMesh(std::shared_ptr<Mesh> mesh);

public:
    [[nodiscard]] virtual std::shared_ptr<MetalTextureConverter> textureConverter() const;

protected:
    virtual void setTextureConverter(std::shared_ptr<MetalTextureConverter> converter);
    [[nodiscard]] virtual std::shared_ptr<ResourceTracker> resourceTracker() const;
    virtual void setResourceTracker(std::shared_ptr<ResourceTracker> tracker);

public:
    void prepareForRelease() override;  ///< does nothing
    void cleanup() override;            ///< does nothing

    /// Forward to the device's resource tracker; without one, which is how devices are made, they do nothing.
    virtual void track(const std::shared_ptr<ManagedResource>& resource);
    virtual void untrack(const ManagedResource& resource);
    virtual void printTrackedResources();

    /// The library that lies as `resourceName.extension` in the bundle of a class.
    [[nodiscard]] virtual std::shared_ptr<ShaderLibrary> makeShaderLibrary(AnyClass bundleForClass,
                                                                           const std::string& resourceName,
                                                                           const std::string& extension);
    [[nodiscard]] virtual std::shared_ptr<ShaderLibrary> makeShaderLibrary(const URL& fromURL);
    /// The default library of the main bundle.
    [[nodiscard]] virtual std::shared_ptr<ShaderLibrary> makeDefaultShaderLibrary();
    [[nodiscard]] virtual std::shared_ptr<ShaderLibrary> makeDefaultShaderLibrary(const NSBundle& bundle);

    /// A copy of `length` bytes, which `withData` must provide; `length` is at least 1.
    [[nodiscard]] virtual std::shared_ptr<ConstantBuffer> makeConstantBuffer(const void* withData, Int length);

    [[nodiscard]] virtual std::shared_ptr<Sampler> makeSampler(MTLSamplerMinMagFilter minFilter,
                                                               MTLSamplerMinMagFilter magFilter,
                                                               MTLSamplerAddressMode sAddressMode,
                                                               MTLSamplerAddressMode tAddressMode, Int maxAnisotropy,
                                                               MTLSamplerBorderColor borderColor);

    /// Load a picture file. With `sRGB` its colours are decoded when the texture is read, else taken as they are.
    [[nodiscard]] virtual std::shared_ptr<Texture> makeTexture(const URL& fromURL, bool sRGB);
    [[nodiscard]] virtual std::shared_ptr<Texture> makeTexture(const NSBundle& fromBundle, const std::string& fileName,
                                                               const std::string& fileExtension, bool sRGB);
    /// A texture of undefined content. A side below 1 is logged and raised to 1.
    [[nodiscard]] virtual std::shared_ptr<Texture> makeTexture(Int width, Int height, MTLPixelFormat pixelFormat,
                                                               MTLTextureUsage usages);
    [[nodiscard]] virtual std::shared_ptr<Texture> makeTexture(Size2<Int> size, MTLPixelFormat pixelFormat,
                                                               MTLTextureUsage usages);

    /// A texture that draws into the view.
    [[nodiscard]] virtual std::shared_ptr<RenderViewTexture> makeRenderViewTexture(
        const std::shared_ptr<MTKView>& view);
    /// A texture that shows the frames of a source, which it is given later. `frameAvailable`, which may be empty, is
    /// called after each frame.
    [[nodiscard]] virtual std::shared_ptr<VideoTexture> makeVideoTexture(
        std::function<void(VideoTexture&)> frameAvailable);

    /// A new mesh like the default one on every call.
    [[nodiscard]] virtual std::shared_ptr<Mesh> makeQuadMesh();

    /// A texture around one of the platform's, which must be of this device; its pixels are shared, not copied.
    [[nodiscard]] std::shared_ptr<Texture> makeTexture(std::shared_ptr<MTLTexture> mtlTexture);
    /// The library of the framework's own functions, such as "Ondrix::Blit::CS_Main".
    [[nodiscard]] std::shared_ptr<ShaderLibrary> makeFrameworkShaderLibrary(NSError* error);

    /// The operations above, with the reason of a failure for the caller; `error` may be null.
    [[nodiscard]] std::shared_ptr<ShaderLibrary> makeShaderLibrary(AnyClass bundleForClass,
                                                                   const std::string& resourceName,
                                                                   const std::string& extension, NSError* error);
    [[nodiscard]] std::shared_ptr<ShaderLibrary> makeShaderLibrary(const URL& fromURL, NSError* error);
    [[nodiscard]] std::shared_ptr<ShaderLibrary> makeDefaultShaderLibrary(NSError* error);
    [[nodiscard]] std::shared_ptr<ShaderLibrary> makeDefaultShaderLibrary(const NSBundle& bundle, NSError* error);
    [[nodiscard]] std::shared_ptr<ConstantBuffer> makeConstantBuffer(const void* withData, Int length, NSError* error);
    [[nodiscard]] std::shared_ptr<Sampler> makeSampler(MTLSamplerMinMagFilter minFilter,
                                                       MTLSamplerMinMagFilter magFilter,
                                                       MTLSamplerAddressMode sAddressMode,
                                                       MTLSamplerAddressMode tAddressMode, Int maxAnisotropy,
                                                       MTLSamplerBorderColor borderColor, NSError* error);
    [[nodiscard]] std::shared_ptr<Texture> makeTexture(const URL& fromURL, bool sRGB, NSError* error);
    [[nodiscard]] std::shared_ptr<Texture> makeTexture(const NSBundle& fromBundle, const std::string& fileName,
                                                       const std::string& fileExtension, bool sRGB, NSError* error);
    [[nodiscard]] std::shared_ptr<Texture> makeTexture(Int width, Int height, MTLPixelFormat pixelFormat,
                                                       MTLTextureUsage usages, NSError* error);
    [[nodiscard]] std::shared_ptr<Texture> makeTexture(Size2<Int> size, MTLPixelFormat pixelFormat,
                                                       MTLTextureUsage usages, NSError* error);
    [[nodiscard]] std::shared_ptr<Mesh> makeQuadMesh(NSError* error);

protected:
    explicit Device(std::shared_ptr<MTLDevice> mtlDevice);
    /// The second half of construction: makes the quad mesh and the converter. False when either can't be made.
    [[nodiscard]] bool start();

    [[nodiscard]] virtual std::shared_ptr<MetalTextureConverter> makeTextureConverter();

private:
    friend class Texture;

    /// A texture of given size without its wrapper. Null, with a message, when the GPU refuses.
    [[nodiscard]] std::shared_ptr<MTLTexture> makeMTLTexture(Int width, Int height, MTLPixelFormat pixelFormat,
                                                             MTLTextureUsage usages);
    [[nodiscard]] std::shared_ptr<MTLTexture> loadMTLTexture(const URL& fromURL, bool sRGB, NSError& error);
    [[nodiscard]] std::shared_ptr<ShaderLibrary> wrap(std::shared_ptr<MTLLibrary> mtlLibrary);

    std::shared_ptr<MTLDevice> mtlDevice_;
    /// Refers to this device without owning it, else neither would ever go.
    std::shared_ptr<Mesh> defaultQuadMesh_;
    std::shared_ptr<MetalTextureConverter> textureConverter_;
    std::shared_ptr<ResourceTracker> resourceTracker_;
    bool complete_ = false;
};

}  // namespace ondrix
