#include <string>
#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/conversion/YUVToRGBConstants.h>
#include <ondrix/core/Failure.h>
#include <ondrix/core/FrameworkBundle.h>
#include <ondrix/core/Logger.h>
#include <ondrix/platform/corevideo/PixelBufferLock.h>
#include <ondrix/resources/Texture.h>

namespace ondrix {

namespace {

constexpr char codeOfThisClass = 0;

bool hasSize(const MTLTexture* texture, Int width, Int height) {
    return texture != nullptr && texture->width() == static_cast<std::uint64_t>(width) &&
           texture->height() == static_cast<std::uint64_t>(height);
}

}  // namespace

MetalTextureConverter::MetalTextureConverter(std::shared_ptr<MTLDevice> mtlDevice,
                                             std::shared_ptr<CVMetalTextureCache> mtlTextureCache)
    : mtlDevice_(std::move(mtlDevice)), mtlTextureCache_(std::move(mtlTextureCache)) {}

std::shared_ptr<MetalTextureConverter> MetalTextureConverter::create(std::shared_ptr<MTLDevice> device) {
    std::shared_ptr<CVMetalTextureCache> cache;
    if (CVMetalTextureCacheCreate(device, &cache) != kCVReturnSuccess) return nullptr;
    return std::shared_ptr<MetalTextureConverter>(new MetalTextureConverter(std::move(device), std::move(cache)));
}

AnyClass MetalTextureConverter::anyClass() noexcept {
    return {&codeOfThisClass};
}

YUVFormats MetalTextureConverter::getYUVPixelBufferFormat(const CVPixelBuffer& pixelBuffer) const {
    switch (CVPixelBufferGetPixelFormatType(pixelBuffer)) {
        case kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange:
            return YUVFormats::NV12VideoRange;
        case kCVPixelFormatType_420YpCbCr8BiPlanarFullRange:
            return YUVFormats::NV12FullRange;
        default:
            return YUVFormats::Unknown;
    }
}

Size2<Int> MetalTextureConverter::size(const CVPixelBuffer& of) const {
    return {CVPixelBufferGetWidth(of), CVPixelBufferGetHeight(of)};
}

std::shared_ptr<MTLTexture> MetalTextureConverter::texture(const std::shared_ptr<CVPixelBuffer>& from) {
    return Failure::orAbsent([&] {
        const YUVFormats format = getYUVPixelBufferFormat(*from);
        const Size2<Int> frameSize = size(*from);
        if (format != YUVFormats::Unknown) return convertNV12(from, frameSize, format);
        return wrapPlane(from, MTLPixelFormat::bgra8Unorm, frameSize, 0);
    });
}

std::shared_ptr<MTLTexture> MetalTextureConverter::wrapPlane(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                             MTLPixelFormat pixelFormat, Size2<Int> planeSize,
                                                             Int plane) {
    std::shared_ptr<CVMetalTexture> wrapper;
    const CVReturn status = CVMetalTextureCacheCreateTextureFromImage(
        *mtlTextureCache_, pixelBuffer, pixelFormat, planeSize.width(), planeSize.height(), plane, &wrapper);
    if (status != kCVReturnSuccess || wrapper == nullptr) {
        if (Failure::current() != nullptr) {
            const std::string code = std::to_string(status);
            Failure::because(NSError("The pixel buffer can't be wrapped as a texture, status " + code));
        }
        return nullptr;
    }
    return CVMetalTextureGetTexture(*wrapper);
}

std::shared_ptr<MTLTexture> MetalTextureConverter::wrapWholePlane(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                                  MTLPixelFormat pixelFormat, Int plane) {
    const Size2<Int> planeSize(CVPixelBufferGetWidthOfPlane(*pixelBuffer, plane),
                               CVPixelBufferGetHeightOfPlane(*pixelBuffer, plane));
    return wrapPlane(pixelBuffer, pixelFormat, planeSize, plane);
}

MetalTextureConverter::NV12Planes MetalTextureConverter::extractNV12Planes(
    const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
    auto luma = wrapWholePlane(pixelBuffer, MTLPixelFormat::r8Unorm, 0);
    auto chroma = wrapWholePlane(pixelBuffer, MTLPixelFormat::rg8Unorm, 1);
    if (luma == nullptr || chroma == nullptr) return {};
    return {std::move(luma), std::move(chroma)};
}

std::shared_ptr<MTLTexture> MetalTextureConverter::convertNV12(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                               Size2<Int> frameSize, YUVFormats format) {
    const NV12Planes planes = extractNV12Planes(pixelBuffer);
    if (planes.luma == nullptr || planes.chroma == nullptr) {
        Logger::gfx().error("Unable to extract YUV NV12 planes from the pixel buffer.");
        return nullptr;
    }
    const Int width = frameSize.width();
    const Int height = frameSize.height();
    // All frames share the output and the constants.
    const std::lock_guard lock(mutex_);
    if (!prepareYUVConverterResources(width, height, format) || yuvConverter_ == nullptr ||
        !hasSize(yuvConvOutputTexture_.get(), width, height)) {
        Logger::gfx().error("Failed to prepare YUV converter resources.");
        return nullptr;
    }
    if (!yuvConverter_->run({{0, planes.luma}, {1, planes.chroma}, {2, yuvConvOutputTexture_}}, width, height, nullptr,
                            true, nullptr)) {
        Logger::gfx().error("Failed to run YUV to RGB conversion.");
        return nullptr;
    }
    return yuvConvOutputTexture_;
}

bool MetalTextureConverter::prepareYUVConverterResources(Int width, Int height, YUVFormats format) {
    if (!hasSize(yuvConvOutputTexture_.get(), width, height)) {
        auto descriptor = MTLTextureDescriptor::texture2DDescriptor(
            MTLPixelFormat::bgra8Unorm, static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), false);
        descriptor.usage = MTLTextureUsage::shaderRead | MTLTextureUsage::shaderWrite;
        // Where the device makes none, the one of another size stays.
        if (auto texture = mtlDevice_->makeTexture(descriptor)) yuvConvOutputTexture_ = std::move(texture);
    }
    if (yuvConverter_ == nullptr) {
        auto runner = MetalComputeCommandRunner::create(mtlDevice_, *frameworkBundle(), "Ondrix::YUVtoRGB::CS_Main");
        if (runner == nullptr) {
            Logger::gfx().error("Unable to create YUV to RGB converter.");
            return false;
        }
        if (!runner->makeConstantBuffer(sizeof(YUVToRGBConstants), 0)) {
            Logger::gfx().error("Unable to create shader constant buffer for the YUV to RGB converter.");
            return false;
        }
        yuvConverter_ = std::move(runner);
    }
    if (format != prevYUVFormat_ && format != YUVFormats::Unknown) {
        if (!yuvConverter_->updateConstantBuffer(&yuvToRGBConstants(format), sizeof(YUVToRGBConstants), 0)) {
            return false;
        }
        prevYUVFormat_ = format;
    }
    return true;
}

std::shared_ptr<CVPixelBufferPool> MetalTextureConverter::makePixelBufferPool(Int forWidth, Int height,
                                                                              OSType pixelFormat) {
    return Failure::orAbsent([&] {
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
    });
}

std::shared_ptr<CVPixelBuffer> MetalTextureConverter::makePixelBuffer(Texture& from,
                                                                      CVPixelBufferPool& pixelBufferPool) {
    return Failure::orAbsent([&]() -> std::shared_ptr<CVPixelBuffer> {
        const auto source = from.mtlTexture();
        if (source == nullptr) {
            Failure::because("The texture has no image.");
            return nullptr;
        }
        std::shared_ptr<CVPixelBuffer> pixelBuffer;
        if (CVPixelBufferPoolCreatePixelBuffer(pixelBufferPool, &pixelBuffer) != kCVReturnSuccess ||
            pixelBuffer == nullptr) {
            Logger::gfx().error("Failed to allocate pixel buffer from pixel buffer pool.");
            return nullptr;
        }
        const PixelBufferLock lock(*pixelBuffer);
        const Size2<Int> sourceSize(static_cast<Int>(source->width()), static_cast<Int>(source->height()));
        const auto destination = wrapPlane(pixelBuffer, MTLPixelFormat::bgra8Unorm, sourceSize, 0);
        if (destination == nullptr) {
            Logger::gfx().error("Failed to create Metal texture from the output pixel buffer.");
            return nullptr;
        }
        const auto blitCommandRunner = prepareBlitCommandRunner() ? this->blitCommandRunner() : nullptr;
        if (blitCommandRunner == nullptr) {
            Logger::gfx().error("Failed to prepare blit command runner.");
            return nullptr;
        }
        if (!blitCommandRunner->run({{0, source}, {1, destination}}, sourceSize.width(), sourceSize.height(), nullptr,
                                    true, nullptr)) {
            Logger::gfx().error("Failed to blit the textures.");
            return nullptr;
        }
        return pixelBuffer;
    });
}

std::shared_ptr<CMSampleBuffer> MetalTextureConverter::makeSampleBuffer(std::shared_ptr<CVPixelBuffer> from,
                                                                        const CMSampleBuffer& originalSampleBuffer) {
    return Failure::orAbsent([&]() -> std::shared_ptr<CMSampleBuffer> {
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
        status = CMSampleBufferCreateReadyWithImageBuffer(std::move(from), std::move(formatDescription), timing,
                                                          &sampleBuffer);
        if (status != noErr) {
            Logger::gfx().error("Failed to create new CMSampleBuffer: %d", status);
            return nullptr;
        }
        return sampleBuffer;
    });
}

bool MetalTextureConverter::prepareBlitCommandRunner() {
    const std::lock_guard lock(mutex_);
    if (blitCommandRunner_ != nullptr) return true;
    auto runner = MetalComputeCommandRunner::create(mtlDevice_, *frameworkBundle(), "Ondrix::Blit::CS_Main");
    if (runner == nullptr) {
        Logger::gfx().error("Unable to create the blit command runner.");
        return false;
    }
    blitCommandRunner_ = std::move(runner);
    return true;
}

std::shared_ptr<MetalComputeCommandRunner> MetalTextureConverter::blitCommandRunner() const {
    const std::lock_guard lock(mutex_);
    return blitCommandRunner_;
}

std::shared_ptr<MTLTexture> MetalTextureConverter::texture(const std::shared_ptr<CVPixelBuffer>& from, NSError* error) {
    return Failure::toldTo(error, [&] { return texture(from); });
}

std::shared_ptr<CVPixelBufferPool> MetalTextureConverter::makePixelBufferPool(Int forWidth, Int height,
                                                                              OSType pixelFormat, NSError* error) {
    return Failure::toldTo(error, [&] { return makePixelBufferPool(forWidth, height, pixelFormat); });
}

std::shared_ptr<CVPixelBuffer> MetalTextureConverter::makePixelBuffer(Texture& from, CVPixelBufferPool& pixelBufferPool,
                                                                      NSError* error) {
    return Failure::toldTo(error, [&] { return makePixelBuffer(from, pixelBufferPool); });
}

std::shared_ptr<CMSampleBuffer> MetalTextureConverter::makeSampleBuffer(std::shared_ptr<CVPixelBuffer> from,
                                                                        const CMSampleBuffer& originalSampleBuffer,
                                                                        NSError* error) {
    return Failure::toldTo(error, [&] { return makeSampleBuffer(std::move(from), originalSampleBuffer); });
}

}  // namespace ondrix
