#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <ondrix/platform/metal/MTLTypes.h>
#include <ondrix/shading/Module.h>

/// Recorded work, as plain data in the memory of its command buffer. Everything that it points to is checked when it is
/// recorded and held by the command buffer, so that running it can only fail for want of memory.
namespace ondrix::software {

class ProblemLog;
class RenderPipeline;

[[nodiscard]] inline std::span<const shading::Parameter> parameters(const shading::Entry& entry) noexcept {
    return {entry.parameters, entry.parameterCount};
}

/// Constants of a function: `size` bytes of a buffer, copied when the command runs.
struct ConstantsCopy {
    const std::byte* source = nullptr;  ///< copied by words if it is 4-byte aligned, else by bytes
    std::byte* destination = nullptr;   ///< 64-byte aligned
    std::uint32_t size = 0;             ///< bytes
};

/// A function together with what is bound to its slots.
struct BoundFunction {
    const shading::Entry* entry = nullptr;
    shading::Bindings bindings;
    ConstantsCopy* copies = nullptr;
    int copyCount = 0;
    ProblemLog* problems = nullptr;  ///< the log of its pipeline

    /// Takes the values that the constants have now.
    void copyConstants() const noexcept;
    /// Bytes of scratch that a thread needs for a target or grid `width` pixels wide.
    [[nodiscard]] std::size_t scratchBytes(std::int32_t width) const noexcept;
};

struct Command {
    enum class Kind { dispatch, renderPass };

    Kind kind;
    Command* next = nullptr;
};

struct DispatchCommand : Command {
    BoundFunction function;
    std::int32_t width = 0;        ///< positions in x; 0 when nothing is written
    std::int32_t height = 0;       ///< rows
    std::int64_t bytesPerRow = 0;  ///< roughly what is read and written for one row
    std::int64_t bytes = 0;        ///< of all textures that are read or written
    std::uint64_t serial = 0;      ///< tells this dispatch from all others
    bool streaming = false;        ///< results are stored past the caches; decided when it runs
};

struct DrawCommand {
    const RenderPipeline* pipeline = nullptr;
    BoundFunction vertex, fragment;
    const shading::VertexStream* streams = nullptr;
    MTLPrimitiveType primitiveType = MTLPrimitiveType::triangle;
    MTLIndexType indexType = MTLIndexType::uint16;
    const std::byte* indices = nullptr;
    std::int64_t indexCount = 0;
    std::int64_t bytesPerRow = 0;  ///< roughly what is read for one row of the target
    std::int64_t bytes = 0;        ///< of all textures that are read
    DrawCommand* next = nullptr;
};

struct RenderPassCommand : Command {
    shading::TextureView target;
    MTLLoadAction loadAction = MTLLoadAction::dontCare;
    MTLClearColor clearColor;
    DrawCommand* firstDraw = nullptr;
    DrawCommand* lastDraw = nullptr;
};

/// Returns a number that no dispatch or draw of this process has had yet.
[[nodiscard]] std::uint64_t nextSerial() noexcept;

}  // namespace ondrix::software
