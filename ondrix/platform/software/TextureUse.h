#pragma once

#include <ondrix/platform/software/Commands.h>

namespace ondrix::software {

/// The rows y0 <= y < y1; none when y0 >= y1.
struct RowRange {
    std::int32_t y0 = 0, y1 = 0;
};

/// A texture that a command reads or writes, and where.
struct TextureUse {
    const shading::TextureView& view;
    bool written;
    shading::Reach reach;  ///< `own` where it is written
    shading::NearRows near;
};

/// Calls `visit` for each texture of a function.
template <typename Visit>
void forEachUse(const BoundFunction& function, Visit visit) {
    using enum shading::Reach;
    for (const shading::Parameter& parameter : parameters(*function.entry)) {
        const bool written = parameter.kind == shading::ParameterKind::target;
        if (!written && parameter.kind != shading::ParameterKind::texture) continue;
        shading::Reach reach = written ? own : shading::reachOf(parameter.size);
        const bool known = reach == own || reach == near ||
                           (reach == varying && function.entry->kind == shading::FunctionKind::fragment);
        if (!known || function.entry->kind == shading::FunctionKind::vertex) reach = anywhere;
        visit(TextureUse{function.bindings.textures[parameter.slot], written, reach,
                         shading::nearRowsOf(parameter.size)});
    }
}

/// Calls `visit` for each texture of a render pass.
template <typename Visit>
void forEachUse(const RenderPassCommand& pass, Visit visit) {
    visit(TextureUse{pass.target, true, shading::Reach::own, {}});
    for (const DrawCommand* draw = pass.firstDraw; draw != nullptr; draw = draw->next) {
        forEachUse(draw->vertex, visit);
        forEachUse(draw->fragment, visit);
    }
}

/// Whether a row of one is the same row of the other.
[[nodiscard]] inline bool same(const shading::TextureView& a, const shading::TextureView& b) noexcept {
    return a.bytes == b.bytes && a.bytesPerRow == b.bytesPerRow && a.width == b.width && a.height == b.height &&
           a.format == b.format;
}

}  // namespace ondrix::software
