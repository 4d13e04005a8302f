#pragma once

/// What the GPU functions in the documents are given, and the statements of one.

#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

struct Settings {
    float gain;
};

extern const Position& p;
extern const Texture<0>& in;
extern const Target<1>& out;
extern const Constants<Settings, 0>& settings;
extern const Texture<0>& image;
extern const Sampler<0>& linear;
extern const Varying2& uv;
extern const Texture<2>& curve;
extern const Texture<3>& cube;
extern const Float4 colour, dark, light;

// What tables name; a block with functions of its own has them in a namespace of its own.
inline void CS_Main(const Position&, const Target<1>&) {}
inline VertexOut<Float2> VS_Main(VertexInput<Float3, 0> position, VertexInput<Float2, 1> texCoords) {
    return {{position.x, position.y, position.z, 1}, {texCoords}};
}
inline Float4 FS_Main(const Varying2&, const Texture<0>& texture, const Sampler<0>&) {
    return texture.read(p);
}
