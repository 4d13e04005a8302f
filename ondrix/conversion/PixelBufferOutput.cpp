// The operations of `MetalTextureConverter` that turn textures into pixel buffers, and those into sample buffers.

#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/FrameworkBundle.h>
#include <ondrix/core/Logger.h>
#include <ondrix/resources/Texture.h>

namespace ondrix {

namespace {

// Keeps a pixel buffer locked for reading and writing while it lives.
class BaseAddressLock {
public:
    explicit BaseAddressLock(CVPixelBuffer& pixelBuffer) : pixelBuffer_(pixelBuffer) {
        CVPixelBufferLockBaseAddress(pixelBuffer_, 0);
    }
    ~BaseAddressLock() { CVPixelBufferUnlockBaseAddress(pixelBuffer_, 0); }
    BaseAddressLock(const BaseAddressLock&) = delete;
    BaseAddressLock& operator=(const BaseAddressLock&) = delete;

private:
    CVPixelBuffer& pixelBuffer_;
};

}  // namespace

std::shared_ptr<CVPixelBufferPool> MetalTextureConverter::makePixelBufferPool(Int forWidth, Int height,
                                                                              OSType pixelFormat) {
    const CVAttributes poolAttributes = {{kCVPixelBufferPoolMinimumBufferCountKey, Int{1}}};
    const CVAttributes pixelBufferAttributes = {
        {kCVPixelBufferPixelFormatTypeKey, Int{pixelFormat}},
        {kCVPixelBufferWidthKey, forWidth},
        {kCVPixelBufferHeightKey, height},
        {kCVPixelBufferIOSurfacePropertiesKey, CVEmptyDictionary{}},
        {kCVPixelBufferBytesPerRowAlignmentKey, Int{64}},
    };
    std::shared_ptr<CVPixelBufferPool> pool;
    const CVReturn status = CVPixelBufferPoolCreate(&poolAttributes, &pixelBufferAttributes, &pool);
    if (status != kCVReturnSuccess) Logger::gfx().error("Failed to create new pixel buffer pool: %d", status);
    return pool;
}

std::shared_ptr<CVPixelBuffer> MetalTextureConverter::makePixelBuffer(Texture& from,
                                                                      CVPixelBufferPool& pixelBufferPool) {
    const auto source = from.mtlTexture();
    if (source == nullptr) return nullptr;

    std::shared_ptr<CVPixelBuffer> pixelBuffer;
    if (CVPixelBufferPoolCreatePixelBuffer(pixelBufferPool, &pixelBuffer) != kCVReturnSuccess ||
        pixelBuffer == nullptr) {
        Logger::gfx().error("Failed to allocate pixel buffer from pixel buffer pool.");
        return nullptr;
    }
    const BaseAddressLock lock(*pixelBuffer);
    const Size2<Int> sourceSize(static_cast<Int>(source->width()), static_cast<Int>(source->height()));
    const auto destination = wrapPlane(pixelBuffer, MTLPixelFormat::bgra8Unorm, sourceSize, 0);
    if (destination == nullptr) {
        Logger::gfx().error("Failed to create Metal texture from the output pixel buffer.");
        return nullptr;
    }
    if (!prepareBlitCommandRunner() || blitCommandRunner_ == nullptr) {
        Logger::gfx().error("Failed to prepare blit command runner.");
        return nullptr;
    }
    if (!blitCommandRunner_->run({{0, source}, {1, destination}}, sourceSize.width(), sourceSize.height(), nullptr,
                                 true)) {
        Logger::gfx().error("Failed to blit the textures.");
        return nullptr;
    }
    return pixelBuffer;
}

std::shared_ptr<CMSampleBuffer> MetalTextureConverter::makeSampleBuffer(std::shared_ptr<CVPixelBuffer> from,
                                                                        const CMSampleBuffer& originalSampleBuffer) {
    CMSampleTimingInfo timing;
    OSStatus status = CMSampleBufferGetSampleTimingInfo(originalSampleBuffer, 0, &timing);
    if (status != noErr) {
        Logger::gfx().error("Failed to get sample timing info: %d", status);
        return nullptr;
    }
    std::shared_ptr<CMFormatDescription> formatDescription;
    CMVideoFormatDescriptionCreateForImageBuffer(from, &formatDescription);
    if (formatDescription == nullptr) {
        Logger::gfx().error("Failed to create CMVideoFormatDescription.");
        return nullptr;
    }
    std::shared_ptr<CMSampleBuffer> sampleBuffer;
    status =
        CMSampleBufferCreateReadyWithImageBuffer(std::move(from), std::move(formatDescription), timing, &sampleBuffer);
    if (status != noErr) {
        Logger::gfx().error("Failed to create new CMSampleBuffer: %d", status);
        return nullptr;
    }
    return sampleBuffer;
}

bool MetalTextureConverter::prepareBlitCommandRunner() {
    if (blitCommandRunner_ != nullptr) return true;
    auto runner = MetalComputeCommandRunner::create(mtlDevice_, *frameworkBundle(), "Ondrix::Blit::CS_Main");
    if (runner == nullptr) {
        Logger::gfx().error("Unable to create the blit command runner.");
        return false;
    }
    blitCommandRunner_ = std::move(runner);
    return true;
}

}  // namespace ondrix
