#include <algorithm>
#include <array>

#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

using Color = std::array<float, 4>;
using ScaleAndAdd = std::array<float, 2>;
using Careless = std::array<float, 5>;  ///< offsets of what is read, then written, and a coordinate

inline Float4 pack(const Color& color) {
    return {color[0], color[1], color[2], color[3]};
}

inline void CS_Fill(const Position& p, const Target<0>& out, const Constants<Color, 3>& color) {
    out.write(p, pack(*color));
}

inline void CS_ScaleAndAdd(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                           const Constants<ScaleAndAdd, 3>& k) {
    const Float4 value = in.read(p);
    out.write(p, Float4{value.x * (*k)[0] + (*k)[1], value.y, value.z, value.w});
}

/// Neighbours from two rows further up to two rows further down.
inline void CS_Neighbours(const Position& p, const Texture<0>& in, const Target<1>& out) {
    out.write(p, in.read(p + Offset{0, -2}) * 0.5f + in.read(p + Offset{1, 2}) * 0.5f);
}

/// The same, and says so.
inline void CS_NearRows(const Position& p, const Texture<0, NearRows{2, 2}>& in, const Target<1>& out) {
    out.write(p, in.read(p + Offset{0, -2}) * 0.5f + in.read(p + Offset{1, 2}) * 0.5f);
}

/// Half the height from two rows each.
inline void CS_HalfRows(const Position& p, const Texture<0, NearRows{0, 1, 2}>& in, const Target<1>& out) {
    const auto row = [&](int y) { return Int(std::min(y, in.height() - 1)); };
    out.write(p, in.read(Int2{Int2(p).x, row(2 * p.y)}) * 0.5f + in.read(Int2{Int2(p).x, row(2 * p.y + 1)}) * 0.5f);
}

/// Reads the row below, against what its parameter says.
template <auto reach>
inline void CS_Straying(const Position& p, const Texture<0, reach>& in, const Target<1>& out) {
    Position below = p;
    below.y++;
    out.write(p, in.read(below));
}

/// A different value for each position.
inline void CS_Pattern(const Position& p, const Target<0>& out) {
    const Float2 at = p.center();
    out.write(p, Float4{at.x * 0.013f, at.y * 0.029f, at.x * at.y * 0.00007f, 1});
}

/// Reads, samples and writes wherever it is told to.
inline void CS_Careless(const Position& p, const Texture<0>& in, const Sampler<0>& sampler, const Target<1>& out,
                        const Constants<Careless, 3>& k) {
    const auto offset = [&k](std::size_t first) {
        return Offset{static_cast<int>((*k)[first]), static_cast<int>((*k)[first + 1])};
    };
    out.write(p + offset(2), in.read(p + offset(0)) + in.sample(sampler, Float2{(*k)[4], 0}));
}

inline VertexOut<Float4> VS_Main(VertexInput<Float4, 0> position, VertexInput<Float4, 1> value) {
    return {position, {value}};
}

inline VertexOut<Float2, Float2> VS_TwoPairs(VertexInput<Float4, 0> position, VertexInput<Float4, 1> value) {
    return {position, {Float2{value.x, value.y}, Float2{value.z, value.w}}};
}

inline VertexOut<> VS_Bare(VertexInput<Float4, 0> position, const Constants<Color, 2>& offset) {
    return {position + pack(*offset)};
}

inline Float4 FS_Value(const Varying4& value) {
    return value;
}

inline Float4 FS_Constant(const Constants<Color, 1>& color) {
    return pack(*color);
}

inline Texel FS_Sample(const Varying2& at, const Texture<0>& image, const Sampler<1>& sampler) {
    return image.sample(sampler, at);
}

inline Sampled FS_Shown(const Varying2& at, const Texture<0>& image, const Sampler<1>& sampler) {
    return image.sample(sampler, at);
}

/// Two textures, samplers and varyings.
inline Float4 FS_Mixed(const Varying2& first, const Varying2& second, const Texture<0>& image, const Texture<1>& other,
                       const Sampler<1>& sampler, const Sampler<2>& otherSampler) {
    return mix(Float4(image.sample(sampler, second)), Float4(other.sample(otherSampler, first)), 0.3f);
}

const FunctionTable functions{
    computeFunction<CS_Fill>("fill"),
    computeFunction<CS_ScaleAndAdd>("scaleAndAdd"),
    computeFunction<CS_Neighbours>("neighbours"),
    computeFunction<CS_NearRows>("nearRows"),
    computeFunction<CS_HalfRows>("halfRows"),
    computeFunction<CS_Straying<Reach::own>>("straying"),
    computeFunction<CS_Straying<NearRows{1, 0}>>("strayingNear"),
    computeFunction<CS_Pattern>("pattern"),
    computeFunction<CS_Careless>("careless"),
    vertexFunction<VS_Main>("vertexValue"),
    vertexFunction<VS_TwoPairs>("vertexTwoPairs"),
    vertexFunction<VS_Bare>("vertexBare"),
    fragmentFunction<FS_Value>("fragmentValue"),
    fragmentFunction<FS_Constant>("fragmentConstant"),
    fragmentFunction<FS_Sample>("fragmentSample"),
    fragmentFunction<FS_Shown>("fragmentShown"),
    fragmentFunction<FS_Mixed>("fragmentMixed"),
};

}  // namespace
