#pragma once

#include <algorithm>

#include <ondrix/shading/Shading.h>

/// What several of the functions do.
namespace ondrix::effects::functions {

/// How bright colours look; of white 1.
inline shading::Float luminance(const shading::Float3& colour) {
    return dot(colour, shading::Float3{0.2126f, 0.7152f, 0.0722f});
}

/// The pixels `offset` away from a position inside the texture; beyond an edge those at the edge.
template <class Texture>
inline shading::Texel readClamped(const Texture& texture, const shading::Position& p, shading::Offset offset) {
    const int x = p.x + offset.x, y = std::clamp(p.y + offset.y, 0, texture.height() - 1);
    if (x >= 0 && x + p.count <= texture.width()) return texture.read(p + shading::Offset{offset.x, y - p.y});
    const shading::Int columns = clamp(shading::Int2(p).x + offset.x, 0, texture.width() - 1);
    return texture.read(shading::Int2{columns, y});
}

}  // namespace ondrix::effects::functions
