#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include <pixman.h>

#include "Peers.h"

namespace ondrix::benchmarks {

namespace {

struct Unreference {
    void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using Image = std::unique_ptr<pixman_image_t, Unreference>;

Image wrap(const Frame& frame) {
    auto* bits = reinterpret_cast<std::uint32_t*>(const_cast<std::uint8_t*>(frame.row(0)));
    return Image(pixman_image_create_bits(PIXMAN_a8r8g8b8, frame.width(), frame.height(), bits, frame.bytesPerRow()));
}

class PixmanPeer final : public Peer {
public:
    explicit PixmanPeer(Workers& workers) : workers_(workers) {}

    std::string name() const override { return "pixman"; }

    Task scale(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output, Placement placement) override {
        const double across = static_cast<double>(input->width()) / output->width();
        const double down = input->height() / placement.height;
        return draw(input, output, {across, 0, 0, 0, down, -down * placement.top}, placement);
    }

    /// A box for the texels and one for the pixels, at 64 places between two texels.
    Task shrink(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        constexpr int placeBits = 6;
        const double across = static_cast<double>(input->width()) / output->width();
        const double down = static_cast<double>(input->height()) / output->height();
        int count = 0;
        pixman_fixed_t* const values = pixman_filter_create_separable_convolution(
            &count, fixed(across), fixed(down), PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX,
            PIXMAN_KERNEL_BOX, placeBits, placeBits);
        const std::vector<pixman_fixed_t> filter(values, values + count);
        std::free(values);
        return draw(input, output, {across, 0, 0, 0, down, 0}, whole(*output), filter);
    }

    Task drawQuarter(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output) override {
        return draw(input, output, {0, 1, 0, -1, 0, static_cast<double>(input->height())}, whole(*output));
    }

    Task turn(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output, PixelTransform fromOutput) override {
        return draw(input, output, fromOutput, whole(*output));
    }

private:
    /// An image is changed by its first use, so every thread has its own.
    struct Pair {
        Image input;
        Image output;
    };
    using Pairs = std::vector<Pair>;

    [[nodiscard]] static Placement whole(const Frame& output) { return {0.0, static_cast<double>(output.height())}; }

    /// Fills the placed rows of the output through a transform, and the others with bars.
    [[nodiscard]] Task draw(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output, PixelTransform t,
                            Placement placement, const std::vector<pixman_fixed_t>& filter = {}) const {
        const pixman_transform_t transform = {
            {{fixed(t.xx), fixed(t.xy), fixed(t.x0)}, {fixed(t.yx), fixed(t.yy), fixed(t.y0)}, {0, 0, pixman_fixed_1}}};
        const auto images = wrapForThreads(*input, *output);
        for (Pair& pair : *images) {
            pixman_image_set_transform(pair.input.get(), &transform);
            pixman_image_set_filter(pair.input.get(),
                                    filter.empty() ? PIXMAN_FILTER_BILINEAR : PIXMAN_FILTER_SEPARABLE_CONVOLUTION,
                                    filter.data(), static_cast<int>(filter.size()));
            pixman_image_set_repeat(pair.input.get(), PIXMAN_REPEAT_PAD);
        }
        return [this, input, output, images, placement] {
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                fillBars(*output, placement, share.firstRow, share.endRow);
                const int from = std::max(share.firstRow, placement.firstRow());
                const int to = std::min(share.endRow, placement.endRow());
                if (from >= to) return;
                const Pair& pair = (*images)[static_cast<std::size_t>(share.thread)];
                pixman_image_composite32(PIXMAN_OP_SRC, pair.input.get(), nullptr, pair.output.get(), 0, from, 0, 0, 0,
                                         from, output->width(), to - from);
            });
            return true;
        };
    }

    [[nodiscard]] static pixman_fixed_t fixed(double value) {
        return static_cast<pixman_fixed_t>(std::lround(value * pixman_fixed_1));
    }

    [[nodiscard]] std::shared_ptr<Pairs> wrapForThreads(const Frame& input, const Frame& output) const {
        auto pairs = std::make_shared<Pairs>();
        for (int thread = 0; thread < workers_.threads(); ++thread) pairs->push_back({wrap(input), wrap(output)});
        return pairs;
    }

    Workers& workers_;
};

}  // namespace

std::unique_ptr<Peer> makePixmanPeer(Workers& workers) {
    return std::make_unique<PixmanPeer>(workers);
}

}  // namespace ondrix::benchmarks
