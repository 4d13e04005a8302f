#include <algorithm>

#include <libyuv.h>

#include "Peers.h"

namespace ondrix::benchmarks {

namespace {

class LibyuvPeer final : public Peer {
public:
    explicit LibyuvPeer(Workers& workers) : workers_(workers) {}

    std::string name() const override { return "libyuv"; }

    Task convertNV12(std::shared_ptr<const Frame> luma, std::shared_ptr<const Frame> chroma,
                     std::shared_ptr<Frame> output) override {
        return [this, luma, chroma, output] {
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                const auto [thread, first, end] = share;
                libyuv::NV12ToARGBMatrix(luma->row(first), luma->bytesPerRow(), chroma->row(first / 2),
                                         chroma->bytesPerRow(), output->row(first), output->bytesPerRow(),
                                         &libyuv::kYuvH709Constants, output->width(), end - first);
            });
            return true;
        };
    }

    Task copy(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return [this, input, output] {
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                const auto [thread, first, end] = share;
                libyuv::ARGBCopy(input->row(first), input->bytesPerRow(), output->row(first), output->bytesPerRow(),
                                 output->width(), end - first);
            });
            return true;
        };
    }

    /// Scales to whole rows, so a fractional placement is met to half a pixel only.
    Task scale(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output, Placement placement) override {
        return [this, input, output, placement] {
            const int top = placement.firstRow();
            const int height = placement.endRow() - top;
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                const auto [thread, first, end] = share;
                fillBars(*output, placement, first, end);
                const int from = std::max(first, top);
                const int to = std::min(end, top + height);
                if (from >= to) return;
                libyuv::ARGBScaleClip(input->row(0), input->bytesPerRow(), input->width(), input->height(),
                                      output->row(top), output->bytesPerRow(), output->width(), height, 0, from - top,
                                      output->width(), to - from, libyuv::kFilterBilinear);
            });
            return true;
        };
    }

    /// Rows of the output are columns of the input.
    Task turnQuarter(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return [this, input, output] {
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                const auto [thread, first, end] = share;
                libyuv::ARGBRotate(input->row(0) + 4 * first, input->bytesPerRow(), output->row(first),
                                   output->bytesPerRow(), end - first, input->height(), libyuv::kRotate90);
            });
            return true;
        };
    }

private:
    Workers& workers_;
};

}  // namespace

std::unique_ptr<Peer> makeLibyuvPeer(Workers& workers) {
    return std::make_unique<LibyuvPeer>(workers);
}

}  // namespace ondrix::benchmarks
