#pragma once

#include <memory>
#include <mutex>

#include <ondrix/conversion/MetalComputeCommandRunner.h>
#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/corevideo/CVMetalTextureCache.h>
#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/corevideo/CVPixelBufferPool.h>
#include <ondrix/platform/metal/MTLDevice.h>
#include <ondrix/types/Int.h>
#include <ondrix/types/Size2.h>
#include <ondrix/types/YUVFormats.h>

namespace ondrix {

class Texture;

/// Turns pixel buffers into textures and textures into pixel buffers without passing pixels through the CPU's hands.
/// Every device has one. It makes its GPU resources on first use and keeps them; what failed is tried again by the next
/// call. An operation with a trailing `NSError*` that isn't null tells the reason of a failure there and logs nothing.
/// Safe to use from any thread; but see `texture` for what all frames in NV12 share.
class MetalTextureConverter {
public:
    virtual ~MetalTextureConverter() = default;
    MetalTextureConverter(const MetalTextureConverter&) = delete;
    MetalTextureConverter& operator=(const MetalTextureConverter&) = delete;

    /// Stands for this class, and so for the framework, where a bundle is asked for.
    [[nodiscard]] static AnyClass anyClass() noexcept;

    [[nodiscard]] virtual YUVFormats getYUVPixelBufferFormat(const CVPixelBuffer& pixelBuffer) const;
    [[nodiscard]] virtual Size2<Int> size(const CVPixelBuffer& of) const;

    /// The picture as a texture in bgra8Unorm. '420v' and '420f' frames are converted to RGB, which waits for the GPU;
    /// all frames of one size share the returned texture, so each overwrites the one before, and a frame of another
    /// size leaves the old texture to its holders and gets a new one. Two NV12 videos on one device therefore see each
    /// other's frames unless each frame is used before the next is converted, on whatever thread. Every other format is
    /// taken for BGRA: the texture then aliases the pixel buffer and keeps it. Null when that isn't possible, with
    /// messages for '420v' and '420f' only.
    [[nodiscard]] virtual std::shared_ptr<MTLTexture> texture(const std::shared_ptr<CVPixelBuffer>& from);

    /// A pool whose buffers can be wrapped as textures; sides in pixels. Null, with a message, when there can be none.
    [[nodiscard]] virtual std::shared_ptr<CVPixelBufferPool> makePixelBufferPool(Int forWidth, Int height,
                                                                                 OSType pixelFormat);
    /// A buffer newly taken from the pool that holds the texture's pixels at its top left; waits for the GPU. The
    /// pool's buffers are BGRA and at least as large as the texture. The pixels are what GPU functions read: those of
    /// an sRGB format come out decoded, and so darker than they are stored; `readPixels` gives the stored ones. Null,
    /// with a message, when any of that fails; null without one for a texture without a GPU texture.
    [[nodiscard]] virtual std::shared_ptr<CVPixelBuffer> makePixelBuffer(Texture& from,
                                                                         CVPixelBufferPool& pixelBufferPool);
    /// The picture with the duration, presentation and decode time of the first of the original's samples, and nothing
    /// else of it. Null, with a message, when any of that fails.
    [[nodiscard]] virtual std::shared_ptr<CMSampleBuffer> makeSampleBuffer(std::shared_ptr<CVPixelBuffer> from,
                                                                           const CMSampleBuffer& originalSampleBuffer);

    [[nodiscard]] std::shared_ptr<MTLTexture> texture(const std::shared_ptr<CVPixelBuffer>& from, NSError* error);
    [[nodiscard]] std::shared_ptr<CVPixelBufferPool> makePixelBufferPool(Int forWidth, Int height, OSType pixelFormat,
                                                                         NSError* error);
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> makePixelBuffer(Texture& from, CVPixelBufferPool& pixelBufferPool,
                                                                 NSError* error);
    [[nodiscard]] std::shared_ptr<CMSampleBuffer> makeSampleBuffer(std::shared_ptr<CVPixelBuffer> from,
                                                                   const CMSampleBuffer& originalSampleBuffer,
                                                                   NSError* error);

private:
    friend class Device;

    struct NV12Planes {
        std::shared_ptr<MTLTexture> luma;
        std::shared_ptr<MTLTexture> chroma;
    };

    /// Null without a message when the texture cache can't be made.
    [[nodiscard]] static std::shared_ptr<MetalTextureConverter> create(std::shared_ptr<MTLDevice> device);
    MetalTextureConverter(std::shared_ptr<MTLDevice> mtlDevice, std::shared_ptr<CVMetalTextureCache> mtlTextureCache);

    /// The top left of one plane as a texture; null when it can't be wrapped.
    [[nodiscard]] std::shared_ptr<MTLTexture> wrapPlane(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                        MTLPixelFormat pixelFormat, Size2<Int> planeSize, Int plane);
    [[nodiscard]] std::shared_ptr<MTLTexture> wrapWholePlane(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                             MTLPixelFormat pixelFormat, Int plane);
    [[nodiscard]] NV12Planes extractNV12Planes(const std::shared_ptr<CVPixelBuffer>& pixelBuffer);
    [[nodiscard]] std::shared_ptr<MTLTexture> convertNV12(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                          Size2<Int> frameSize, YUVFormats format);
    /// With `mutex_` held.
    [[nodiscard]] bool prepareYUVConverterResources(Int width, Int height, YUVFormats format);
    [[nodiscard]] bool prepareBlitCommandRunner();
    [[nodiscard]] std::shared_ptr<MetalComputeCommandRunner> blitCommandRunner() const;

    std::shared_ptr<MTLDevice> mtlDevice_;
    std::shared_ptr<CVMetalTextureCache> mtlTextureCache_;
    mutable std::mutex mutex_;  ///< guards what follows; held while a frame is converted
    std::shared_ptr<MetalComputeCommandRunner> yuvConverter_;
    std::shared_ptr<MTLTexture> yuvConvOutputTexture_;
    YUVFormats prevYUVFormat_ = YUVFormats::Unknown;
    std::shared_ptr<MetalComputeCommandRunner> blitCommandRunner_;
};

}  // namespace ondrix
