#include <ondrix/frames/FrameConstants.h>
#include <ondrix/shading/Curve.h>
#include <ondrix/shading/FixedSamples.h>
#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

/// Layout and weights of a frame that is read.
struct Reading : ondrix::FrameReadConstants {
    PlaneLayout layout;
    FixedWeights fixed;

    explicit Reading(const ondrix::FrameReadConstants& k)
        : FrameReadConstants(k),
          layout{k.halvesWidth, k.halvesHeight, k.isCentred, k.isSeparate, k.unusedBits, k.largest},
          fixed(k.luma, k.blue, k.red, k.offset, layout) {}

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
inline void Read(const WholeRows& rows, const Texture<0, ofLuma, Reach::own>& luma,
                 const Texture<1, ofChroma, sides, chromaRows>& chroma,
                 const Texture<2, ofChroma, sides, chromaRows>& red, const Target<3>& output,
                 const Constants<ondrix::FrameReadConstants, 0, Reading>& k) {
    const PlaneLayout& layout = k->layout;
    const bool isFixed = isFourPlainBytes(static_cast<Format>(output.view.format));
    if (isFixed && writeFixedColours(rows, luma.view, chroma.view, red.view, layout, k->fixed, output)) return;
    for (int y = rows.y; y < rows.y + rows.rows; y++) {
        for (int x = 0; x < rows.count; x += lanes::count) {
            const Position p{x, y, rows.count - x < lanes::count ? rows.count - x : lanes::count};
            ONDRIX_CHECK(checks::startPixel(x, y);)
            const Int sample = lumaSamples(luma.view, layout, p), sums = chromaSums(chroma.view, red.view, layout, p);
            if (isFixed) {
                output.write(p, texelFromBytes(detail::fixedColours(sample, sums, k->fixed), Format::bgra8));
            } else {
                output.write(p, k->colour(sample, sums));
            }
        }
    }
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

/// The polynomial with these coefficients, the constant first; terms in pairs, so that few steps wait for each other.
ONDRIX_INLINE Float polynomial(Float x, const float (&k)[6]) {
    const Float square = x * x;
    return (x * k[1] + k[0]) + square * ((x * k[3] + k[2]) + square * (x * k[5] + k[4]));
}

/// Light of a number of PQ, the white of SDR being 1, as near as bytes of SDR need it: at most 0.08 levels off.
ONDRIX_INLINE Float nearLightOfPQ(Float number) {
    const Float root =
        polynomial(saturate(number), {0.0615680f, 1.4760739f, -1.3792844f, 4.3689506f, -3.8795891f, 2.0017441f});
    const Float square = root * root;
    return square * square;
}

/// Number of SDR for light of 0...1: at most 1e-5 off, or 3.3e-4 where that suffices for bytes.
template <bool forBytes>
ONDRIX_INLINE Float numberOfSDR(Float light) {
    const Float root = sqrt(light);
    const Float number =
        forBytes ? polynomial(root, {-0.0401118f, 1.5179829f, -1.4028826f, 2.0318527f, -1.6238874f, 0.5173691f})
                 : polynomial(sqrt(root), {-0.0616297f, 0.1649740f, 1.2442140f, -0.5575556f, 0.2727522f, -0.0627590f});
    return select(light <= 0.0031308f, light * 12.92f, number);
}

/// Red, green and blue of SDR in BT.709 as a display of it shows them, of the frame's numbers.
template <bool forBytes>
ONDRIX_INLINE Float3 narrowed(const Float3& numbers, const Tone& k) {
    Float3 light = perComponent(
        numbers, [&](Float a) __attribute__((always_inline)) {
            return forBytes && k.transfer == 1 ? nearLightOfPQ(a) : curve(k.light, a);
        });
    Float gain = 1;
    if (k.transfer == 1) {
        gain = curve(k.gain, max(max(numbers.x, numbers.y), numbers.z));
    } else if (k.transfer == 2) {
        const Float system = pow(dot(light, Float3{k.luminance[0], k.luminance[1], k.luminance[2]}), 0.2f);
        const Float brightest = max(max(light.x, light.y), light.z) * system;
        gain = curve(k.gain, sqrt(brightest)) * system;
    }
    const auto row = [&](const float(&weights)[4]) __attribute__((always_inline)) {
        return saturate((light.x * weights[0] + light.y * weights[1] + light.z * weights[2]) * gain);
    };
    return perComponent({row(k.toBT709[0]), row(k.toBT709[1]), row(k.toBT709[2])}, numberOfSDR<forBytes>);
}

ONDRIX_INLINE void writeNarrowed(const Position& p, const Float4& colour, const Target<3>& output, const Tone& k) {
    const bool forBytes = isFourPlainBytes(static_cast<Format>(output.view.format));
    const Float3 result = forBytes ? narrowed<true>(colour.xyz(), k) : narrowed<false>(colour.xyz(), k);
    output.write(p, Float4{result.x, result.y, result.z, colour.w});
}

/// Like `Read`, for colours that aren't SDR in BT.709.
inline void ReadWide(const Position& p, const Texture<0, Format::r16, Reach::own>& luma,
                     const Texture<1, Format::rg16, Sides::half, chromaRows>& chroma,
                     const Texture<2, Format::rg16, Sides::half, chromaRows>& red, const Target<3>& output,
                     const Constants<ondrix::FrameReadConstants, 0, Reading>& k, const Constants<Tone, 1>& tone) {
    const Float4 colour =
        k->colour(lumaSamples(luma.view, k->layout, p), chromaSums(chroma.view, red.view, k->layout, p));
    writeNarrowed(p, colour, output, *tone);
}

inline void ReadWidePicture(const Position& p, const Texture<0, Reach::own>& picture, const Target<3>& output,
                            const Constants<Tone, 1>& tone) {
    writeNarrowed(p, picture.read(p), output, *tone);
}

struct Writing : ondrix::FrameWriteConstants {
    SampleWeights ofLuma, ofBlue, ofRed;
    detail::ChromaCells cells;

    explicit Writing(const ondrix::FrameWriteConstants& k)
        : FrameWriteConstants(k),
          ofLuma(k.luma),
          ofBlue(k.blue),
          ofRed(k.red),
          cells{k.halvesWidth != 0, k.halvesHeight != 0, k.isCentred != 0} {}

    ONDRIX_INLINE Float sample(const Float3& colour, const float (&weights)[4]) const {
        const Float value = colour.x * weights[0] + colour.y * weights[1] + colour.z * weights[2] + weights[3];
        return floor(clamp(value, 0, largest) + 0.5f) * scale;
    }
};
using WriteConstants = Constants<ondrix::FrameWriteConstants, 0, Writing>;

inline void WriteLuma(const Stretch& p, const Texture<0, Reach::own>& picture, const Target<1, Format::r8>& luma,
                      const WriteConstants& k) {
    if (areFixed(picture.view, luma.view)) return writeLuma(p, picture, luma, k->ofLuma);
    for (int i = 0; i < Stretch::packs; i++) {
        const Position pack = p.pack(i);
        luma.write(pack, Float4{k->sample(picture.read(pack).xyz(), k->luma), 0, 0, 1});
    }
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
                        const WriteConstants& k) {
    if (areFixed(picture.view, chroma.view)) return writeChroma(p, picture, chroma, k->cells, k->ofBlue, k->ofRed);
    const Float3 colour = around(picture, p, *k);
    chroma.write(p, Float4{k->sample(colour, k->blue), k->sample(colour, k->red), 0, 1});
}

inline void WriteSeparateChroma(const Stretch& p, const Picture& picture, const Target<1, Format::r8>& blue,
                                const Target<2, Format::r8>& red, const WriteConstants& k) {
    if (areFixed(picture.view, blue.view)) return writeChroma(p, picture, blue, red, k->cells, k->ofBlue, k->ofRed);
    for (int i = 0; i < Stretch::packs; i++) {
        const Position pack = p.pack(i);
        const Float3 colour = around(picture, pack, *k);
        blue.write(pack, Float4{k->sample(colour, k->blue), 0, 0, 1});
        red.write(pack, Float4{k->sample(colour, k->red), 0, 0, 1});
    }
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
