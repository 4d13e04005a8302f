#pragma once

#include <memory>
#include <optional>

#include <ondrix/passes/ComputePass.h>
#include <ondrix/resources/UniformBuffer.h>
#include <ondrix/types/ContentMode.h>
#include <ondrix/types/ResizeFilter.h>

namespace ondrix {

/// A rectangle of an output in pixels, from its top-left corner. It may reach beyond the output.
struct ResizeRectangle {
    double x, y, width, height;
    friend bool operator==(const ResizeRectangle&, const ResizeRectangle&) = default;
};

/// Resizes an input texture into a rectangle of the output with a filter of any width: pixels of a small picture are
/// means over all that they cover of a large one. Beyond the input's edges lies the texel at the edge. Pixels whose
/// centres lie outside the rectangle become opaque black. Red, green, blue and alpha are filtered alike, those of sRGB
/// formats as light; a picture with straight alpha should be multiplied by it before.
///
/// Weights are exact; results in formats of 8 bits are at most 0.51 levels from exact arithmetic. The pass follows the
/// sizes of both textures at each encode; while they stay, it asks for no memory.
class ResizeTexturePass : public ComputePass {
public:
    /// Both textures are held; the output is one that compute functions may write. Null, with the reason in `error`
    /// (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<ResizeTexturePass> create(std::shared_ptr<Device> device,
                                                                   std::shared_ptr<Texture> inputTexture,
                                                                   std::shared_ptr<Texture> outputTexture,
                                                                   ResizeFilter filter, NSError* error);
    ~ResizeTexturePass() override;

    // All that is set takes effect at the next encode.

    [[nodiscard]] const std::shared_ptr<Texture>& inputTexture() const noexcept { return inputTexture_; }
    using ComputePass::set;
    void set(std::shared_ptr<Texture> inputTexture);
    [[nodiscard]] ResizeFilter filter() const noexcept { return filter_; }
    void set(ResizeFilter filter) { filter_ = filter; }
    /// How the picture lies in the output where no rectangle is set: at first over the whole of it.
    [[nodiscard]] ContentMode contentMode() const noexcept { return contentMode_; }
    void set(ContentMode contentMode) { contentMode_ = contentMode; }
    /// In place of what the content mode says; sides must be above 0 and all numbers at most 1e9.
    [[nodiscard]] const std::optional<ResizeRectangle>& rectangle() const noexcept { return rectangle_; }
    void set(const std::optional<ResizeRectangle>& rectangle) { rectangle_ = rectangle; }

    /// False, with a message, also when a texture has no GPU texture, for a rectangle without an area, and without
    /// memory for the weights.
    using ComputePass::encode;
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer) override;

private:
    /// What a table was made for, and what it holds.
    struct Axis;

    ResizeTexturePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                      std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture,
                      ResizeFilter filter);

    [[nodiscard]] ResizeRectangle currentRectangle() const;
    /// Makes the table of an axis if it isn't the one that is there. False, with a message, where it can't.
    [[nodiscard]] bool update(Axis& axis, Int slot, Int inputLength, Int outputLength, double start, double length);

    struct Constants;

    std::shared_ptr<Texture> inputTexture_;
    ResizeFilter filter_;
    ContentMode contentMode_ = ContentMode::scaleToFill;
    std::optional<ResizeRectangle> rectangle_;
    std::unique_ptr<Axis> columns_, rows_;
    std::unique_ptr<Constants> constants_;
    std::shared_ptr<UniformBuffer> uniformBuffer_;
};

}  // namespace ondrix
