#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

#include <ondrix/platform/metal/MTLSampler.h>
#include <ondrix/platform/software/PrimitiveSetup.h>
#include <ondrix/platform/software/RenderPassRun.h>
#include <ondrix/platform/software/Validation.h>
#include <ondrix/platform/software/VertexStage.h>
#include <ondrix/shading/Encoding.h>

namespace ondrix::software {

namespace {

/// The most primitives that are set up before strips are drawn, which bounds the memory that a draw needs.
constexpr std::int64_t primitivesAtOnce = 4096;

/// A pass of a chain is set up before the steps before it run, and its groups are gone through for each of its strips.
constexpr std::int64_t mostIndicesInChains = 32;
constexpr std::size_t mostGroupsInChains = 4;

/// How many indices a primitive has, and how many the next one begins after it.
struct Assembly {
    int vertices;
    int step;
};

Assembly assembly(MTLPrimitiveType type) {
    switch (type) {
        case MTLPrimitiveType::point:
            return {1, 1};
        case MTLPrimitiveType::line:
            return {2, 2};
        case MTLPrimitiveType::lineStrip:
            return {2, 1};
        case MTLPrimitiveType::triangle:
            return {3, 3};
        case MTLPrimitiveType::triangleStrip:
            break;
    }
    return {3, 1};
}

}  // namespace

RenderPassRun::ClearPixel::ClearPixel(const shading::TextureView& target, const MTLClearColor& color) noexcept {
    const auto format = static_cast<shading::Format>(target.format);
    const float components[4] = {static_cast<float>(color.red), static_cast<float>(color.green),
                                 static_cast<float>(color.blue), static_cast<float>(color.alpha)};
    bytesPerPixel_ = static_cast<std::size_t>(shading::bytesPerPixel(format));
    for (std::size_t place = 0; place < patternSize; place += bytesPerPixel_) {
        shading::encodePixel(format, components, &pattern_[place]);
    }
}

void RenderPassRun::ClearPixel::fill(const shading::TextureView& target, std::int32_t y, std::int32_t x0,
                                     std::int32_t x1) const noexcept {
    if (x0 >= x1) return;
    std::uint8_t* place = target.bytes + target.bytesPerRow * y + static_cast<std::size_t>(x0) * bytesPerPixel_;
    std::size_t left = static_cast<std::size_t>(x1 - x0) * bytesPerPixel_;
    for (; left >= patternSize; left -= patternSize, place += patternSize) {
        std::memcpy(place, pattern_.data(), patternSize);
    }
    std::memcpy(place, pattern_.data(), left);
}

RenderPassRun::RenderPassRun(const RenderPassCommand& pass, ExecutionContext& context)
    : pass_(pass), context_(context), clears_(pass.loadAction == MTLLoadAction::clear) {
    if (clears_) clearPixel_ = ClearPixel(pass.target, pass.clearColor);
}

bool RenderPassRun::run() {
    reset();
    for (const DrawCommand* draw = pass_.firstDraw; draw != nullptr; draw = draw->next) {
        draw->vertex.copyConstants();
        draw->fragment.copyConstants();
        if (!context_.pool.reserveScratch(draw->fragment.scratchBytes(pass_.target.width))) return false;
        setUp(*draw);
    }
    flush();
    for (const DrawCommand* draw = pass_.firstDraw; draw != nullptr; draw = draw->next) {
        tellFindings(draw->vertex);
        tellFindings(draw->fragment);
    }
    return true;
}

void RenderPassRun::setUp(const DrawCommand& draw) {
    const Assembly shape = assembly(draw.primitiveType);
    if (draw.indexCount < shape.vertices) return;
    const std::int64_t count = (draw.indexCount - shape.vertices) / shape.step + 1;
    bytesPerRow_ += draw.bytesPerRow;
    bytes_ += draw.bytes;
    VertexStage stage(draw, context_);
    for (std::int64_t first = 0; first < count; first += primitivesAtOnce) {
        const auto chunk = static_cast<int>(std::min(primitivesAtOnce, count - first));
        if (static_cast<std::int64_t>(context_.primitives.size()) + chunk > primitivesAtOnce) flush();
        stage.run(first * shape.step, (chunk - 1) * shape.step + shape.vertices);
        PrimitiveSetup setup(draw, pass_.target, context_);
        for (int index = 0; index < chunk; ++index) {
            const float* vertices[3] = {};
            for (int vertex = 0; vertex < shape.vertices; ++vertex) {
                vertices[vertex] = stage.result(index * shape.step + vertex);
            }
            setup.add(vertices, shape.vertices);
        }
    }
}

/// Draws what is set up. The first time this goes over all rows if they are to be cleared.
void RenderPassRun::flush() {
    groupCount_ = context_.groups.size();
    const auto [y0, y1] = rows();
    if (y0 < y1) {
        strips_ = Strips(y0, y1, bytesPerRow_, context_.pool.threadCount());
        const std::int64_t bytes = bytes_ + pass_.target.bytesPerRow * (y1 - y0);
        streaming_ = exceedsCaches(bytes);
        context_.pool.run(strips_.count(), strip, this, bytes);
    }
    clears_ = false;
    reset();
}

void RenderPassRun::reset() {
    context_.primitives.clear();
    context_.groups.clear();
    bytesPerRow_ = pass_.target.bytesPerRow;
    bytes_ = 0;
}

std::span<const PrimitiveGroup> RenderPassRun::groups() const noexcept {
    return std::span<const PrimitiveGroup>(context_.groups).subspan(firstGroup_, groupCount_);
}

RowRange RenderPassRun::rows() const noexcept {
    if (clears_) return {0, pass_.target.height};
    RowRange rows{pass_.target.height, 0};
    for (const PrimitiveGroup& group : groups()) {
        rows = {std::min(rows.y0, group.y0), std::max(rows.y1, group.y1)};
    }
    return rows.y0 < rows.y1 ? rows : RowRange{0, 0};
}

bool RenderPassRun::fitsChains(const RenderPassCommand& pass) noexcept {
    const DrawCommand* const draw = pass.firstDraw;
    if (draw == nullptr || draw->next != nullptr || draw->indexCount > mostIndicesInChains) return false;
    const auto staysInside = [](std::uint8_t raw) {
        const auto mode = static_cast<MTLSamplerAddressMode>(raw);
        return mode == MTLSamplerAddressMode::clampToEdge || mode == MTLSamplerAddressMode::clampToZero ||
               mode == MTLSamplerAddressMode::clampToBorderColor;
    };
    const auto declared = parameters(*draw->fragment.entry);
    return std::all_of(declared.begin(), declared.end(), [&](const shading::Parameter& parameter) {
        return parameter.kind != shading::ParameterKind::sampler ||
               staysInside(draw->fragment.bindings.samplers[parameter.slot].tAddressMode);
    });
}

bool RenderPassRun::prepare() {
    const DrawCommand& draw = *pass_.firstDraw;
    firstGroup_ = context_.groups.size();
    bytesPerRow_ = pass_.target.bytesPerRow;
    draw.vertex.copyConstants();
    draw.fragment.copyConstants();
    if (!context_.pool.reserveScratch(draw.fragment.scratchBytes(pass_.target.width))) return false;
    setUp(draw);
    groupCount_ = context_.groups.size() - firstGroup_;
    streaming_ = exceedsCaches(bytes());
    return groupCount_ <= mostGroupsInChains;
}

RenderPassRun::Course RenderPassRun::course() const noexcept {
    auto course = Course::none;
    for (const PrimitiveGroup& group : groups()) {
        const shading::Plane& v = group.task.planes[1];
        const auto ofGroup = v.dy < 0 ? Course::opposite : Course::along;
        const bool isStraight =
            group.task.perspective == 0 && std::isfinite(v.base) && std::isfinite(v.dx) && std::isfinite(v.dy);
        if (!isStraight || (course != Course::none && course != ofGroup)) return Course::none;
        course = ofGroup;
    }
    return course;
}

RowRange RenderPassRun::sampledRows(RowRange rows, std::int32_t height) const noexcept {
    constexpr double around = 4;  // filters read one row more, and fast paths up to three that they don't use
    double lowest = height, highest = -1;
    for (const PrimitiveGroup& group : groups()) {
        const std::int32_t from = std::max(rows.y0, group.y0), to = std::min(rows.y1, group.y1) - 1;
        if (from > to) continue;
        const shading::Plane& v = group.task.planes[1];
        for (const std::int32_t x : {group.x0, group.x1 - 1}) {
            for (const std::int32_t y : {from, to}) {
                const double row = std::clamp((v.base + x * v.dx + y * v.dy) * height, 0.0, height - 1.0);
                lowest = std::min(lowest, row);
                highest = std::max(highest, row);
            }
        }
    }
    if (lowest > highest) return {0, 0};
    return {static_cast<std::int32_t>(std::max(lowest - around, 0.0)),
            static_cast<std::int32_t>(std::min(highest + around, height - 1.0)) + 1};
}

void RenderPassRun::strip(void* context, int strip, void* scratch) {
    const auto& self = *static_cast<const RenderPassRun*>(context);
    self.draw(self.strips_.begin(strip), self.strips_.end(strip), scratch);
}

void RenderPassRun::draw(std::int32_t y0, std::int32_t y1, void* scratch) const {
    shading::Span spans[Strips::mostRows * PrimitiveGroup::maximumSize];
    if (clears_ && groups().empty()) clear(y0, y1, nullptr, 0);
    for (const PrimitiveGroup& group : groups()) {
        const std::int32_t from = std::max(y0, group.y0);
        const std::int32_t to = std::min(y1, group.y1);
        const std::span primitives(context_.primitives.data() + group.first, static_cast<std::size_t>(group.count));
        const int count = from < to ? collectSpans(primitives, from, to, spans) : 0;
        if (clears_ && &group == &groups().front()) clear(y0, y1, spans, count);
        if (count == 0) continue;
        shading::FragmentTask task = group.task;
        task.spans = spans;
        task.spanCount = count;
        task.scratch = scratch;
        task.streaming = streaming_;
        group.run(&task);
    }
}

/// Clears the rows except for the spans, which are in rising order.
void RenderPassRun::clear(std::int32_t y0, std::int32_t y1, const shading::Span* spans, int count) const {
    const shading::Span* const end = spans + count;
    for (std::int32_t y = y0; y < y1; ++y) {
        std::int32_t x = 0;
        for (; spans != end && spans->y == y; ++spans) {
            if (x < spans->x0) clearPixel_.fill(pass_.target, y, x, spans->x0);
            x = spans->x1;
        }
        if (x < pass_.target.width) clearPixel_.fill(pass_.target, y, x, pass_.target.width);
    }
}

}  // namespace ondrix::software
