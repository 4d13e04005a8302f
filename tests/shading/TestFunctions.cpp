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

/// Functions of the numbers in red and green.
inline void Powers(const Position& p, const Texture<0, Format::rgba32f>& in, const Target<1, Format::rgba32f>& out) {
    const Float x = in.read(p).x;
    out.write(p, Float4{exp2(x), exp(x), log2(x), log(x)});
}
inline void Angles(const Position& p, const Texture<0, Format::rgba32f>& in, const Target<1, Format::rgba32f>& out) {
    const Float4 number = in.read(p);
    out.write(p, Float4{sin(number.x), cos(number.x), tan(number.x), atan2(number.x, number.y)});
}
inline void Rest(const Position& p, const Texture<0, Format::rgba32f>& in, const Target<1, Format::rgba32f>& out) {
    const Float4 number = in.read(p);
    const Float2 both = round(Float2{number.x, number.y});
    out.write(p, Float4{pow(number.x, number.y), both.x, both.y, sign(number.x)});
}
/// A direction's length, and what is zero for directions at right angles and where a mirror turns what meets it.
inline void Directions(const Position& p, const Texture<0, Format::rgba32f>& in,
                       const Target<1, Format::rgba32f>& out) {
    const Float4 number = in.read(p);
    const Float3 a = number.xyz(), b{number.y, number.w, number.x}, c = cross(a, b), normal = normalize(a);
    const Float3 turned = reflect(a, normal) + a, same = reflect(c, normal) - c;
    out.write(p, Float4{length(normal), dot(c, a) + dot(c, b), length(turned) + length(same),
                        cross(Float3{a.x, 0, 0}, Float3{0, 1, 0}).z - a.x});
}

/// What tables hold at places on both sides of their ends.
inline void Curve(const Position& p, const Texture<0, Format::rgba32f>& in, const Texture<1>& table,
                  const Target<2, Format::rgba32f>& out) {
    out.write(p, lookUp(table, in.read(p).x * table.width()));
}
inline void Cube(const Position& p, const Texture<0, Format::rgba32f>& in, const Texture<1>& table,
                 const Target<2, Format::rgba32f>& out, const Constants<int, 0>& size) {
    out.write(p, lookUp(table, in.read(p).xyz() * *size, *size));
}

const FunctionTable functions{
    computeFunction<Curve>("Curve"),
    computeFunction<Cube>("Cube"),
    computeFunction<Powers>("Powers"),
    computeFunction<Angles>("Angles"),
    computeFunction<Rest>("Rest"),
    computeFunction<Directions>("Directions"),
    computeFunction<ShiftedRun>("ShiftedRun"),
    computeFunction<ShiftedPixels>("ShiftedPixels"),
    computeFunction<MovedPosition>("MovedPosition"),
    computeFunction<SmallTexture>("SmallTexture"),
    computeFunction<WrittenElsewhere>("WrittenElsewhere"),
};

}  // namespace
