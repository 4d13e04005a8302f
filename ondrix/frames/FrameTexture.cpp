#include <algorithm>
#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/frames/FrameFunction.h>
#include <ondrix/frames/FrameLayout.h>
#include <ondrix/frames/FrameTexture.h>

namespace ondrix {

namespace {

/// More are not kept: a few frames on their way, and a few sizes.
constexpr std::size_t mostImages = 8;

}  // namespace

FrameTexture::FrameTexture(std::shared_ptr<Device> device, MTLPixelFormat pixelFormat)
    : Texture(std::move(device), nullptr), pixelFormat_(pixelFormat) {}

FrameTexture::~FrameTexture() = default;

std::shared_ptr<FrameTexture> FrameTexture::create(std::shared_ptr<Device> device, MTLPixelFormat pixelFormat,
                                                   NSError* error) {
    assert(device != nullptr);
    return Failure::toldTo(error, [&]() -> std::shared_ptr<FrameTexture> {
        std::shared_ptr<FrameTexture> texture(new FrameTexture(std::move(device), pixelFormat));
        return texture->start() ? texture : nullptr;
    });
}

bool FrameTexture::start() {
    images_.reserve(mostImages);
    return functionFor(*FrameLayout::of(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange), false) != nullptr;
}

const FrameFunction* FrameTexture::functionFor(const FrameLayout& layout, bool isWide) {
    constexpr const char* names[] = {"Ondrix::Frames::ReadNV12", "Ondrix::Frames::ReadI420",
                                     "Ondrix::Frames::ReadP010", "Ondrix::Frames::ReadI010",
                                     "Ondrix::Frames::Read",     "Ondrix::Frames::ReadGrey",
                                     "Ondrix::Frames::ReadWide", "Ondrix::Frames::ReadWidePicture"};
    std::size_t index = 4;
    if (isWide) {
        index = layout.kind == FrameLayout::Kind::picture ? 7 : 6;
    } else if (layout.kind == FrameLayout::Kind::grey) {
        index = 5;
    } else if (layout.halvesWidth && layout.halvesHeight) {
        index = (layout.bits > 8 ? 2 : 0) + (layout.kind == FrameLayout::Kind::planar ? 1 : 0);
    }
    auto& function = functions_[index];
    if (function == nullptr) function = FrameFunction::make(*device()->mtlDevice(), names[index]);
    return function.get();
}

bool FrameTexture::show(const std::shared_ptr<CVPixelBuffer>& frame, MTLCommandBuffer& commandBuffer, NSError* error) {
    assert(frame != nullptr);
    return Failure::toldTo(error, [&] {
        const auto self = shared_from_this();  // an observer may drop the texture
        auto image = convert(frame, commandBuffer);
        if (image == nullptr) return false;
        setMtlTexture(std::move(image));
        if (const Size2<Int> shown = size(); shown != size_) {
            size_ = shown;
            delegates().invoke([&](TextureDelegate& delegate) { delegate.texture(*this, shown); });
        }
        return true;
    });
}

std::shared_ptr<MTLTexture> FrameTexture::convert(const std::shared_ptr<CVPixelBuffer>& frame,
                                                  MTLCommandBuffer& commandBuffer) {
    const auto layout = FrameLayout::of(CVPixelBufferGetPixelFormatType(*frame));
    if (!layout) {
        Logger::gfx().error("Failed to show a frame of an unknown pixel format.");
        return nullptr;
    }
    checkAttachments(*frame);
    const FrameColours colours = FrameColours::of(*frame);
    FrameFunction::Textures textures;
    for (int plane = 0; plane < layout->planeCount(); ++plane) {
        textures[static_cast<std::size_t>(plane)] = layout->wrap(*device()->mtlDevice(), frame, plane);
        if (textures[static_cast<std::size_t>(plane)] == nullptr) return nullptr;
    }
    const bool isWide = colours.isWide();
    if (layout->kind == FrameLayout::Kind::picture && !isWide) return textures[0];

    auto image = freeImage(textures[0]->width(), textures[0]->height());
    if (image == nullptr) {
        Logger::gfx().error("Failed to make an image for the frame.");
        return nullptr;
    }
    const FrameFunction* const function = functionFor(*layout, isWide);
    if (function == nullptr) return nullptr;
    // Functions take three planes; the weights of what a grey frame lacks are 0.
    if (layout->kind == FrameLayout::Kind::grey) textures[1] = textures[0];
    if (layout->kind != FrameLayout::Kind::planar) textures[2] = textures[1];
    textures[3] = image;
    const FrameReadConstants constants = layout->readConstants(colours);
    FrameFunction::Bytes toneBytes;
    if (isWide) {
        if (tone_ == nullptr || !(toneColours_ == colours)) {
            tone_ = std::make_unique<FrameToneConstants>(FrameLayout::toneConstants(colours));
            toneColours_ = colours;
        }
        toneBytes = {tone_.get(), sizeof *tone_};
    }
    return function->encode(commandBuffer, textures, *image, {&constants, sizeof constants}, toneBytes) ? image
                                                                                                        : nullptr;
}

std::shared_ptr<MTLTexture> FrameTexture::freeImage(std::uint64_t width, std::uint64_t height) {
    // Nobody can begin to use one that is held here only, or shown while no command buffer needs it any more. The
    // latter is likely to be in the caches.
    const MTLTexture* const shown = mtlTexture().get();
    const auto isFree = [shown](const auto& image) { return image.use_count() == (image.get() == shown ? 2 : 1); };
    const auto found = std::find_if(images_.begin(), images_.end(), [&](const auto& image) {
        return image->width() == width && image->height() == height && isFree(image);
    });
    if (found != images_.end()) return *found;
    if (images_.size() == mostImages) {
        const auto oldest = std::find_if(images_.begin(), images_.end(), isFree);
        images_.erase(oldest != images_.end() ? oldest : images_.begin());
    }
    auto descriptor = MTLTextureDescriptor::texture2DDescriptor(pixelFormat_, width, height, false);
    descriptor.usage = MTLTextureUsage::shaderRead | MTLTextureUsage::shaderWrite | MTLTextureUsage::renderTarget;
    auto image = device()->mtlDevice()->makeTexture(descriptor);
    if (image != nullptr) images_.push_back(image);
    return image;
}

void FrameTexture::checkAttachments(const CVPixelBuffer& frame) {
    const std::string_view unknown = FrameColours::unknownOf(frame);
    if (unknown.empty() || unknown == unknownText_) return;
    unknownText_ = unknown;
    Logger::gfx().info("Frames state the colours '%s', which are unknown and taken as not stated.",
                       unknownText_.c_str());
}

}  // namespace ondrix
