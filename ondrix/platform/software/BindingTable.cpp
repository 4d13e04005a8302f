#include <algorithm>
#include <new>
#include <span>

#include <ondrix/platform/software/BindingTable.h>

namespace ondrix::software {

namespace {

using shading::Entry;
using shading::Parameter;
using shading::ParameterKind;

std::span<const Parameter> parameters(const Entry& entry) {
    return {entry.parameters, entry.parameterCount};
}

std::string slotName(const char* kind, std::uint64_t slot) {
    return std::string(kind) + " slot " + std::to_string(slot);
}

std::string checkSlot(const char* operation, std::int64_t index, int slots) {
    if (index >= 0 && index < slots) return {};
    return std::string(operation) + ": slot " + std::to_string(index) + " is out of range; the slots are 0 to " +
           std::to_string(slots - 1);
}

std::string foreignObject(const char* operation, std::int64_t index) {
    return std::string(operation) + ": the object for slot " + std::to_string(index) + " was made by another device";
}

/// `count` values in `memory`, each as constructed by default.
template <typename T>
T* makeArray(std::pmr::memory_resource& memory, std::size_t count) {
    if (count == 0) return nullptr;
    T* array = static_cast<T*>(memory.allocate(count * sizeof(T), alignof(T)));
    std::uninitialized_value_construct_n(array, count);
    return array;
}

/// Number of slots up to the highest that a parameter of one of the kinds names.
std::size_t slotCount(const Entry& entry, ParameterKind kind, ParameterKind orKind) {
    std::size_t count = 0;
    for (const Parameter& parameter : parameters(entry)) {
        if (parameter.kind == kind || parameter.kind == orKind)
            count = std::max<std::size_t>(count, parameter.slot + 1);
    }
    return count;
}

}  // namespace

std::string BindingTable::setTexture(const char* operation, MTLTexture* texture, std::int64_t index) {
    if (auto problem = checkSlot(operation, index, shading::textureSlots); !problem.empty()) return problem;
    const auto* own = dynamic_cast<const Texture*>(texture);
    if (texture != nullptr && own == nullptr) return foreignObject(operation, index);
    textures_[static_cast<std::size_t>(index)] = own;
    return {};
}

std::string BindingTable::setSampler(const char* operation, MTLSamplerState* sampler, std::int64_t index) {
    if (auto problem = checkSlot(operation, index, shading::samplerSlots); !problem.empty()) return problem;
    const auto* own = dynamic_cast<const Sampler*>(sampler);
    if (sampler != nullptr && own == nullptr) return foreignObject(operation, index);
    samplers_[static_cast<std::size_t>(index)] = own;
    return {};
}

std::string BindingTable::setBuffer(const char* operation, MTLBuffer* buffer, std::int64_t offset, std::int64_t index) {
    if (auto problem = checkSlot(operation, index, shading::bufferSlots); !problem.empty()) return problem;
    BufferSlot& slot = buffers_[static_cast<std::size_t>(index)];
    slot = {};
    if (buffer == nullptr) return {};
    const auto* own = dynamic_cast<const Buffer*>(buffer);
    if (own == nullptr) return foreignObject(operation, index);
    if (offset < 0 || static_cast<std::uint64_t>(offset) > own->length()) {
        return std::string(operation) + ": offset " + std::to_string(offset) + " for slot " + std::to_string(index) +
               " is outside the buffer of " + std::to_string(own->length()) + " bytes";
    }
    slot = {own->bytes() + offset, own->length() - static_cast<std::uint64_t>(offset)};
    return {};
}

std::string BindingTable::setBytes(const char* operation, const std::byte* bytes, std::int64_t length,
                                   std::int64_t index) {
    if (auto problem = checkSlot(operation, index, shading::bufferSlots); !problem.empty()) return problem;
    buffers_[static_cast<std::size_t>(index)] = {bytes, static_cast<std::uint64_t>(length)};
    return {};
}

std::string BindingTable::checkTexture(const Entry& entry, const Parameter& parameter) const {
    const bool written = parameter.kind == ParameterKind::target;
    const std::string slot = std::string(entry.name) + ": " + slotName("texture", parameter.slot);
    const char* use =
        written ? ", but the function writes a texture there" : ", but the function reads a texture there";
    const Texture* texture = textures_[parameter.slot];
    if (texture == nullptr) return slot + " is empty" + use;
    if (!texture->allows(written ? MTLTextureUsage::shaderWrite : MTLTextureUsage::shaderRead)) {
        return slot + " holds a texture without the usage " + (written ? "shaderWrite" : "shaderRead") + use;
    }
    return {};
}

std::string BindingTable::checkConstants(const Entry& entry, const Parameter& parameter) const {
    const BufferSlot& buffer = buffers_[parameter.slot];
    if (buffer.bytes != nullptr && buffer.size >= parameter.size) return {};
    return std::string(entry.name) + ": " + slotName("buffer", parameter.slot) +
           (buffer.bytes == nullptr ? std::string(" is empty")
                                    : " provides " + std::to_string(buffer.size) + " bytes") +
           ", but the function reads " + std::to_string(parameter.size) + " bytes of constants there";
}

std::string BindingTable::resolve(const Entry& entry, std::pmr::memory_resource& memory,
                                  BoundFunction& function) const {
    auto* textures =
        makeArray<shading::TextureView>(memory, slotCount(entry, ParameterKind::texture, ParameterKind::target));
    auto* samplers =
        makeArray<shading::SamplerView>(memory, slotCount(entry, ParameterKind::sampler, ParameterKind::sampler));
    auto* constants =
        makeArray<const void*>(memory, slotCount(entry, ParameterKind::constants, ParameterKind::constants));
    function.entry = &entry;
    function.bindings = {textures, samplers, constants};
    function.copies = makeArray<ConstantsCopy>(memory, entry.parameterCount);
    for (const Parameter& parameter : parameters(entry)) {
        if (parameter.kind == ParameterKind::texture || parameter.kind == ParameterKind::target) {
            if (auto problem = checkTexture(entry, parameter); !problem.empty()) return problem;
            textures[parameter.slot] = textures_[parameter.slot]->view();
        } else if (parameter.kind == ParameterKind::sampler) {
            if (samplers_[parameter.slot] == nullptr) {
                return std::string(entry.name) + ": " + slotName("sampler", parameter.slot) +
                       " is empty, but the function samples with it";
            }
            samplers[parameter.slot] = samplers_[parameter.slot]->view();
        } else if (parameter.kind == ParameterKind::constants) {
            if (auto problem = checkConstants(entry, parameter); !problem.empty()) return problem;
            auto* copy = static_cast<std::byte*>(
                memory.allocate(std::max<std::size_t>(parameter.size, 1), AlignedMemory::alignment));
            function.copies[function.copyCount++] = {buffers_[parameter.slot].bytes, copy, parameter.size};
            constants[parameter.slot] = copy;
        }
    }
    return {};
}

std::string BindingTable::checkReads(const Entry& entry, const shading::TextureView& target,
                                     const std::string& targetName) const {
    for (const Parameter& parameter : parameters(entry)) {
        if (parameter.kind != ParameterKind::texture) continue;
        if (!overlap(textures_[parameter.slot]->view(), target)) continue;
        return std::string(entry.name) + ": " + slotName("texture", parameter.slot) + " shares its memory with " +
               targetName + ", but a texture cannot be read and written at once";
    }
    return {};
}

}  // namespace ondrix::software
