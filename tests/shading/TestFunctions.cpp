#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

/// Neighbours anywhere: as a run, single, and at half the position.
inline void ShiftedRun(const Position& p, const Texture<0>& image, const Target<1>& output,
                       const Constants<Offset, 0>& by) {
    output.write(p, image.read(p + *by));
}
inline void ShiftedPixels(const Position& p, const Texture<0>& image, const Target<1>& output,
                          const Constants<Offset, 0>& by) {
    output.write(p, image.read(Int2(p) + Int2{by->x, by->y}));
}
inline void MovedPosition(const Position& p, const Texture<0>& image, const Target<1>& output,
                          const Constants<Offset, 0>& by) {
    Position moved = p;
    moved.x = static_cast<int>(static_cast<unsigned>(moved.x) + static_cast<unsigned>(by->x));
    moved.y = static_cast<int>(static_cast<unsigned>(moved.y) + static_cast<unsigned>(by->y));
    output.write(p, image.read(moved));
}
inline void SmallTexture(const Position& p, const Texture<0, Sides::half>& image, const Target<1>& output,
                         const Constants<Offset, 0>& by) {
    output.write(p, image.read(p + *by) + image.read(p));
}
inline void WrittenElsewhere(const Position& p, const Texture<0>& image, const Target<1>& output,
                             const Constants<Offset, 0>& by) {
    const Position far{by->x, by->y, 1000};
    output.write(far, image.read(far));
    output.write(p + *by, image.read(p));
}

const FunctionTable functions{
    computeFunction<ShiftedRun>("ShiftedRun"),
    computeFunction<ShiftedPixels>("ShiftedPixels"),
    computeFunction<MovedPosition>("MovedPosition"),
    computeFunction<SmallTexture>("SmallTexture"),
    computeFunction<WrittenElsewhere>("WrittenElsewhere"),
};

}  // namespace
