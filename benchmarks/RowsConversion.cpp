// Rows that begin with a video frame.

#include <stdexcept>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/passes/PresentTextureEffect.h>
#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/video/CMSampleBufferFrameSource.h>
#include <ondrix/video/VideoTexture.h>

#include "Pixels.h"
#include "Reference.h"
#include "Rows.h"

namespace ondrix::benchmarks {

namespace {

/// The planes of a video frame.
struct Planes {
    std::shared_ptr<const Frame> luma;
    std::shared_ptr<const Frame> chroma;
};

Planes makePlanes(Sides sides, std::uint32_t seed) {
    return {std::make_shared<const Frame>(Frame::noisy(sides.width, sides.height, 1, seed)),
            std::make_shared<const Frame>(Frame::noisy(sides.width / 2, sides.height / 2, 2, seed + 1))};
}

std::size_t planeBytes(Sides sides) {
    return bytesOf(sides) * 3 / 8;
}

/// What an application does with each frame that it is given: it draws the video texture and makes a pixel buffer.
class FrameChain {
public:
    FrameChain(std::shared_ptr<Device> device, const Planes& planes, Sides output)
        : device_(std::move(device)),
          output_(makeTexture(*device_, output.width, output.height)),
          video_(device_->makeVideoTexture(nullptr)),
          effect_(PresentTextureEffect::create(device_, video_, output_, MTLPixelFormat::bgra8Unorm,
                                               ContentMode::scaleAspectFit, ImageRotation::degrees0, false)),
          source_(CMSampleBufferFrameSource::create()),
          pool_(device_->textureConverter()->makePixelBufferPool(output.width, output.height,
                                                                 kCVPixelFormatType_32BGRA)) {
        const auto buffer = makeNV12Buffer(*planes.luma, *planes.chroma);
        std::shared_ptr<CMFormatDescription> description;
        CMVideoFormatDescriptionCreateForImageBuffer(buffer, &description);
        CMSampleBufferCreateReadyWithImageBuffer(buffer, description, {}, &sample_);
        if (!sample_ || !pool_) throw std::runtime_error("no sample buffer or pool");
        video_->setOnFrameAvailable([this](VideoTexture&) {
            if (!effect_->apply(nullptr)) return;
            pixels_ = device_->textureConverter()->makePixelBuffer(*output_, *pool_);
        });
        video_->set(source_);
    }
    FrameChain(const FrameChain&) = delete;
    FrameChain& operator=(const FrameChain&) = delete;
    ~FrameChain() { video_->setOnFrameAvailable(nullptr); }

    bool run() {
        pixels_ = nullptr;
        source_->processFrame(sample_);
        return pixels_ != nullptr;
    }
    [[nodiscard]] std::shared_ptr<const Frame> result() const { return read(*pixels_); }

private:
    std::shared_ptr<Device> device_;
    std::shared_ptr<Texture> output_;
    std::shared_ptr<VideoTexture> video_;
    std::shared_ptr<PresentTextureEffect> effect_;
    std::shared_ptr<CMSampleBufferFrameSource> source_;
    std::shared_ptr<CVPixelBufferPool> pool_;
    std::shared_ptr<CMSampleBuffer> sample_;
    std::shared_ptr<CVPixelBuffer> pixels_;
};

/// The same steps with a library, each over the whole frame; empty when it lacks one of them.
Task peerChain(Peer& peer, const Planes& planes, Sides sides, const std::shared_ptr<Frame>& output) {
    const auto converted = std::make_shared<Frame>(sides.width, sides.height, 4);
    const auto fitted = std::make_shared<Frame>(output->width(), output->height(), 4);
    const Task convert = peer.convertNV12(planes.luma, planes.chroma, converted);
    const Task scale = peer.scale(converted, fitted, {0.0, static_cast<double>(output->height())});
    const Task copy = peer.copy(fitted, output);
    if (!convert || !scale || !copy) return {};
    return [convert, scale, copy] { return convert() && scale() && copy(); };
}

}  // namespace

Row makeConversionRow(Bench& bench, Sides sides) {
    const Planes planes = makePlanes(sides, 1);
    Row row;
    row.output = std::make_shared<Frame>(sides.width, sides.height, 4);
    row.reference = std::make_shared<const Frame>(convertedNV12(*planes.luma, *planes.chroma));

    auto converted = std::make_shared<std::shared_ptr<MTLTexture>>();
    auto run = [device = bench.device, buffer = makeNV12Buffer(*planes.luma, *planes.chroma), converted] {
        *converted = device->textureConverter()->texture(buffer);
        return *converted != nullptr;
    };
    row.contenders.push_back({"ondrix", Role::ours, run, [converted] { return read(**converted); }});
    for (const auto& peer : bench.peers) {
        addPeer(row, peer->name(), peer->convertNV12(planes.luma, planes.chroma, row.output), peer->convertsBT709());
    }
    addMemory(row, bench.workers, "memory", {{planeBytes(sides), bytesOf(sides)}});
    return row;
}

Row makeChainRow(Bench& bench) {
    const Planes planes = makePlanes(hd1080, 11);
    Row row;
    row.output = std::make_shared<Frame>(hd720.width, hd720.height, 4);
    row.reference = std::make_shared<const Frame>(scaled(convertedNV12(*planes.luma, *planes.chroma), hd720.width,
                                                         hd720.height, {0.0, static_cast<double>(hd720.height)}));

    const auto chain = std::make_shared<FrameChain>(bench.device, planes, hd720);
    row.contenders.push_back(
        {"ondrix", Role::ours, [chain] { return chain->run(); }, [chain] { return chain->result(); }});
    for (const auto& peer : bench.peers) {
        addPeer(row, peer->name(), peerChain(*peer, planes, hd1080, row.output), peer->convertsBT709());
    }
    const std::size_t in = planeBytes(hd1080), converted = bytesOf(hd1080), out = bytesOf(hd720);
    addMemory(row, bench.workers, "memory", {{in, converted}, {converted, out}, {out, out}});
    addMemory(row, bench.workers, "memory-fused", {{in, out}});
    return row;
}

}  // namespace ondrix::benchmarks
