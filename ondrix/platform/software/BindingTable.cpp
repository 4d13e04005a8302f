#include <algorithm>
#include <cstring>
#include <new>

#include <ondrix/platform/software/BindingTable.h>

namespace ondrix::software {

namespace {

using shading::Entry;
using shading::Parameter;
using shading::ParameterKind;

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

/// Makes `count` values in `memory`, each constructed by default.
template <typename T>
T* makeArray(std::pmr::memory_resource& memory, std::size_t count) {
    if (count == 0) return nullptr;
    T* array = static_cast<T*>(memory.allocate(count * sizeof(T), alignof(T)));
    std::uninitialized_value_construct_n(array, count);
    return array;
}

/// Returns the number of slots up to the highest one that a parameter of these kinds names.
std::size_t slotCount(const Entry& entry, ParameterKind kind, ParameterKind orKind) {
    std::size_t count = 0;
    for (const Parameter& parameter : parameters(entry)) {
        if (parameter.kind == kind || parameter.kind == orKind)
            count = std::max<std::size_t>(count, parameter.slot + 1);
    }
    return count;
}

/// Lists the slots whose bits are set, as in "0, 2".
std::string slotList(std::uint32_t bits) {
    std::string list;
    for (int slot = 0; slot < 32; ++slot) {
        if ((bits >> slot & 1) != 0) list += (list.empty() ? "" : ", ") + std::to_string(slot);
    }
    return list;
}

/// Says which slots are bound. It is added when one is empty: the object may lie in another one by mistake.
std::string bound(const char* kind, std::uint32_t bits) {
    return bits == 0 ? std::string("; no ") + kind + " is bound"
                     : std::string("; bound ") + kind + " slots: " + slotList(bits);
}

template <typename Slots, typename IsBound>
std::uint32_t bitsOf(const Slots& slots, IsBound isBound) {
    std::uint32_t bits = 0;
    for (std::size_t slot = 0; slot < slots.size(); ++slot) {
        if (isBound(slots[slot])) bits |= 1u << slot;
    }
    return bits;
}

}  // namespace

std::string BindingTable::named(const std::string& problem) const {
    return function_ == nullptr ? problem : std::string(function_->name) + ": " + problem;
}

std::uint32_t BindingTable::boundTextures() const {
    return bitsOf(textures_, [](const Texture* texture) { return texture != nullptr; });
}

std::uint32_t BindingTable::boundSamplers() const {
    return bitsOf(samplers_, [](const Sampler* sampler) { return sampler != nullptr; });
}

std::uint32_t BindingTable::boundBuffers() const {
    return bitsOf(buffers_, [](const BufferSlot& buffer) { return buffer.bytes != nullptr; });
}

std::string BindingTable::setTexture(const char* operation, MTLTexture* texture, std::int64_t index) {
    if (auto problem = checkSlot(operation, index, shading::textureSlots); !problem.empty()) return named(problem);
    const auto* own = dynamic_cast<const Texture*>(texture);
    if (texture != nullptr && own == nullptr) return named(foreignObject(operation, index));
    textures_[static_cast<std::size_t>(index)] = own;
    return {};
}

std::string BindingTable::setSampler(const char* operation, MTLSamplerState* sampler, std::int64_t index) {
    if (auto problem = checkSlot(operation, index, shading::samplerSlots); !problem.empty()) return named(problem);
    const auto* own = dynamic_cast<const Sampler*>(sampler);
    if (sampler != nullptr && own == nullptr) return named(foreignObject(operation, index));
    samplers_[static_cast<std::size_t>(index)] = own;
    return {};
}

std::string BindingTable::setBuffer(const char* operation, MTLBuffer* buffer, std::int64_t offset, std::int64_t index) {
    if (auto problem = checkSlot(operation, index, shading::bufferSlots); !problem.empty()) return named(problem);
    BufferSlot& slot = buffers_[static_cast<std::size_t>(index)];
    slot = {};
    if (buffer == nullptr) return {};
    const auto* own = dynamic_cast<const Buffer*>(buffer);
    if (own == nullptr) return named(foreignObject(operation, index));
    if (offset < 0 || static_cast<std::uint64_t>(offset) > own->length()) {
        return named(std::string(operation) + ": offset " + std::to_string(offset) + " for slot " +
                     std::to_string(index) + " is outside the buffer of " + std::to_string(own->length()) + " bytes");
    }
    slot = {own->bytes() + offset, own->length() - static_cast<std::uint64_t>(offset)};
    return {};
}

std::string BindingTable::setBytes(const char* operation, const void* bytes, std::int64_t length, std::int64_t index,
                                   std::pmr::memory_resource& memory) {
    if (bytes == nullptr || length < 1) {
        return std::string(operation) + ": no bytes are given for slot " + std::to_string(index);
    }
    if (auto problem = checkSlot(operation, index, shading::bufferSlots); !problem.empty()) return named(problem);
    const auto size = static_cast<std::size_t>(length);
    auto* copy = static_cast<std::byte*>(memory.allocate(size, 16));
    std::memcpy(copy, bytes, size);
    buffers_[static_cast<std::size_t>(index)] = {copy, size};
    return {};
}

std::string BindingTable::checkTexture(const Entry& entry, const Parameter& parameter) const {
    const bool written = parameter.kind == ParameterKind::target;
    const auto slot = [&] { return std::string(entry.name) + ": " + slotName("texture", parameter.slot); };
    const char* use =
        written ? ", but the function writes a texture there" : ", but the function reads a texture there";
    const Texture* texture = textures_[parameter.slot];
    if (texture == nullptr) return slot() + " is empty" + use + bound("texture", boundTextures());
    if (!texture->allows(written ? MTLTextureUsage::shaderWrite : MTLTextureUsage::shaderRead)) {
        return slot() + " holds a texture without the usage " + (written ? "shaderWrite" : "shaderRead") + use;
    }
    return {};
}

std::string BindingTable::checkConstants(const Entry& entry, const Parameter& parameter) const {
    const BufferSlot& buffer = buffers_[parameter.slot];
    if (buffer.bytes != nullptr && buffer.size >= parameter.size) return {};
    return std::string(entry.name) + ": " + slotName("buffer", parameter.slot) +
           (buffer.bytes == nullptr ? std::string(" is empty")
                                    : " provides " + std::to_string(buffer.size) + " bytes") +
           ", but the function reads " + std::to_string(parameter.size) + " bytes of constants there" +
           (buffer.bytes == nullptr ? bound("buffer", boundBuffers()) : std::string());
}

std::string BindingTable::resolve(const Entry& entry, std::pmr::memory_resource& memory, BoundFunction& function) {
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
        const std::uint32_t bit = 1u << parameter.slot;
        if (parameter.kind == ParameterKind::texture || parameter.kind == ParameterKind::target) {
            usedTextures_ |= bit;
            if (auto problem = checkTexture(entry, parameter); !problem.empty()) return problem;
            textures[parameter.slot] = textures_[parameter.slot]->view();
        } else if (parameter.kind == ParameterKind::sampler) {
            usedSamplers_ |= bit;
            if (samplers_[parameter.slot] == nullptr) {
                return std::string(entry.name) + ": " + slotName("sampler", parameter.slot) +
                       " is empty, but the function samples with it" + bound("sampler", boundSamplers());
            }
            samplers[parameter.slot] = samplers_[parameter.slot]->view();
        } else if (parameter.kind == ParameterKind::constants) {
            usedBuffers_ |= bit;
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
                                     const char* targetName) const {
    for (const Parameter& parameter : parameters(entry)) {
        if (parameter.kind != ParameterKind::texture) continue;
        if (!overlap(textures_[parameter.slot]->view(), target)) continue;
        return std::string(entry.name) + ": " + slotName("texture", parameter.slot) + " shares its memory with " +
               targetName + ", but a texture cannot be read and written at once";
    }
    return {};
}

void BindingTable::tellLargeConstants(const Entry& entry, ProblemLog& problems) const {
    for (const Parameter& parameter : parameters(entry)) {
        if (parameter.kind != ParameterKind::constants) continue;
        const std::uint64_t size = buffers_[parameter.slot].size;
        if (size <= parameter.size) continue;
        const std::string slot = std::string(entry.name) + ": " + slotName("buffer", parameter.slot);
        problems.finding(os::LogType::info, slot + " size",
                         slot + " provides " + std::to_string(size) + " bytes, of which the function reads " +
                             std::to_string(parameter.size) + "; are both sides' structs the same?");
    }
}

void BindingTable::tellUnused(std::uint32_t meshBuffers, ProblemLog& problems) const {
    if (function_ == nullptr) return;
    const auto tell = [&](const char* kind, std::uint32_t bits, std::uint32_t used) {
        if ((bits & ~used) == 0) return;
        const std::string name = std::string(function_->name) + ": ";
        problems.finding(os::LogType::info, name + "unused " + kind,
                         name + "bound " + kind + " slots that it doesn't use: " + slotList(bits & ~used) +
                             (used == 0 ? std::string("; it uses none") : "; it uses " + slotList(used)));
    };
    tell("texture", boundTextures(), usedTextures_);
    tell("sampler", boundSamplers(), usedSamplers_);
    tell("buffer", boundBuffers() & ~meshBuffers, usedBuffers_);
}

}  // namespace ondrix::software
