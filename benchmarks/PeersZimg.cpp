#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <zimg.h>

#include "Peers.h"

namespace ondrix::benchmarks {

namespace {

/// A graph for some rows of the output, with what it needs while it runs.
class Graph {
public:
    Graph(const Frame& luma, const Frame& output, int firstRow, int endRow) {
        zimg_image_format from, to;
        zimg_image_format_default(&from, ZIMG_API_VERSION);
        zimg_image_format_default(&to, ZIMG_API_VERSION);
        from.width = static_cast<unsigned>(luma.width());
        from.height = static_cast<unsigned>(luma.height());
        // What P010 stores is the same range in 16 bits.
        from.pixel_type = ZIMG_PIXEL_WORD;
        from.depth = 16;
        from.subsample_w = from.subsample_h = 1;
        from.color_family = ZIMG_COLOR_YUV;
        from.matrix_coefficients = ZIMG_MATRIX_BT2020_NCL;
        from.transfer_characteristics = ZIMG_TRANSFER_ST2084;
        from.color_primaries = ZIMG_PRIMARIES_BT2020;
        from.pixel_range = ZIMG_RANGE_LIMITED;
        const double rows = double{static_cast<double>(luma.height())} / output.height();
        from.active_region = {0, firstRow * rows, static_cast<double>(luma.width()), (endRow - firstRow) * rows};
        to.width = static_cast<unsigned>(output.width());
        to.height = static_cast<unsigned>(endRow - firstRow);
        to.pixel_type = ZIMG_PIXEL_BYTE;
        to.color_family = ZIMG_COLOR_RGB;
        to.matrix_coefficients = ZIMG_MATRIX_RGB;
        to.transfer_characteristics = ZIMG_TRANSFER_IEC_61966_2_1;
        to.color_primaries = ZIMG_PRIMARIES_BT709;
        to.pixel_range = ZIMG_RANGE_FULL;
        zimg_graph_builder_params params;
        zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
        params.resample_filter = params.resample_filter_uv = ZIMG_RESIZE_BILINEAR;
        params.cpu_type = ZIMG_CPU_AUTO_64B;
        params.nominal_peak_luminance = 203;
        params.allow_approximate_gamma = 1;
        graph_ = zimg_filter_graph_build(&from, &to, &params);
        std::size_t size = 0;
        if (graph_ == nullptr || zimg_filter_graph_get_tmp_size(graph_, &size) != ZIMG_ERROR_SUCCESS)
            throw std::runtime_error("no graph of zimg");
        temporary_ = std::make_unique<Frame>(static_cast<int>(size) + 64, 1, 1);
    }
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;
    ~Graph() { zimg_filter_graph_free(graph_); }

    bool run(const zimg_image_buffer_const& from, const zimg_image_buffer& to) {
        return zimg_filter_graph_process(graph_, &from, &to, temporary_->row(0), nullptr, nullptr, nullptr, nullptr) ==
               ZIMG_ERROR_SUCCESS;
    }

private:
    zimg_filter_graph* graph_;
    std::unique_ptr<Frame> temporary_;
};

class ZimgPeer final : public Peer {
public:
    explicit ZimgPeer(Workers& workers) : workers_(workers) {}

    std::string name() const override { return "zimg"; }

    /// It takes and makes planes, so chroma is parted before and colours are joined after it.
    Task showHDR(std::shared_ptr<const Frame> luma, std::shared_ptr<const Frame> chroma,
                 std::shared_ptr<Frame> output) override {
        auto planes = std::make_shared<std::vector<Frame>>();
        for (int i = 0; i < 2; ++i) planes->emplace_back(chroma->width(), chroma->height(), 2);
        for (int i = 0; i < 3; ++i) planes->emplace_back(output->width(), output->height(), 1);
        auto graphs =
            std::make_shared<std::vector<std::unique_ptr<Graph>>>(static_cast<std::size_t>(workers_.threads()));
        return [=, this] {
            workers_.forRows(chroma->height(), [&](const Workers::Share& share) {
                for (int y = share.firstRow; y < share.endRow; ++y) part(*chroma, (*planes)[0], (*planes)[1], y);
            });
            std::atomic<bool> done = true;
            workers_.forRows(output->height(), [&](const Workers::Share& share) {
                auto& graph = (*graphs)[static_cast<std::size_t>(share.thread)];
                if (!graph) graph = std::make_unique<Graph>(*luma, *output, share.firstRow, share.endRow);
                zimg_image_buffer_const from{ZIMG_API_VERSION, {}};
                zimg_image_buffer to{ZIMG_API_VERSION, {}};
                const Frame* sources[] = {luma.get(), &(*planes)[0], &(*planes)[1]};
                for (std::size_t i = 0; i < 3; ++i) {
                    from.plane[i] = {sources[i]->row(0), sources[i]->bytesPerRow(), ZIMG_BUFFER_MAX};
                    Frame& plane = (*planes)[2 + i];
                    to.plane[i] = {plane.row(share.firstRow), plane.bytesPerRow(), ZIMG_BUFFER_MAX};
                }
                if (!graph->run(from, to)) done = false;
                for (int y = share.firstRow; y < share.endRow; ++y) join(*planes, *output, y);
            });
            return done.load();
        };
    }

private:
    static void part(const Frame& chroma, Frame& blue, Frame& red, int y) {
        const auto* pairs = reinterpret_cast<const std::uint16_t*>(chroma.row(y));
        auto* first = reinterpret_cast<std::uint16_t*>(blue.row(y));
        auto* second = reinterpret_cast<std::uint16_t*>(red.row(y));
        for (int x = 0; x < chroma.width(); ++x) {
            first[x] = pairs[2 * x];
            second[x] = pairs[2 * x + 1];
        }
    }
    static void join(const std::vector<Frame>& planes, Frame& output, int y) {
        const std::uint8_t *red = planes[2].row(y), *green = planes[3].row(y), *blue = planes[4].row(y);
        auto* pixels = reinterpret_cast<std::uint32_t*>(output.row(y));
        for (int x = 0; x < output.width(); ++x) {
            pixels[x] = blue[x] | static_cast<std::uint32_t>(green[x]) << 8 | static_cast<std::uint32_t>(red[x]) << 16 |
                        0xff000000u;
        }
    }

    Workers& workers_;
};

}  // namespace

std::unique_ptr<Peer> makeZimgPeer(Workers& workers) {
    return std::make_unique<ZimgPeer>(workers);
}

}  // namespace ondrix::benchmarks
