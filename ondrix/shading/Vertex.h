#pragma once

#include <tuple>

#include <ondrix/shading/Vectors.h>

namespace ondrix::shading {

/// An attribute of the vertices that are worked on; `attributeIndex` is its index in the vertex descriptor. Used as the
/// vector that it is: `Float`, `Float2`, `Float3` or `Float4`.
template <class Vector, int attributeIndex>
struct VertexInput : Vector {};

/// What a vertex function returns: the position in clip space (x and y from -w to w, y up; z from 0 to w) and the
/// values that are interpolated, which the fragment function takes in the same order as `Varying1` to `Varying4`.
template <class... Varyings>
struct VertexOut {
    Float4 position;
    std::tuple<Varyings...> varyings{};
};
template <>
struct VertexOut<> {
    Float4 position;
};

}  // namespace ondrix::shading
