#include <algorithm>

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
        pixman_transform_t transform;
        pixman_transform_init_scale(&transform, pixman_double_to_fixed(across), pixman_double_to_fixed(down));
        transform.matrix[1][2] = pixman_double_to_fixed(down * (placement.firstRow() - placement.top));
        const auto images = wrapForThreads(*input, *output);
        for (Pair& pair : *images) {
            pixman_image_set_transform(pair.input.get(), &transform);
            pixman_image_set_filter(pair.input.get(), PIXMAN_FILTER_BILINEAR, nullptr, 0);
            pixman_image_set_repeat(pair.input.get(), PIXMAN_REPEAT_PAD);
        }
        return [this, input, output, images, placement] {
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                fillBars(*output, placement, share.firstRow, share.endRow);
                const int from = std::max(share.firstRow, placement.firstRow());
                const int to = std::min(share.endRow, placement.endRow());
                if (from >= to) return;
                const Pair& pair = (*images)[static_cast<std::size_t>(share.thread)];
                pixman_image_composite32(PIXMAN_OP_SRC, pair.input.get(), nullptr, pair.output.get(), 0,
                                         from - placement.firstRow(), 0, 0, 0, from, output->width(), to - from);
            });
            return true;
        };
    }

private:
    /// An image is changed by its first use, so every thread has its own.
    struct Pair {
        Image input;
        Image output;
    };
    using Pairs = std::vector<Pair>;

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
