#pragma once

#include <memory>

#include <ondrix/passes/RenderPass.h>
#include <ondrix/platform/simd/simd.h>
#include <ondrix/resources/ConstantBuffer.h>
#include <ondrix/resources/Sampler.h>
#include <ondrix/types/ContentMode.h>
#include <ondrix/types/ImageRotation.h>

namespace ondrix {

enum class IfMissing : unsigned char;

/// Draws an input texture into the output the way an image view does: scaled by a content mode, then turned by quarter
/// turns, then mirrored; what it leaves free is opaque black. The scale follows from the two sizes as they are: a
/// quarter turn doesn't exchange sides. Both textures tell the pass of new sizes. The transform changes at once and is
/// seen by the next draw, and possibly by draws not yet done.
class PresentTexturePass : public RenderPass,
                           public TextureDelegate,
                           public std::enable_shared_from_this<PresentTexturePass> {
public:
    /// Stops the process with a message when the constant buffer, the sampler, the framework's shader library, one of
    /// its functions or the device's quad mesh is missing; null, with a message, without memory.
    [[nodiscard]] static std::shared_ptr<PresentTexturePass> create(
        std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture,
        MTLPixelFormat outputPixelFormat, ContentMode contentMode, ImageRotation rotation, bool flipHorizontally);
    /// Null, with the reason in `error` (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<PresentTexturePass> create(std::shared_ptr<Device> device,
                                                                    std::shared_ptr<Texture> inputTexture,
                                                                    std::shared_ptr<Texture> outputTexture,
                                                                    MTLPixelFormat outputPixelFormat,
                                                                    ContentMode contentMode, ImageRotation rotation,
                                                                    bool flipHorizontally, NSError* error);

    [[nodiscard]] const std::shared_ptr<Texture>& inputTexture() const noexcept { return inputTexture_; }
    using RenderPass::set;
    /// Work that draws an input without a GPU texture ends with an error. A size of height 0, such as that of no GPU
    /// texture, gives no scale: unless it scales to fill, the pass draws nothing then.
    virtual void set(std::shared_ptr<Texture> inputTexture);
    virtual void set(ContentMode contentMode, ImageRotation rotation, bool flipHorizontally);

    /// Follows the new size of its input or output; when one texture is both, as the input only.
    void texture(Texture& texture, Size2<Int> didChangeSize) override;

protected:
    /// What the pass is made of besides the parts of a `RenderPass`.
    struct Settings {
        std::shared_ptr<Texture> inputTexture;
        std::shared_ptr<Sampler> sampler;
        std::shared_ptr<ConstantBuffer> constantBuffer;
        ContentMode contentMode;
        ImageRotation rotation;
        bool flipHorizontally;
    };

    PresentTexturePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
                       std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
                       std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat, Settings settings);
    /// The second half of construction: registers with both textures and writes the first transform.
    void start();

    /// Mirror times rotation times scale, column-major; applied to (x, y, 0, 1) of the quad. The scale is 0, which
    /// draws nothing, when it depends on a size of height 0.
    [[nodiscard]] virtual simd_float4x4 transformMatrix() const;

private:
    friend class PresentTextureEffect;
    friend class PlaceTexturePass;

    void take(const std::shared_ptr<Texture>& inputTexture);

    /// This pass, or with `PlaceTexturePass` one of that class.
    template <class PassClass>
    [[nodiscard]] static std::shared_ptr<PassClass> make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                                         std::shared_ptr<Texture> inputTexture,
                                                         std::shared_ptr<Texture> outputTexture,
                                                         MTLPixelFormat outputPixelFormat, ContentMode contentMode,
                                                         ImageRotation rotation, bool flipHorizontally);
    void updateTransform();

    std::shared_ptr<Texture> inputTexture_;
    std::shared_ptr<Sampler> sampler_;
    std::shared_ptr<ConstantBuffer> constantBuffer_;
    Size2<Int> inputSize_ = Size2<Int>::one();
    Size2<Int> outputSize_ = Size2<Int>::one();
    ContentMode contentMode_;
    ImageRotation rotation_;
    bool flipHorizontally_;
};

}  // namespace ondrix
