#pragma once

#include <array>
#include <cstdint>
#include <memory_resource>
#include <string>

#include <ondrix/platform/software/Buffer.h>
#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/Sampler.h>
#include <ondrix/platform/software/Texture.h>

namespace ondrix::software {

/// What an encoder has bound for one stage. Refers to objects that the command buffer holds. Operations that can't be
/// done return a text that says so, and an empty one otherwise.
class BindingTable {
public:
    /// `operation` is the encoder's operation, for the text.
    [[nodiscard]] std::string setTexture(const char* operation, MTLTexture* texture, std::int64_t index);
    [[nodiscard]] std::string setSampler(const char* operation, MTLSamplerState* sampler, std::int64_t index);
    [[nodiscard]] std::string setBuffer(const char* operation, MTLBuffer* buffer, std::int64_t offset,
                                        std::int64_t index);
    /// `bytes` must stay valid as long as the command buffer's work.
    [[nodiscard]] std::string setBytes(const char* operation, const std::byte* bytes, std::int64_t length,
                                       std::int64_t index);

    /// Checks what `entry` needs and describes it in `memory`.
    [[nodiscard]] std::string resolve(const shading::Entry& entry, std::pmr::memory_resource& memory,
                                      BoundFunction& function) const;
    /// Fails when a texture that `entry` reads shares memory with `target`, which the same command writes.
    [[nodiscard]] std::string checkReads(const shading::Entry& entry, const shading::TextureView& target,
                                         const std::string& targetName) const;

    struct BufferSlot {
        const std::byte* bytes = nullptr;  ///< after the offset; null when empty
        std::uint64_t size = 0;            ///< bytes from there to the end
    };
    [[nodiscard]] const BufferSlot& buffer(std::uint64_t index) const { return buffers_[index]; }
    [[nodiscard]] const Texture* texture(std::uint64_t index) const { return textures_[index]; }

private:
    [[nodiscard]] std::string checkTexture(const shading::Entry& entry, const shading::Parameter& parameter) const;
    [[nodiscard]] std::string checkConstants(const shading::Entry& entry, const shading::Parameter& parameter) const;

    std::array<const Texture*, shading::textureSlots> textures_{};
    std::array<const Sampler*, shading::samplerSlots> samplers_{};
    std::array<BufferSlot, shading::bufferSlots> buffers_{};
};

}  // namespace ondrix::software
