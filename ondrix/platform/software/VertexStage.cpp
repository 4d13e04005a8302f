#include <algorithm>
#include <cstring>
#include <numeric>

#include <ondrix/platform/software/Pipeline.h>
#include <ondrix/platform/software/VertexStage.h>

namespace ondrix::software {

std::uint32_t VertexStage::index(std::int64_t position) const noexcept {
    if (draw_.indexType == MTLIndexType::uint16) {
        std::uint16_t value = 0;
        std::memcpy(&value, draw_.indices + position * 2, sizeof(value));
        return value;
    }
    std::uint32_t value = 0;
    std::memcpy(&value, draw_.indices + position * 4, sizeof(value));
    return value;
}

void VertexStage::run(std::int64_t first, int count) {
    first_ = first;
    stride_ = 4 + draw_.pipeline->vertexComponents();
    lowest_ = index(first);
    std::uint32_t highest = lowest_;
    for (int position = 1; position < count; ++position) {
        const std::uint32_t vertex = index(first + position);
        lowest_ = std::min(lowest_, vertex);
        highest = std::max(highest, vertex);
    }
    shared_ = highest - lowest_ < static_cast<std::uint32_t>(count);
    auto& vertices = context_.vertices;
    vertices.resize(shared_ ? highest - lowest_ + 1 : static_cast<std::size_t>(count));
    if (shared_) {
        std::iota(vertices.begin(), vertices.end(), lowest_);
    } else {
        for (int position = 0; position < count; ++position) {
            vertices[static_cast<std::size_t>(position)] = index(first + position);
        }
    }
    context_.vertexResults.resize(vertices.size() * static_cast<std::size_t>(stride_));
    const shading::VertexTask task{
        draw_.vertex.bindings,         draw_.streams, vertices.data(), static_cast<std::int32_t>(vertices.size()),
        context_.vertexResults.data(), stride_};
    draw_.vertex.entry->runVertex(&task);
}

const float* VertexStage::result(int position) const noexcept {
    const std::size_t place = shared_ ? index(first_ + position) - lowest_ : static_cast<std::size_t>(position);
    return context_.vertexResults.data() + place * static_cast<std::size_t>(stride_);
}

}  // namespace ondrix::software
