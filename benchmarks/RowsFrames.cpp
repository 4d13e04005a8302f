// Rows that take frames of video through one command buffer.

#include <stdexcept>

#include <ondrix/frames/FrameTexture.h>
#include <ondrix/frames/FrameWriter.h>
#include <ondrix/passes/ComputePass.h>
#include <ondrix/passes/PresentTextureEffect.h>
#include <ondrix/resources/ConstantBuffer.h>
#include <ondrix/shaders/Shader.h>

#include "FunctionLibrary.h"
#include "Pixels.h"
#include "Reference.h"
#include "Rows.h"

namespace ondrix::benchmarks {

namespace {

constexpr auto format = MTLPixelFormat::bgra8Unorm;

/// A frame, fitted into 1080p, and the work on it.
class FrameWork {
public:
    FrameWork(std::shared_ptr<Device> device, std::shared_ptr<CVPixelBuffer> frame)
        : device_(std::move(device)),
          queue_(device_->mtlDevice()->makeCommandQueue()),
          frame_(std::move(frame)),
          video_(FrameTexture::create(device_, format, nullptr)),
          fitted_(makeTexture(*device_, hd1080.width, hd1080.height)),
          fit_(PresentTextureEffect::create(device_, video_, fitted_, format, ContentMode::scaleAspectFit,
                                            ImageRotation::degrees0, false)) {
        if (!queue_ || !video_ || !fit_) throw std::runtime_error("no textures of frames");
    }

    /// Appends both `frameLevels` and an NV12 frame.
    void addPasses() {
        writer_ = FrameWriter::create(device_, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, {}, nullptr);
        library_ = makeFunctionLibrary(*device_);
        passes_ = Effect::create(device_);
        for (const Levels& levels : frameLevels) {
            auto shader = library_->makeShader("Bench::Levels", ShaderType::computeShader);
            if (!shader || !writer_) throw std::runtime_error("no passes on frames");
            const auto output = makeTexture(*device_, hd1080.width, hd1080.height);
            shader->setShaderResource(fitted_, 0);
            shader->setShaderResource(output, 1);
            shader->setShaderResource(device_->makeConstantBuffer(&levels, sizeof levels), 0);
            passes_->add(ComputePass::create(device_, shader, output), std::to_string(levels.gain));
            fitted_ = output;
        }
    }

    bool run() {
        const auto commandBuffer = queue_->makeCommandBuffer();
        if (!video_->show(frame_, *commandBuffer, nullptr) || !fit_->prepare() || !fit_->encode(*commandBuffer))
            return false;
        if (passes_) {
            written_ = passes_->encode(*commandBuffer) ? writer_->write(*fitted_, *commandBuffer, nullptr) : nullptr;
            if (!written_) return false;
        }
        commandBuffer->commit();
        commandBuffer->waitUntilCompleted();
        return commandBuffer->status() == MTLCommandBufferStatus::completed;
    }
    [[nodiscard]] std::shared_ptr<const Frame> result() const {
        return written_ ? readNV12(*written_) : read(*fitted_);
    }

private:
    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLCommandQueue> queue_;
    std::shared_ptr<CVPixelBuffer> frame_;
    std::shared_ptr<FrameTexture> video_;
    std::shared_ptr<Texture> fitted_;
    std::shared_ptr<PresentTextureEffect> fit_;
    std::shared_ptr<FrameWriter> writer_;
    std::shared_ptr<ShaderLibrary> library_;
    std::shared_ptr<Effect> passes_;
    std::shared_ptr<CVPixelBuffer> written_;
};

Contender ours(std::shared_ptr<FrameWork> work) {
    return {"ondrix", Role::ours, [work] { return work->run(); }, [work] { return work->result(); }};
}

/// A frame of `bytes` bytes a sample with what P010 holds of noise.
std::shared_ptr<const Frame> noiseOf10Bits(int width, int height, int components, std::uint32_t seed) {
    Frame frame = Frame::noisy(width, height, 2 * components, seed);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width * components; ++x) frame.row(y)[2 * x] &= 0xc0;
    }
    return std::make_shared<const Frame>(std::move(frame));
}

Frame fitted(const Frame& picture) {
    return scaled(picture, hd1080.width, hd1080.height, {0.0, static_cast<double>(hd1080.height)});
}

}  // namespace

Row makeFrameRow(Bench& bench, Sides sides) {
    const auto luma = std::make_shared<const Frame>(Frame::noisy(sides.width, sides.height, 1, 12));
    const auto chroma = std::make_shared<const Frame>(Frame::noisy(sides.width / 2, sides.height / 2, 2, 13));
    Row row;
    row.output = std::make_shared<Frame>(hd1080.width, hd1080.height * 3 / 2, 1);
    row.reference = std::make_shared<const Frame>(writtenNV12(withFrameLevels(fitted(shownNV12(*luma, *chroma)))));
    const auto work = std::make_shared<FrameWork>(bench.device, makeNV12Buffer(*luma, *chroma));
    work->addPasses();
    row.contenders.push_back(ours(work));
    for (const auto& peer : bench.peers) {
        addPeer(row, peer->name(), peer->processNV12(luma, chroma, row.output), peer->convertsBT709());
    }
    const std::size_t in = bytesOf(sides) * 3 / 8, out = bytesOf(hd1080) * 3 / 8;
    addMemory(row, bench.workers, "memory-fused", {{in, out}});
    return row;
}

Row makeHDRRow(Bench& bench) {
    const auto luma = noiseOf10Bits(uhd4K.width, uhd4K.height, 1, 14);
    const auto chroma = noiseOf10Bits(uhd4K.width / 2, uhd4K.height / 2, 2, 15);
    Row row;
    row.output = std::make_shared<Frame>(hd1080.width, hd1080.height, 4);
    row.reference = std::make_shared<const Frame>(fitted(shownHDR(*luma, *chroma)));
    row.contenders.push_back(ours(std::make_shared<FrameWork>(bench.device, makeP010Buffer(*luma, *chroma))));
    // Libraries cut off what is brighter than white.
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->showHDR(luma, chroma, row.output), false);
    addMemory(row, bench.workers, "memory-fused", {{bytesOf(uhd4K) * 3 / 4, bytesOf(hd1080)}});
    return row;
}

}  // namespace ondrix::benchmarks
