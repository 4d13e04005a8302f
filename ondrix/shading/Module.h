#pragma once

#include <cstddef>
#include <cstdint>

/// The boundary between a device and a shader library's modules: plain data and function pointers only, since a module
/// and its host may be built by different compilers for different instruction sets. Everything here is owned by the
/// caller and valid for the duration of one call, unless it says otherwise. Module functions are reentrant and never
/// throw.
namespace ondrix::shading {

/// Grows with every change of this file; a module of another version is refused.
inline constexpr std::uint32_t moduleVersion = 3;

inline constexpr int textureSlots = 31;
inline constexpr int bufferSlots = 31;
inline constexpr int samplerSlots = 16;
inline constexpr int maximumVaryings = 8;            ///< values that a vertex function hands to a fragment function
inline constexpr int maximumVaryingComponents = 16;  ///< floats in all of them together
inline constexpr int maximumVertexInputs = 16;

/// Pixels of a bound texture. `format` is the raw value of an MTLPixelFormat.
struct TextureView {
    std::uint8_t* bytes = nullptr;
    std::int64_t bytesPerRow = 0;  ///< at least width times the bytes of a pixel; if these are four, a multiple of 4
    std::int32_t width = 0;        ///< 1 to 16384
    std::int32_t height = 0;       ///< 1 to 16384
    std::uint32_t format = 0;
};

/// Raw values of the MTLSampler enumerations.
struct SamplerView {
    std::uint8_t minFilter = 0;
    std::uint8_t magFilter = 0;
    std::uint8_t sAddressMode = 0;
    std::uint8_t tAddressMode = 0;
    std::uint8_t borderColor = 0;
};

/// What a module of the level "checked" looks for beside its work.
enum class Check : std::int32_t {
    readOutside,       ///< a position outside the texture was read
    writtenOutside,    ///< a position outside the target was written
    writtenElsewhere,  ///< a target was written at another position than the function's own
    sampledNowhere,    ///< a coordinate was infinite or not a number
    readElsewhere,     ///< a texture with Reach::own was read at another position than the function's own
};
inline constexpr int checkCount = 5;

/// What one check found at one texture slot. The pixel is the first in reading order that the function worked on when
/// it found something; in vertex functions pixelX is the number of the vertex and pixelY is -1.
struct Finding {
    std::uint64_t count = 0;
    std::int32_t pixelX = 0, pixelY = 0;
    std::int32_t x = 0, y = 0;  ///< the position that was read or written there
    std::int64_t distance = 0;  ///< pixels from the texture's edge to the furthest position of all
};

/// Filled by modules of the level "checked", by several threads at once, and left alone by all others.
struct Report {
    std::uint32_t lock = 0;  ///< 1 while a thread adds to the findings
    Finding findings[checkCount][textureSlots];
    /// Bytes that become 1 where a target's pixels are written, row by row without padding; null where nobody asks.
    std::uint8_t* written[textureSlots] = {};
};

/// What a function's slots hold, indexed by slot. Only the slots that its parameters name are looked at; the host has
/// made sure that they are filled and large enough. `constants` are copies that nobody writes to, 64-byte aligned.
struct Bindings {
    const TextureView* textures = nullptr;
    const SamplerView* samplers = nullptr;
    const void* const* constants = nullptr;
    Report* report = nullptr;  ///< for modules of the level "checked"; may be null
};

/// Value of one float over the pixels of a primitive: base + x * dx + y * dy at the centre of pixel (x, y).
struct Plane {
    double base = 0, dx = 0, dy = 0;
};

/// Pixels x0 <= x < x1 of row y.
struct Span {
    std::int32_t y, x0, x1;
};

/// Part of a dispatch: the positions x < width, y0 <= y < y1. Positions outside the written textures are left out by
/// the module. `serial` is the same for all parts of one dispatch or draw and never used twice by a process, so a
/// module can keep tables of a draw in `scratch`; `scratch` belongs to one thread at a time, is 64-byte aligned, at
/// least as large as `scratchBytes` said for these bindings, and starts with all bytes zero when it is first used or
/// has been enlarged. `streaming` tells that what is read and written is larger than the processor's caches, so results
/// are better stored past them.
struct ComputeTask {
    Bindings bindings;
    std::int32_t width = 0;
    std::int32_t y0 = 0, y1 = 0;
    std::uint64_t serial = 0;
    void* scratch = nullptr;
    std::uint8_t streaming = 0;
};

/// Part of a draw: spans of one primitive, or of several that interpolate the same planes, in rising order of rows. All
/// spans lie inside the target. `planes` holds the varyings' components one after another; when `perspective` is true
/// they are divided by w, and `inverseW` is the plane of 1/w.
struct FragmentTask {
    Bindings bindings;
    TextureView target;
    const Span* spans = nullptr;
    std::int32_t spanCount = 0;
    std::uint8_t perspective = 0;
    Plane inverseW;
    Plane planes[maximumVaryingComponents];
    std::uint64_t serial = 0;  ///< as in ComputeTask, and different for each set of planes
    void* scratch = nullptr;
    std::uint8_t streaming = 0;  ///< as in ComputeTask
};

/// One vertex attribute as it lies in memory: `components` floats at bytes + vertex * stride. Vertices from
/// `readableVertices` on read as zero.
struct VertexStream {
    const std::uint8_t* bytes = nullptr;
    std::int64_t stride = 0;
    std::int64_t readableVertices = 0;
    std::int32_t components = 0;  ///< 1 to 4; missing ones read as 0, a missing fourth as 1
};

/// Runs a vertex function for `count` vertices. Each result is four floats of clip-space position and then the
/// varyings' components, at results + i * resultStride floats.
struct VertexTask {
    Bindings bindings;
    const VertexStream* streams = nullptr;    ///< by attribute index
    const std::uint32_t* vertices = nullptr;  ///< vertex numbers
    std::int32_t count = 0;
    float* results = nullptr;
    std::int32_t resultStride = 0;
};

/// Where a function reads a texture. With all but `anywhere` a device may run it on the first rows of a texture while
/// the last ones are not written yet.
enum class Reach : std::uint32_t {
    anywhere = 0,
    own = 1,      ///< only at the position that it writes, row for row
    near = 2,     ///< only in rows near to its own, see `NearRows`
    varying = 3,  ///< fragment functions: only where the first varying points, filtered by the only sampler
};

/// The rows that a function reads for its row y: none before y / divisor - above, none after y * factor + below. Those
/// beyond an edge count as the row at the edge. `above` and `below` are 0 to 255, the others 1 to 16.
struct NearRows {
    int above = 0, below = 0;
    int factor = 1, divisor = 1;
};

/// The number that a parameter says it with: the reach in its lowest byte, and for `near` the rows above. Devices that
/// don't know a reach take it for `anywhere`.
[[nodiscard]] constexpr std::uint32_t reachNumber(Reach reach, NearRows rows) {
    const auto bits = [](int number, int place) { return static_cast<std::uint32_t>(number) << place; };
    if (reach != Reach::near) return static_cast<std::uint32_t>(reach);
    return static_cast<std::uint32_t>(reach) | bits(rows.above, 8) | bits(rows.below, 16) | bits(rows.factor - 1, 24) |
           bits(rows.divisor - 1, 28);
}
[[nodiscard]] constexpr Reach reachOf(std::uint32_t number) {
    return static_cast<Reach>(number & 255);
}
[[nodiscard]] constexpr NearRows nearRowsOf(std::uint32_t number) {
    const auto bits = [number](int place, std::uint32_t mask) { return static_cast<int>(number >> place & mask); };
    return {bits(8, 255), bits(16, 255), bits(24, 15) + 1, bits(28, 15) + 1};
}

enum class FunctionKind : std::uint32_t { vertex = 1, fragment = 2, compute = 3 };

/// What a parameter of a GPU function is.
enum class ParameterKind : std::uint32_t {
    texture = 1,      ///< read; size: its `reachNumber`
    target = 2,       ///< written; size unused
    sampler = 3,      ///< size unused
    constants = 4,    ///< size: bytes that the buffer must provide
    vertexInput = 5,  ///< slot: attribute index; size: components
    varying = 6,      ///< slot: 0, 1, ... in the order of the parameters; size: components
};

struct Parameter {
    ParameterKind kind;
    std::uint32_t slot;
    std::uint32_t size;
};

/// One GPU function. Exactly the `run...` member of its kind is set.
struct Entry {
    const char* name;
    FunctionKind kind;
    std::uint32_t parameterCount;
    const Parameter* parameters;
    std::uint32_t varyingCount;         ///< vertex functions: values handed on after the position
    const std::uint32_t* varyingSizes;  ///< vertex functions: components of each
    void (*runCompute)(const ComputeTask*);
    void (*runFragment)(const FragmentTask*);
    void (*runVertex)(const VertexTask*);
    /// Bytes of scratch that one thread needs for these bindings and a target or grid `width` pixels wide; null for
    /// none.
    std::size_t (*scratchBytes)(const Bindings*, std::int32_t width);
};

struct ModuleTable {
    std::uint32_t version;
    std::uint32_t entryCount;
    const Entry* entries;
    const char* level;    ///< the module's file name without its ending, such as "x86-64-v3"
    std::uint32_t lanes;  ///< pixels in a pack
};

}  // namespace ondrix::shading

/// The one symbol that a module exports.
extern "C" const ondrix::shading::ModuleTable* ondrix_shader_module();
