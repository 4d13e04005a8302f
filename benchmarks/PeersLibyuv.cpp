#include <algorithm>
#include <utility>

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

    /// Back to NV12 it knows BT.601 only.
    Task processNV12(std::shared_ptr<const Frame> luma, std::shared_ptr<const Frame> chroma,
                     std::shared_ptr<Frame> output) override {
        const int width = output->width(), height = output->height() * 2 / 3;
        const auto scaledLuma = std::make_shared<Frame>(width, height, 1);
        const auto scaledChroma = std::make_shared<Frame>(width / 2, height / 2, 2);
        const auto picture = std::make_shared<Frame>(width, height, 4),
                   changed = std::make_shared<Frame>(width, height, 4);
        return [=, this] {
            workers_.forRows(height, [&](const Workers::Share& share) {
                const auto [thread, first, end] = share;
                const int rows = end - first, from = first * luma->height() / height;
                const auto stride = [](const auto& frame) { return frame->bytesPerRow(); };
                libyuv::NV12Scale(luma->row(from), stride(luma), chroma->row(from / 2), stride(chroma), luma->width(),
                                  rows * luma->height() / height, scaledLuma->row(first), stride(scaledLuma),
                                  scaledChroma->row(first / 2), stride(scaledChroma), width, rows,
                                  libyuv::kFilterBilinear);
                libyuv::NV12ToARGBMatrix(scaledLuma->row(first), stride(scaledLuma), scaledChroma->row(first / 2),
                                         stride(scaledChroma), picture->row(first), stride(picture),
                                         &libyuv::kYuvH709Constants, width, rows);
                Frame* frames[] = {picture.get(), changed.get()};
                for (const Levels& levels : frameLevels) {
                    const auto gain = static_cast<std::int8_t>(levels.gain * 64),
                               offset = static_cast<std::int8_t>(levels.offset * 64);
                    const std::int8_t matrix[16] = {gain, 0, 0,    offset, 0, gain, 0, offset,
                                                    0,    0, gain, offset, 0, 0,    0, 64};
                    libyuv::ARGBColorMatrix(frames[0]->row(first), stride(picture), frames[1]->row(first),
                                            stride(changed), matrix, width, rows);
                    std::swap(frames[0], frames[1]);
                }
                libyuv::ARGBToNV12(picture->row(first), stride(picture), output->row(first), stride(output),
                                   output->row(height + first / 2), stride(output), width, rows);
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
