#include <algorithm>
#include <cassert>
#include <new>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/passes/PassParts.h>
#include <ondrix/passes/PlaceTexturePass.h>
#include <ondrix/passes/PresentTexturePass.h>

namespace ondrix {

namespace {

constexpr Int transformLength = sizeof(simd_float4x4);
static_assert(transformLength == 64);

Size2<Int> atLeastOne(Size2<Int> size) {
    return {std::max<Int>(size.width(), 1), std::max<Int>(size.height(), 1)};
}

}  // namespace

PresentTexturePass::PresentTexturePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
                                       std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
                                       std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat,
                                       Settings settings)
    : RenderPass(std::move(device), std::move(vertexShader), std::move(fragmentShader), std::move(mesh),
                 std::move(outputTexture), outputPixelFormat),
      inputTexture_(std::move(settings.inputTexture)),
      sampler_(std::move(settings.sampler)),
      constantBuffer_(std::move(settings.constantBuffer)),
      contentMode_(settings.contentMode),
      rotation_(settings.rotation),
      flipHorizontally_(settings.flipHorizontally) {
    this->vertexShader()->setShaderResource(constantBuffer_, 1);
    this->fragmentShader()->setShaderResource(sampler_, 0);
    this->fragmentShader()->setShaderResource(inputTexture_, 0);
}

std::shared_ptr<PresentTexturePass> PresentTexturePass::create(
    std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture,
    MTLPixelFormat outputPixelFormat, ContentMode contentMode, ImageRotation rotation, bool flipHorizontally) {
    return make<PresentTexturePass>(IfMissing::stopProcess, std::move(device), std::move(inputTexture),
                                    std::move(outputTexture), outputPixelFormat, contentMode, rotation,
                                    flipHorizontally);
}

std::shared_ptr<PresentTexturePass> PresentTexturePass::create(std::shared_ptr<Device> device,
                                                               std::shared_ptr<Texture> inputTexture,
                                                               std::shared_ptr<Texture> outputTexture,
                                                               MTLPixelFormat outputPixelFormat,
                                                               ContentMode contentMode, ImageRotation rotation,
                                                               bool flipHorizontally, NSError* error) {
    return Failure::toldTo(error, [&] {
        return make<PresentTexturePass>(IfMissing::fail, std::move(device), std::move(inputTexture),
                                        std::move(outputTexture), outputPixelFormat, contentMode, rotation,
                                        flipHorizontally);
    });
}

template <class PassClass>
std::shared_ptr<PassClass> PresentTexturePass::make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                                    std::shared_ptr<Texture> inputTexture,
                                                    std::shared_ptr<Texture> outputTexture,
                                                    MTLPixelFormat outputPixelFormat, ContentMode contentMode,
                                                    ImageRotation rotation, bool flipHorizontally) {
    return ofReadyMadeParts([&]() -> std::shared_ptr<PassClass> {
        assert(device != nullptr && inputTexture != nullptr && outputTexture != nullptr);
        constexpr unsigned char zeros[transformLength] = {};
        auto constantBuffer = device->makeConstantBuffer(zeros, transformLength);
        if (constantBuffer == nullptr) {
            return lacks(ifMissing, "Failed to create constant buffer for the PresentTexturePass.");
        }
        auto sampler = makeLinearSampler(*device);
        if (sampler == nullptr) return lacks(ifMissing, "Failed to create sampler state for the PresentTexturePass.");
        const auto library = frameworkShaderLibrary(*device, ifMissing);
        if (library == nullptr) return nullptr;
        auto shaders = library->makeShaders("Ondrix::PresentTexture::VS_Main", "Ondrix::PresentTexture::FS_Main");
        if (!shaders) return lacks(ifMissing, "Failed to load shaders for PresentTexturePass.");
        auto mesh = requiredQuadMesh(*device, ifMissing);
        if (mesh == nullptr) return nullptr;
        std::shared_ptr<PassClass> pass(
            new PassClass(std::move(device), std::move(shaders.vertex), std::move(shaders.fragment), std::move(mesh),
                          std::move(outputTexture), outputPixelFormat,
                          {std::move(inputTexture), std::move(sampler), std::move(constantBuffer), contentMode,
                           rotation, flipHorizontally}));
        if (ifMissing == IfMissing::fail && !pass->hasPipeline()) return nullptr;
        pass->start();
        return pass;
    });
}

template std::shared_ptr<PresentTexturePass> PresentTexturePass::make(IfMissing, std::shared_ptr<Device>,
                                                                      std::shared_ptr<Texture>,
                                                                      std::shared_ptr<Texture>, MTLPixelFormat,
                                                                      ContentMode, ImageRotation, bool);
template std::shared_ptr<PlaceTexturePass> PresentTexturePass::make(IfMissing, std::shared_ptr<Device>,
                                                                    std::shared_ptr<Texture>, std::shared_ptr<Texture>,
                                                                    MTLPixelFormat, ContentMode, ImageRotation, bool);

void PresentTexturePass::start() {
    inputSize_ = atLeastOne(inputTexture_->size());
    outputSize_ = atLeastOne(outputTexture()->size());
    inputTexture_->add(shared_from_this());
    outputTexture()->add(shared_from_this());
    updateTransform();
}

void PresentTexturePass::set(std::shared_ptr<Texture> inputTexture) {
    assert(inputTexture != nullptr);
    const auto previous = inputTexture_;
    Failure::wholeOrAbsent([&] {
        try {
            take(inputTexture);
        } catch (const std::bad_alloc&) {
            take(previous);  // whose list of observers still has the room
            throw;
        }
    });
}

void PresentTexturePass::take(const std::shared_ptr<Texture>& inputTexture) {
    inputTexture_->remove(*this);
    inputTexture_ = inputTexture;
    inputTexture_->add(shared_from_this());
    inputSize_ = inputTexture_->size();
    updateTransform();
    fragmentShader()->setShaderResource(inputTexture_, 0);
}

void PresentTexturePass::set(ContentMode contentMode, ImageRotation rotation, bool flipHorizontally) {
    contentMode_ = contentMode;
    rotation_ = rotation;
    flipHorizontally_ = flipHorizontally;
    updateTransform();
}

void PresentTexturePass::texture(Texture& texture, Size2<Int> didChangeSize) {
    Size2<Int>* size = nullptr;
    if (&texture == inputTexture_.get()) {
        size = &inputSize_;
    } else if (&texture == outputTexture().get()) {
        size = &outputSize_;
    }
    if (size == nullptr || *size == didChangeSize) return;
    *size = didChangeSize;
    updateTransform();
}

simd_float4x4 PresentTexturePass::transformMatrix() const {
    const simd_float2 s = contentScale(contentMode_, inputSize_, outputSize_);
    const auto [sine, cosine] = sineCosine(rotation_);
    const float flip = flipHorizontally_ ? -1.0f : 1.0f;
    return {{{flip * cosine * s.x, -sine * s.x, 0.0f, 0.0f},
             {flip * sine * s.y, cosine * s.y, 0.0f, 0.0f},
             {0.0f, 0.0f, 1.0f, 0.0f},
             {0.0f, 0.0f, 0.0f, 1.0f}}};
}

void PresentTexturePass::updateTransform() {
    const simd_float4x4 matrix = transformMatrix();
    constantBuffer_->updateBufferContent(&matrix, transformLength);
}

}  // namespace ondrix
