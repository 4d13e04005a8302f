#include <ondrix/conversion/YUVToRGBConstants.h>
#include <ondrix/shading/Shading.h>
#include <ondrix/shading/YCbCr.h>

using namespace ondrix::shading;

namespace {

struct Weights : YCbCrWeights {
    explicit Weights(const ondrix::YUVToRGBConstants& k)
        : YCbCrWeights(k.colorMatrix, k.chromaOffset.x, k.chromaOffset.y, k.lumaOffset.x) {}
};

/// Any constants are followed to within one level of exact arithmetic. The framework's own, and all that are like them
/// (`YCbCrWeights` says how), take fixed-point numbers; others are several times slower.
inline void CS_Main(const Stretch& p, const Texture<0, Format::r8, Reach::own>& luma,
                    const Texture<1, Format::rg8, Sides::half, NearRows{0, 0, 1, 2}>& chroma, const Target<2>& output,
                    const Constants<ondrix::YUVToRGBConstants, 0, Weights>& weights) {
    output.write(p, convertYCbCr(luma, chroma, p, *weights));
}

const FunctionTable functions{
    computeFunction<CS_Main>("Ondrix::YUVtoRGB::CS_Main"),
};

}  // namespace
