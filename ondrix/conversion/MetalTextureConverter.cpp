#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/conversion/YUVToRGBConstants.h>
#include <ondrix/core/FrameworkBundle.h>
#include <ondrix/core/Logger.h>

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
    const YUVFormats format = getYUVPixelBufferFormat(*from);
    const Size2<Int> frameSize = size(*from);
    if (format != YUVFormats::Unknown) return convertNV12(from, frameSize, format);
    return wrapPlane(from, MTLPixelFormat::bgra8Unorm, frameSize, 0);
}

std::shared_ptr<MTLTexture> MetalTextureConverter::wrapPlane(const std::shared_ptr<CVPixelBuffer>& pixelBuffer,
                                                             MTLPixelFormat pixelFormat, Size2<Int> planeSize,
                                                             Int plane) {
    std::shared_ptr<CVMetalTexture> wrapper;
    const CVReturn status = CVMetalTextureCacheCreateTextureFromImage(
        *mtlTextureCache_, pixelBuffer, pixelFormat, planeSize.width(), planeSize.height(), plane, &wrapper);
    if (status != kCVReturnSuccess || wrapper == nullptr) return nullptr;
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
    if (!prepareYUVConverterResources(width, height, format) || yuvConverter_ == nullptr ||
        !hasSize(yuvConvOutputTexture_.get(), width, height)) {
        Logger::gfx().error("Failed to prepare YUV converter resources.");
        return nullptr;
    }
    if (!yuvConverter_->run({{0, planes.luma}, {1, planes.chroma}, {2, yuvConvOutputTexture_}}, width, height, nullptr,
                            true)) {
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

}  // namespace ondrix
