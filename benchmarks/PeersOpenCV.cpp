#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "Peers.h"

namespace ondrix::benchmarks {

namespace {

cv::Mat wrap(const Frame& frame, int firstRow, int endRow) {
    const int type = CV_8UC(frame.bytesPerPixel());
    return {endRow - firstRow, frame.width(), type, const_cast<std::uint8_t*>(frame.row(firstRow)),
            static_cast<std::size_t>(frame.bytesPerRow())};
}

cv::Mat wrap(const Frame& frame) {
    return wrap(frame, 0, frame.height());
}

/// Uses threads of its own.
class OpenCVPeer final : public Peer {
public:
    explicit OpenCVPeer(int threads) { cv::setNumThreads(threads); }

    std::string name() const override { return "opencv"; }

    bool convertsBT709() const override { return false; }

    Task convertNV12(std::shared_ptr<const Frame> luma, std::shared_ptr<const Frame> chroma,
                     std::shared_ptr<Frame> output) override {
        return [luma, chroma, output] {
            cv::Mat out = wrap(*output);
            cv::cvtColorTwoPlane(wrap(*luma), wrap(*chroma), out, cv::COLOR_YUV2BGRA_NV12);
            return out.data == output->row(0);
        };
    }

    Task copy(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return [input, output] {
            cv::Mat out = wrap(*output);
            wrap(*input).copyTo(out);
            return out.data == output->row(0);
        };
    }

    /// Scales to whole rows, so a fractional placement is met to half a pixel only.
    Task scale(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output, Placement placement) override {
        return [input, output, placement] {
            fillBars(*output, placement, 0, output->height());
            cv::Mat out = wrap(*output, placement.firstRow(), placement.endRow());
            cv::resize(wrap(*input), out, out.size(), 0, 0, cv::INTER_LINEAR);
            return out.data == output->row(placement.firstRow());
        };
    }
};

}  // namespace

std::unique_ptr<Peer> makeOpenCVPeer(Workers& workers) {
    return std::make_unique<OpenCVPeer>(workers.threads());
}

}  // namespace ondrix::benchmarks
