#pragma once

/// Everything that the source of a GPU function includes.
///
/// A function's parameters are its bindings: `Texture<slot>`, `Target<slot>`, `Sampler<slot>`, `Constants<Struct,
/// slot>`, `VertexInput<Vector, attribute>`, `Varying1` to `Varying4`, `Position`. It computes with packs (`Float`,
/// `Float2` ...), one value for each of the pixels that are worked on at once. Values of different pixels part ways by
/// `select`, never by `if`. The same source is compiled once for every SIMD level and gives the same bits on each.
#include <ondrix/shading/FunctionTable.h>
#include <ondrix/shading/LookUp.h>
#include <ondrix/shading/Math.h>
