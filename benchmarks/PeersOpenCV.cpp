#include <atomic>
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

/// One call of OpenCV for each operation of a chain.
struct Applied {
    const cv::Mat& from;
    cv::Mat& to;

    void operator()(const Levels& levels) const { from.convertTo(to, -1, levels.gain, 255.0 * levels.offset); }
    void operator()(const Square&) const { cv::multiply(from, from, to, 1.0 / 255.0); }
    void operator()(const MixInverse& mix) const { from.convertTo(to, -1, 1.0 - 2.0 * mix.amount, 255.0 * mix.amount); }
};

/// Uses threads of its own where the library does, and those of `Workers` elsewhere.
class OpenCVPeer final : public Peer {
public:
    explicit OpenCVPeer(Workers& workers) : workers_(workers) { cv::setNumThreads(workers.threads()); }

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

    Task shrink(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return [input, output] {
            cv::Mat out = wrap(*output);
            cv::resize(wrap(*input), out, out.size(), 0, 0, cv::INTER_AREA);
            return out.data == output->row(0);
        };
    }

    /// Rows of the output are columns of the input.
    Task turnQuarter(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return onStrips(*output, [input, output](int first, int end) {
            cv::Mat out = wrap(*output, first, end);
            cv::rotate(wrap(*input).colRange(first, end), out, cv::ROTATE_90_CLOCKWISE);
            return out.data == output->row(first);
        });
    }

    /// Here pixels lie at whole coordinates, and their corners between.
    Task turn(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output, PixelTransform t) override {
        const cv::Matx23d matrix(t.xx, t.xy, t.x0 + 0.5 * (t.xx + t.xy) - 0.5,  //
                                 t.yx, t.yy, t.y0 + 0.5 * (t.yx + t.yy) - 0.5);
        return [input, output, matrix] {
            cv::Mat out = wrap(*output);
            cv::warpAffine(wrap(*input), out, matrix, out.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                           cv::BORDER_REPLICATE);
            return out.data == output->row(0);
        };
    }

    Task applyPointChain(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        const auto between = std::make_shared<std::vector<Frame>>();
        for (std::size_t i = 1; i < pointChain.size(); ++i) between->emplace_back(input->width(), input->height(), 4);
        return onStrips(*output, [input, output, between](int first, int end) {
            cv::Mat from = wrap(*input, first, end);
            for (std::size_t i = 0; i < pointChain.size(); ++i) {
                cv::Mat to = wrap(i < between->size() ? (*between)[i] : *output, first, end);
                std::visit(Applied{from, to}, pointChain[i]);
                from = to;
            }
            return from.data == output->row(first);
        });
    }

    /// A strip of a larger picture finds its neighbours beyond the strip.
    Task convolve(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return onStrips(*output, [input, output](int first, int end) {
            cv::Mat out = wrap(*output, first, end);
            const cv::Mat weights(5, 5, CV_32F, const_cast<float*>(&kernel.weights[0][0]));
            cv::filter2D(wrap(*input).rowRange(first, end), out, -1, weights, cv::Point(-1, -1), 0,
                         cv::BORDER_CONSTANT);
            return out.data == output->row(first);
        });
    }

private:
    /// `work(firstRow, endRow)` on every thread; false when one of them returned false.
    template <class Work>
    [[nodiscard]] Task onStrips(const Frame& output, Work work) const {
        return [this, height = output.height(), work] {
            std::atomic<bool> good{true};
            workers_.forRows(height, [&](const Workers::Share& share) {
                if (!work(share.firstRow, share.endRow)) good = false;
            });
            return good.load();
        };
    }

    Workers& workers_;
};

}  // namespace

std::unique_ptr<Peer> makeOpenCVPeer(Workers& workers) {
    return std::make_unique<OpenCVPeer>(workers);
}

}  // namespace ondrix::benchmarks
