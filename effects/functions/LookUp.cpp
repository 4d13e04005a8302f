#include <ondrix/shading/Shading.h>

#include "Constants.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

/// The entries before and after a place on an axis of the table, and how far it is from one to the other.
struct Place {
    Int before, after;
    Float weight;
};

inline Place place(const LookUp& settings, int axis, Float component) {
    const int last = settings.size - 1;
    const float entries = last / (settings.maximum[axis] - settings.minimum[axis]);  // for a step from 0 to 1
    const Float at = clamp((component - settings.minimum[axis]) * entries, 0, last);
    const Int before = toInt(at);
    return {before, min(before + 1, last), at - Float(before)};
}

inline void CS_Main(const Position& p, const Texture<0, Reach::own>& in, const Texture<1, Format::rgba32f>& table,
                    const Target<2>& out, const Constants<LookUp, 0>& settings) {
    const Texel colour = in.read(p);
    const Place red = place(settings, 0, colour.x), green = place(settings, 1, colour.y),
                blue = place(settings, 2, colour.z);
    const auto entry = [&](Int r, Int g, Int b) {  // 16 squares of red and green in a row, one for each blue
        return table.read(Int2{(b & 15) * settings->size + r, (b >> 4) * settings->size + g}).xyz();
    };
    const auto alongRed = [&](Int g, Int b) {
        return mix(entry(red.before, g, b), entry(red.after, g, b), red.weight);
    };
    const auto alongGreen = [&](Int b) {
        return mix(alongRed(green.before, b), alongRed(green.after, b), green.weight);
    };
    const Float3 found = mix(alongGreen(blue.before), alongGreen(blue.after), blue.weight);
    const Float3 result = mix(colour.xyz(), found, settings->strength);
    out.write(p, Float4{result.x, result.y, result.z, colour.w});
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::LookUp")};

}  // namespace
