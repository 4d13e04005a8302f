#pragma once

#include <memory>
#include <optional>

#include <ondrix/passes/PlaceTexturePass.h>
#include <ondrix/passes/ResizeTexturePass.h>

namespace ondrix::tools {

/// How a picture is placed in another: turned clockwise, then fitted, then mirrored.
struct PresentationOptions {
    ContentMode mode = ContentMode::scaleAspectFit;
    ImageRotation rotation = ImageRotation::degrees0;
    bool flip = false;
    std::optional<ResizeFilter> filter = std::nullopt;  ///< area where it shrinks and linear elsewhere, if not given

    /// Whether a picture looks the same in another one of its size.
    [[nodiscard]] bool changesNothing() const noexcept { return rotation == ImageRotation::degrees0 && !flip; }
    /// Whether the turn exchanges width and height.
    [[nodiscard]] bool isQuarterTurn() const noexcept {
        return rotation == ImageRotation::degrees90 || rotation == ImageRotation::degrees270;
    }
};

/// Places one texture in another, while both may change their sizes. A linear filter draws; others resize the picture
/// before it is turned.
class PlacementPass final : public Pass {
public:
    /// The textures are held. The input needs no image before the first encode.
    PlacementPass(std::shared_ptr<Texture> input, std::shared_ptr<Texture> output, MTLPixelFormat outputPixelFormat,
                  PresentationOptions options);

    using Pass::encode;
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer) override;
    void sourceResolutionDidChange(Int /*width*/, Int /*height*/) override {}
    void outputResolutionDidChange(Int /*width*/, Int /*height*/) override {}

private:
    [[nodiscard]] ResizeFilter filter() const;
    /// Sides of the output before the turn.
    [[nodiscard]] Size2<Int> unturnedSize() const;
    [[nodiscard]] bool isTurned() const;
    /// Makes what draws `from`, once. False, with a message, where it can't.
    [[nodiscard]] bool makePlace(const std::shared_ptr<Texture>& from, ContentMode mode);
    [[nodiscard]] bool makeResize(ResizeFilter filter);

    std::shared_ptr<Texture> input_, output_;
    MTLPixelFormat outputPixelFormat_;
    PresentationOptions options_;
    std::shared_ptr<PlaceTexturePass> place_;    ///< of the input, or of the resized picture
    std::shared_ptr<ResizeTexturePass> resize_;  ///< made where it is needed first, like `resized_`
    std::shared_ptr<Texture> resized_;           ///< where it is turned afterwards
};

}  // namespace ondrix::tools
