#include "Peers.h"

#include <cstring>

namespace ondrix::benchmarks {

namespace {

/// What one gets without any library.
class MemcpyPeer final : public Peer {
public:
    explicit MemcpyPeer(Workers& workers) : workers_(workers) {}

    std::string name() const override { return "memcpy"; }

    Task copy(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return [this, input, output] {
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                const auto size = static_cast<std::size_t>(input->row(share.endRow) - input->row(share.firstRow));
                std::memcpy(output->row(share.firstRow), input->row(share.firstRow), size);
            });
            return true;
        };
    }

private:
    Workers& workers_;
};

}  // namespace

Task Peer::convertNV12(std::shared_ptr<const Frame>, std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::copy(std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::scale(std::shared_ptr<const Frame>, std::shared_ptr<Frame>, Placement) {
    return {};
}

Task Peer::shrink(std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::turnQuarter(std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::drawQuarter(std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::turn(std::shared_ptr<const Frame>, std::shared_ptr<Frame>, PixelTransform) {
    return {};
}

Task Peer::applyPointChain(std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::processNV12(std::shared_ptr<const Frame>, std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::showHDR(std::shared_ptr<const Frame>, std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

Task Peer::convolve(std::shared_ptr<const Frame>, std::shared_ptr<Frame>) {
    return {};
}

void fillBars(Frame& output, Placement placement, int firstRow, int endRow) {
    constexpr std::uint8_t black[4] = {0, 0, 0, 255};
    std::uint32_t pixel;
    std::memcpy(&pixel, black, sizeof pixel);
    for (int y = firstRow; y < endRow; ++y) {
        if (y >= placement.firstRow() && y < placement.endRow()) continue;
        auto* pixels = reinterpret_cast<std::uint32_t*>(output.row(y));
        for (int x = 0; x < output.width(); ++x) pixels[x] = pixel;
    }
}

std::vector<std::unique_ptr<Peer>> makePeers(Workers& workers) {
    std::vector<std::unique_ptr<Peer>> peers;
#ifdef ONDRIX_BENCHMARKS_LIBYUV
    peers.push_back(makeLibyuvPeer(workers));
#endif
#ifdef ONDRIX_BENCHMARKS_PIXMAN
    peers.push_back(makePixmanPeer(workers));
#endif
#ifdef ONDRIX_BENCHMARKS_OPENCV
    peers.push_back(makeOpenCVPeer(workers));
#endif
#ifdef ONDRIX_BENCHMARKS_ZIMG
    peers.push_back(makeZimgPeer(workers));
#endif
    peers.push_back(std::make_unique<MemcpyPeer>(workers));
    return peers;
}

std::vector<std::string> missingPeers() {
    std::vector<std::string> lines = {"software Vulkan: not measured, so the empty effects have no peer"};
#ifndef ONDRIX_BENCHMARKS_LIBYUV
    lines.emplace_back("libyuv: not installed");
#endif
#ifndef ONDRIX_BENCHMARKS_PIXMAN
    lines.emplace_back("pixman: not installed");
#endif
#ifndef ONDRIX_BENCHMARKS_OPENCV
    lines.emplace_back("opencv: not installed");
#endif
#ifndef ONDRIX_BENCHMARKS_ZIMG
    lines.emplace_back("zimg: not installed");
#endif
    return lines;
}

}  // namespace ondrix::benchmarks
