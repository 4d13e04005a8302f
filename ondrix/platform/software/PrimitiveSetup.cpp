#include <algorithm>
#include <cmath>

#include <ondrix/platform/software/Pipeline.h>
#include <ondrix/platform/software/PrimitiveSetup.h>

namespace ondrix::software {

PrimitiveSetup::PrimitiveSetup(const DrawCommand& draw, const shading::TextureView& target, ExecutionContext& context)
    : draw_(draw),
      target_(target),
      context_(context),
      clipper_(target.width, target.height),
      planes_(target.width, target.height, draw.pipeline->fragmentComponents()) {}

void PrimitiveSetup::push(Primitive primitive) {
    primitive.clamp(target_.width, target_.height);
    if (!primitive.isEmpty()) context_.primitives.push_back(primitive);
}

/// Adds the primitives of a clipped polygon, line or point.
void PrimitiveSetup::cover(const Clipper::Polygon& polygon, int count, bool triangle) {
    std::array<SnappedPoint, Clipper::maximumVertices> points;
    for (std::size_t index = 0; index < static_cast<std::size_t>(count); ++index) {
        points[index] = clipper_.snap(polygon[index]);
    }
    if (!triangle) {
        push(count == 1 ? Primitive::point(points[0]) : Primitive::line(points[0], points[1]));
        return;
    }
    for (std::size_t index = 2; index < static_cast<std::size_t>(count); ++index) {
        push(Primitive::triangle(points[0], points[index - 1], points[index]));
    }
}

void PrimitiveSetup::add(const float* const* vertices, int count) {
    Clipper::Polygon polygon;
    for (int index = 0; index < count; ++index) {
        const float* v = vertices[index];
        if (!std::isfinite(v[0]) || !std::isfinite(v[1]) || !std::isfinite(v[2]) || !std::isfinite(v[3])) return;
        polygon[static_cast<std::size_t>(index)] = {v[0], v[1], v[2], v[3]};
    }
    const int left = clipper_.clip(polygon, count);
    if (left < count) return;
    auto& primitives = context_.primitives;
    const auto before = static_cast<int>(primitives.size());
    cover(polygon, left, count == 3);
    const int added = static_cast<int>(primitives.size()) - before;
    if (added == 0) return;

    PrimitiveGroup group;
    group.task.bindings = draw_.fragment.bindings;
    group.task.target = target_;
    group.run = draw_.fragment.entry->runFragment;
    group.first = before;
    group.count = added;
    const Primitive& first = primitives[static_cast<std::size_t>(before)];
    group.x0 = first.x0, group.x1 = first.x1, group.y0 = first.y0, group.y1 = first.y1;
    const auto widen = [](PrimitiveGroup& box, const auto& by) {
        box.x0 = std::min(box.x0, by.x0);
        box.x1 = std::max(box.x1, by.x1);
        box.y0 = std::min(box.y0, by.y0);
        box.y1 = std::max(box.y1, by.y1);
    };
    for (int index = before + 1; index < before + added; ++index) {
        widen(group, primitives[static_cast<std::size_t>(index)]);
    }
    planes_.set(group.task, vertices, count);

    if (groupOpen_ && count == 3 && context_.groups.back().count + added <= PrimitiveGroup::maximumSize) {
        PrimitiveGroup& last = context_.groups.back();
        PrimitiveGroup both = last;
        widen(both, group);
        if (planes_.agree(last.task, group.task, both.x0, both.x1, both.y0, both.y1)) {
            widen(last, group);
            last.count += added;
            return;
        }
    }
    group.task.serial = nextSerial();
    context_.groups.push_back(group);
    groupOpen_ = true;
}

}  // namespace ondrix::software
