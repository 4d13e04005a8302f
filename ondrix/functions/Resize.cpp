#include <ondrix/passes/ResizeConstants.h>
#include <ondrix/shading/Resampling.h>
#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

inline void Resize(const WholeRows& rows, const Texture<0>& image, const Texture<1, Format::rgba32f>& columns,
                   const Texture<2, Format::rgba32f>& lines, const Target<3>& output,
                   const Constants<ondrix::ResizeConstants, 0>& k) {
    const resampling::Table across{columns.view, image.width(), k->hasWeights != 0};
    const resampling::Table down{lines.view, image.height(), k->hasWeights != 0};
    const int left = std::clamp(k->x, 0, rows.count), top = std::max(k->y, 0);
    const auto end = [](int start, int length, int limit) {
        return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{start} + length, 0, limit));
    };
    const int right = end(k->x, k->width, rows.count), bottom = end(k->y, k->height, output.height());
    for (int y = rows.y; y < rows.y + rows.rows; y++) {
        if (y < top || y >= bottom || left >= right) {
            resampling::fill(output, y, 0, rows.count);
            continue;
        }
        resampling::fill(output, y, 0, left);
        resampling::row(image.view, across, down[y - top], {left, right, y}, k->scale, output);
        resampling::fill(output, y, right, rows.count);
    }
}

const FunctionTable functions{computeFunction<Resize>("Ondrix::Resize")};

}  // namespace
