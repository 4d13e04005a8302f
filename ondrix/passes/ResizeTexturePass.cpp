#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/passes/PassParts.h>
#include <ondrix/passes/ResizeConstants.h>
#include <ondrix/passes/ResizeTable.h>
#include <ondrix/passes/ResizeTexturePass.h>

namespace ondrix {

namespace {

/// Pixels; rectangles beyond that show one texel at most.
constexpr double farthest = 1e9;

}  // namespace

struct ResizeTexturePass::Axis {
    ResizeFilter filter = ResizeFilter::nearest;
    Int inputLength = 0, outputLength = 0;
    ResizeSpan span{0, 0};
    Int first = 0, count = 0;
    double scale = 1;
};

struct ResizeTexturePass::Constants : ResizeConstants {};

ResizeTexturePass::ResizeTexturePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                                     std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture,
                                     ResizeFilter filter)
    : ComputePass(std::move(device), std::move(computeShader), std::move(outputTexture)),
      inputTexture_(std::move(inputTexture)),
      filter_(filter),
      columns_(std::make_unique<Axis>()),
      rows_(std::make_unique<Axis>()),
      constants_(std::make_unique<Constants>()),
      uniformBuffer_(UniformBuffer::create(this->device())) {
    uniformBuffer_->updateBufferContent(constants_.get(), sizeof(ResizeConstants));
    shader()->setShaderResource(inputTexture_, 0);
    shader()->setShaderResource(this->outputTexture(), 3);
    shader()->setShaderResource(uniformBuffer_, 0);
}

ResizeTexturePass::~ResizeTexturePass() = default;

std::shared_ptr<ResizeTexturePass> ResizeTexturePass::create(std::shared_ptr<Device> device,
                                                             std::shared_ptr<Texture> inputTexture,
                                                             std::shared_ptr<Texture> outputTexture,
                                                             ResizeFilter filter, NSError* error) {
    return Failure::toldTo(error, [&] {
        return ofReadyMadeParts([&]() -> std::shared_ptr<ResizeTexturePass> {
            assert(device != nullptr && inputTexture != nullptr && outputTexture != nullptr);
            const auto library = frameworkShaderLibrary(*device, IfMissing::fail);
            if (library == nullptr) return nullptr;
            auto shader = library->makeShader("Ondrix::Resize", ShaderType::computeShader);
            if (shader == nullptr) return lacks(IfMissing::fail, "Failed to load the shader of the ResizeTexturePass.");
            std::shared_ptr<ResizeTexturePass> pass(new ResizeTexturePass(
                std::move(device), std::move(shader), std::move(inputTexture), std::move(outputTexture), filter));
            return pass->hasPipeline() ? pass : nullptr;
        });
    });
}

void ResizeTexturePass::set(std::shared_ptr<Texture> inputTexture) {
    assert(inputTexture != nullptr);
    Failure::wholeOrAbsent([&] {
        shader()->setShaderResource(inputTexture, 0);
        inputTexture_.swap(inputTexture);
    });
}

ResizeRectangle ResizeTexturePass::currentRectangle() const {
    if (rectangle_) return *rectangle_;
    const auto outputWidth = static_cast<double>(outputTexture()->width()),
               outputHeight = static_cast<double>(outputTexture()->height());
    double width = outputWidth, height = outputHeight;
    if (contentMode_ != ContentMode::scaleToFill) {
        const auto inputWidth = static_cast<double>(inputTexture_->width()),
                   inputHeight = static_cast<double>(inputTexture_->height());
        const bool isWider = inputWidth * outputHeight > outputWidth * inputHeight;
        if (isWider == (contentMode_ == ContentMode::scaleAspectFit)) {
            height = outputWidth * inputHeight / inputWidth;
        } else {
            width = outputHeight * inputWidth / inputHeight;
        }
    }
    return {(outputWidth - width) / 2, (outputHeight - height) / 2, width, height};
}

bool ResizeTexturePass::update(Axis& axis, Int slot, Int inputLength, Int outputLength, double start, double length) {
    const ResizeSpan span{start, length};
    if (axis.filter == filter_ && axis.inputLength == inputLength && axis.outputLength == outputLength &&
        axis.span == span) {
        return true;
    }
    const ResizeTable table(filter_, inputLength, outputLength, span);
    const auto width = static_cast<std::uint64_t>(std::max<Int>(table.count, 1)),
               height = static_cast<std::uint64_t>(table.rows);
    const auto mtlTexture = device()->mtlDevice()->makeTexture(
        MTLTextureDescriptor::texture2DDescriptor(MTLPixelFormat::rgba32Float, width, height, false));
    auto texture = mtlTexture != nullptr ? device()->makeTexture(mtlTexture) : nullptr;
    if (texture == nullptr) {
        Logger::gfx().error("Failed to make the weights of the ResizeTexturePass.");
        return false;
    }
    if (table.count > 0) {
        mtlTexture->replace(MTLRegionMake2D(0, 0, width, height), 0, table.values.data(), 16 * width);
    }
    shader()->setShaderResource(std::move(texture), slot);
    axis = {filter_, inputLength, outputLength, span, table.first, table.count, table.scale};
    return true;
}

bool ResizeTexturePass::encode(MTLCommandBuffer& commandBuffer) {
    return Failure::wholeOrAbsent([&] {
        const Size2<Int> input = inputTexture_->size(), output = outputTexture()->size();
        if (input.width() < 1 || input.height() < 1 || output.width() < 1 || output.height() < 1) {
            Logger::gfx().error("Failed to encode the ResizeTexturePass: no %s texture.",
                                input.width() < 1 || input.height() < 1 ? "input" : "output");
            return false;
        }
        const ResizeRectangle to = currentRectangle();
        const auto isSide = [](double start, double length) {
            return std::abs(start) <= farthest && length > 0 && length <= farthest;
        };
        if (!isSide(to.x, to.width) || !isSide(to.y, to.height)) {
            Logger::gfx().error("Failed to encode the ResizeTexturePass: the rectangle has no area.");
            return false;
        }
        if (!update(*columns_, 1, input.width(), output.width(), to.x, to.width) ||
            !update(*rows_, 2, input.height(), output.height(), to.y, to.height)) {
            return false;
        }
        const auto number = [](Int value) { return static_cast<std::int32_t>(value); };
        static_cast<ResizeConstants&>(*constants_) = {number(columns_->first),
                                                      number(rows_->first),
                                                      number(columns_->count),
                                                      number(rows_->count),
                                                      static_cast<float>(columns_->scale * rows_->scale),
                                                      filter_ == ResizeFilter::lanczos ? 1 : 0};
        return ComputePass::encode(commandBuffer);
    });
}

}  // namespace ondrix
