#include <ondrix/frames/FrameConstants.h>
#include <ondrix/shading/Chroma.h>
#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

/// Layout and weights of a frame that is read.
struct Reading : ondrix::FrameReadConstants {
    PlaneLayout layout;

    explicit Reading(const ondrix::FrameReadConstants& k)
        : FrameReadConstants(k), layout{k.halvesWidth, k.halvesHeight, k.isCentred,
                                        k.isSeparate,  k.unusedBits,   k.largest} {}

    ONDRIX_INLINE Float4 colour(Int lumaSample, Int sums) const {
        const Float y(lumaSample), cb(sums & 0xffff), cr(sums >> 16 & 0xffff);
        const auto component = [&](int i) __attribute__((always_inline)) {
            return y * luma[i] + cb * blue[i] + cr * red[i] + offset[i];
        };
        return {component(0), component(1), component(2), 1};
    }
};

/// What a row of luma reads of chroma, whether that has as many rows or half of them.
constexpr NearRows chromaRows{1, 1, 1, 2};

/// A frame with luma in texture 0 and chroma in texture 1, or Cb in 1 and Cr in 2. Any formats and sizes work; those
/// named are fast.
template <Format ofLuma, Format ofChroma, Sides sides>
inline void Read(const Position& p, const Texture<0, ofLuma, Reach::own>& luma,
                 const Texture<1, ofChroma, sides, chromaRows>& chroma,
                 const Texture<2, ofChroma, sides, chromaRows>& red, const Target<3>& output,
                 const Constants<ondrix::FrameReadConstants, 0, Reading>& k) {
    output.write(p, k->colour(lumaSamples(luma.view, k->layout, p), chromaSums(chroma.view, red.view, k->layout, p)));
}

/// One number a pixel.
inline void ReadGrey(const Position& p, const Texture<0, Format::r8, Reach::own>& luma, const Target<3>& output,
                     const Constants<ondrix::FrameReadConstants, 0, Reading>& k) {
    output.write(p, k->colour(lumaSamples(luma.view, k->layout, p), Int(0)));
}

using Tone = ondrix::FrameToneConstants;

ONDRIX_INLINE Float3 perComponent(const Float3& a, auto&& function) {
    return {function(a.x), function(a.y), function(a.z)};
}

/// Light of a number of PQ, and the other way.
ONDRIX_INLINE Float lightOfPQ(Float number) {
    const Float root = pow(number, 1 / 78.84375f);
    return pow(max(root - 0.8359375f, 0) / (18.8515625f - 18.6875f * root), 1 / 0.1593017578125f);
}
ONDRIX_INLINE Float numberOfPQ(Float light) {
    const Float power = pow(light, 0.1593017578125f);
    return pow((0.8359375f + 18.8515625f * power) / (1 + 18.6875f * power), 78.84375f);
}

/// The brightest light that a display of SDR shows for light of the frame's display: the curve of ITU-R BT.2390, black
/// staying black.
ONDRIX_INLINE Float toneMapped(Float light, const Tone& k) {
    const Float number = numberOfPQ(light) / k.peak, most = k.target / k.peak, knee = most * 1.5f - 0.5f;
    const Float t = saturate((number - knee) / (Float(1) - knee)), t2 = t * t, t3 = t2 * t;
    const Float bent = (t3 * 2 - t2 * 3 + 1) * knee + (t3 - t2 * 2 + t) * (Float(1) - knee) + (t2 * 3 - t3 * 2) * most;
    return select(number < knee, light, lightOfPQ(bent * k.peak));
}

/// Red, green and blue of SDR in BT.709 as a display of it shows them, of the frame's numbers.
ONDRIX_INLINE Float3 narrowed(const Float3& numbers, const Tone& k) {
    Float3 light;
    const Float3 inRange = perComponent(numbers, [](Float a) { return saturate(a); });
    if (k.transfer == 0) {
        light = perComponent(
            inRange, [](Float a) { return select(a <= 0.04045f, a / 12.92f, pow((a + 0.055f) / 1.055f, 2.4f)); });
    } else {
        if (k.transfer == 1) {
            light = perComponent(inRange, lightOfPQ);
        } else {
            const Float3 scene = perComponent(inRange, [](Float a) {
                return select(a <= 0.5f, a * a / 3, (exp((a - 0.55991073f) / 0.17883277f) + 0.28466892f) / 12);
            });
            const Float luminance = dot(scene, Float3{k.luminance[0], k.luminance[1], k.luminance[2]});
            light = scene * (pow(luminance, 0.2f) * 0.1f);
        }
        const Float brightest = max(max(light.x, light.y), light.z);
        light = light * (select(brightest > 0, toneMapped(brightest, k) / brightest, 0) / k.white);
    }
    const auto row = [&](const float(&weights)[4]) {
        return saturate(light.x * weights[0] + light.y * weights[1] + light.z * weights[2]);
    };
    return perComponent({row(k.toBT709[0]), row(k.toBT709[1]), row(k.toBT709[2])}, [](Float a) {
        return select(a <= 0.0031308f, a * 12.92f, pow(a, 1 / 2.4f) * 1.055f - 0.055f);
    });
}

/// Like `Read`, for colours that aren't SDR in BT.709.
inline void ReadWide(const Position& p, const Texture<0, Format::r16, Reach::own>& luma,
                     const Texture<1, Format::rg16, Sides::half, chromaRows>& chroma,
                     const Texture<2, Format::rg16, Sides::half, chromaRows>& red, const Target<3>& output,
                     const Constants<ondrix::FrameReadConstants, 0, Reading>& k, const Constants<Tone, 1>& tone) {
    const Float4 colour =
        k->colour(lumaSamples(luma.view, k->layout, p), chromaSums(chroma.view, red.view, k->layout, p));
    const Float3 result = narrowed(colour.xyz(), *tone);
    output.write(p, Float4{result.x, result.y, result.z, 1});
}

inline void ReadWidePicture(const Position& p, const Texture<0, Reach::own>& picture, const Target<3>& output,
                            const Constants<Tone, 1>& tone) {
    const Float4 colour = picture.read(p);
    const Float3 result = narrowed(colour.xyz(), *tone);
    output.write(p, Float4{result.x, result.y, result.z, colour.w});
}

using Writing = ondrix::FrameWriteConstants;

ONDRIX_INLINE Float sample(const Float3& colour, const float (&weights)[4], const Writing& k) {
    const Float value = colour.x * weights[0] + colour.y * weights[1] + colour.z * weights[2] + weights[3];
    return floor(clamp(value, 0, k.largest) + 0.5f) * k.scale;
}

inline void WriteLuma(const Position& p, const Texture<0, Reach::own>& picture, const Target<1, Format::r8>& luma,
                      const Constants<Writing, 0>& k) {
    const Float value = sample(picture.read(p).xyz(), k->luma, *k);
    luma.write(p, Float4{value, 0, 0, 1});
}

/// What a sample of chroma is made from: the same row, or two.
using Picture = Texture<0, NearRows{0, 1, 2}>;

/// The mean colour around a sample of chroma.
ONDRIX_INLINE Float3 around(const Picture& picture, Int2 at, const Writing& k) {
    const auto read = [&](Int x, Int y) __attribute__((always_inline)) {
        return picture.read(Int2{clamp(x, 0, picture.width() - 1), clamp(y, 0, picture.height() - 1)}).xyz();
    };
    const auto row = [&](Int y) __attribute__((always_inline))->Float3 {
        if (k.halvesWidth == 0) return read(at.x, y);
        const Int x = at.x * 2;
        if (k.isCentred != 0) return (read(x, y) + read(x + 1, y)) * 0.5f;
        return read(x, y) * 0.5f + (read(x - 1, y) + read(x + 1, y)) * 0.25f;
    };
    if (k.halvesHeight == 0) return row(at.y);
    return (row(at.y * 2) + row(at.y * 2 + 1)) * 0.5f;
}

inline void WriteChroma(const Position& p, const Picture& picture, const Target<1, Format::rg8>& chroma,
                        const Constants<Writing, 0>& k) {
    const Float3 colour = around(picture, p, *k);
    chroma.write(p, Float4{sample(colour, k->blue, *k), sample(colour, k->red, *k), 0, 1});
}

inline void WriteSeparateChroma(const Position& p, const Picture& picture, const Target<1, Format::r8>& blue,
                                const Target<2, Format::r8>& red, const Constants<Writing, 0>& k) {
    const Float3 colour = around(picture, p, *k);
    blue.write(p, Float4{sample(colour, k->blue, *k), 0, 0, 1});
    red.write(p, Float4{sample(colour, k->red, *k), 0, 0, 1});
}

const FunctionTable functions{
    computeFunction<Read<Format::r8, Format::rg8, Sides::half>>("Ondrix::Frames::ReadNV12"),
    computeFunction<Read<Format::r8, Format::r8, Sides::half>>("Ondrix::Frames::ReadI420"),
    computeFunction<Read<Format::r16, Format::rg16, Sides::half>>("Ondrix::Frames::ReadP010"),
    computeFunction<Read<Format::r16, Format::r16, Sides::half>>("Ondrix::Frames::ReadI010"),
    computeFunction<Read<Format::r8, Format::r8, Sides::full>>("Ondrix::Frames::Read"),
    computeFunction<ReadGrey>("Ondrix::Frames::ReadGrey"),
    computeFunction<ReadWide>("Ondrix::Frames::ReadWide"),
    computeFunction<ReadWidePicture>("Ondrix::Frames::ReadWidePicture"),
    computeFunction<WriteLuma>("Ondrix::Frames::WriteLuma"),
    computeFunction<WriteChroma>("Ondrix::Frames::WriteChroma"),
    computeFunction<WriteSeparateChroma>("Ondrix::Frames::WriteSeparateChroma"),
};

}  // namespace
