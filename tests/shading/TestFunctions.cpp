#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

struct Settings {
    float gain[4];
    float turn[4];
};

/// Ordinary arithmetic on what was sampled.
inline Float4 Tinted(const Varying2& uv, const Texture<0>& image, const Sampler<0>& sampler,
                     const Constants<Settings, 0>& k) {
    const Float4 c = image.sample(sampler, uv);
    return {c.x * k->gain[0], saturate(c.y) * k->gain[1], sqrt(c.z) * k->gain[2], c.w / (c.x + k->gain[3])};
}

/// Coordinates that are computed, so that no straight line is known.
inline Texel Computed(const Varying2& uv, const Texture<0>& image, const Sampler<0>& sampler,
                      const Constants<Settings, 0>& k) {
    const Float2 at = uv;
    return image.sample(sampler, Float2{at.x * k->turn[0] + at.y * k->turn[1], at.x * k->turn[2] + at.y * k->turn[3]});
}

/// Two textures with different samplers and varyings, which rules rows out.
inline Float4 Mixed(const Varying2& uv, const Varying1& weight, const Texture<0>& a, const Texture<1>& b,
                    const Sampler<0>& first, const Sampler<1>& second) {
    return mix(Float4(a.sample(first, uv)), Float4(b.sample(second, uv)), weight);
}

/// The second varying and the second sampler on the only texture.
inline Texel Second(const Varying2&, const Varying2& uv, const Texture<0>& image, const Sampler<0>&,
                    const Sampler<1>& sampler) {
    return image.sample(sampler, uv);
}

/// Neighbours beyond the edges, masks and integers.
inline void Neighbours(const Position& p, const Texture<0>& image, const Target<1>& output) {
    const Float4 left = image.read(p + Offset{-1, 0}), right = image.read(p + Offset{1, 2});
    const Float4 far = image.read(Int2(p) + Int2{Int(p.y) - 2, 1});
    const Mask odd = ((Int2(p).x ^ Int(p.y)) & 1) == 1;
    output.write(p, select(odd, mix(left, right, 0.25f), far));
}

/// Two targets of different sizes.
inline void Split(const Position& p, const Texture<0>& image, const Target<1>& bright, const Target<2>& dark) {
    const Texel c = image.read(p);
    bright.write(p, c * 1.5f);
    dark.write(p, c * 0.5f);
}

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
    fragmentFunction<Tinted>("Tinted"),
    fragmentFunction<Computed>("Computed"),
    fragmentFunction<Mixed>("Mixed"),
    fragmentFunction<Second>("Second"),
    computeFunction<Neighbours>("Neighbours"),
    computeFunction<Split>("Split"),
    computeFunction<ShiftedRun>("ShiftedRun"),
    computeFunction<ShiftedPixels>("ShiftedPixels"),
    computeFunction<MovedPosition>("MovedPosition"),
    computeFunction<SmallTexture>("SmallTexture"),
    computeFunction<WrittenElsewhere>("WrittenElsewhere"),
};

}  // namespace
