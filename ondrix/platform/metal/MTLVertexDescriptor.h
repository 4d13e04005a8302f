#pragma once

#include <cstdint>
#include <map>
#include <memory>

namespace ondrix {

/// Element types of vertex attributes; any other raw value is refused when a pipeline is built.
enum class MTLVertexFormat : std::uint64_t { invalid = 0, float1 = 28, float2 = 29, float3 = 30, float4 = 31 };
enum class MTLVertexStepFunction : std::uint64_t { constant = 0, perVertex = 1 };

/// Where one attribute lies in its vertex.
struct MTLVertexAttributeDescriptor {
    MTLVertexFormat format = MTLVertexFormat::invalid;
    std::uint64_t offset = 0;       ///< bytes from the start of a vertex
    std::uint64_t bufferIndex = 0;  ///< slot of the vertex buffer, 0 to 30
};

/// How the vertices of one buffer follow each other. With the step function `constant`, all have the first one's
/// values.
struct MTLVertexBufferLayoutDescriptor {
    std::uint64_t stride = 0;  ///< bytes from one vertex to the next
    MTLVertexStepFunction stepFunction = MTLVertexStepFunction::perVertex;
    std::uint64_t stepRate = 1;  ///< without effect: every vertex has values of its own
};

/// How a pipeline reads vertex buffers: attributes by their index, counted from 0 as the vertex function's parameters
/// are, and layouts by buffer slot.
struct MTLVertexDescriptor {
    std::map<std::uint64_t, MTLVertexAttributeDescriptor> attributes;
    std::map<std::uint64_t, MTLVertexBufferLayoutDescriptor> layouts;
};

}  // namespace ondrix
