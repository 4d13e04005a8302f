#pragma once

#include <array>
#include <cstdint>
#include <memory_resource>
#include <string>

#include <ondrix/platform/software/Buffer.h>
#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/ProblemLog.h>
#include <ondrix/platform/software/Sampler.h>
#include <ondrix/platform/software/Texture.h>

namespace ondrix::software {

/// What an encoder has bound for one stage. Refers to objects that the command buffer holds. Operations that can't be
/// done return a text that says so, and an empty one otherwise.
class BindingTable {
public:
    /// Sets the function that texts about problems name; null for none.
    void setFunction(const shading::Entry* entry) { function_ = entry; }

    /// `operation` names the encoder's operation in texts about problems.
    [[nodiscard]] std::string setTexture(const char* operation, MTLTexture* texture, std::int64_t index);
    [[nodiscard]] std::string setSampler(const char* operation, MTLSamplerState* sampler, std::int64_t index);
    [[nodiscard]] std::string setBuffer(const char* operation, MTLBuffer* buffer, std::int64_t offset,
                                        std::int64_t index);
    /// Binds a copy of the bytes, which lies in `memory`.
    [[nodiscard]] std::string setBytes(const char* operation, const void* bytes, std::int64_t length,
                                       std::int64_t index, std::pmr::memory_resource& memory);

    /// Checks what `entry` needs and describes it in `memory`.
    [[nodiscard]] std::string resolve(const shading::Entry& entry, std::pmr::memory_resource& memory,
                                      BoundFunction& function);
    /// Fails when a texture that `entry` reads shares memory with `target`, which the same command writes.
    [[nodiscard]] std::string checkReads(const shading::Entry& entry, const shading::TextureView& target,
                                         const char* targetName) const;

    // Validation: what fits but looks wrong is told to `problems`.

    /// Tells of buffers that hold more than `entry` reads as constants.
    void tellLargeConstants(const shading::Entry& entry, ProblemLog& problems) const;
    /// Tells of bound slots that none of the functions uses which were resolved with this table, under the name of the
    /// last one. `meshBuffers` has a bit for each buffer slot that vertices are read from.
    void tellUnused(std::uint32_t meshBuffers, ProblemLog& problems) const;

    struct BufferSlot {
        const std::byte* bytes = nullptr;  ///< after the offset; null when empty
        std::uint64_t size = 0;            ///< bytes from there to the end
    };
    [[nodiscard]] const BufferSlot& buffer(std::uint64_t index) const { return buffers_[index]; }
    [[nodiscard]] const Texture* texture(std::uint64_t index) const { return textures_[index]; }

private:
    [[nodiscard]] std::string checkTexture(const shading::Entry& entry, const shading::Parameter& parameter) const;
    [[nodiscard]] std::string checkConstants(const shading::Entry& entry, const shading::Parameter& parameter) const;
    [[nodiscard]] std::string named(const std::string& problem) const;
    /// The slots that are bound, a bit for each.
    [[nodiscard]] std::uint32_t boundTextures() const;
    [[nodiscard]] std::uint32_t boundSamplers() const;
    [[nodiscard]] std::uint32_t boundBuffers() const;

    std::array<const Texture*, shading::textureSlots> textures_{};
    std::array<const Sampler*, shading::samplerSlots> samplers_{};
    std::array<BufferSlot, shading::bufferSlots> buffers_{};
    const shading::Entry* function_ = nullptr;
    std::uint32_t usedTextures_ = 0, usedSamplers_ = 0, usedBuffers_ = 0;
};

}  // namespace ondrix::software
