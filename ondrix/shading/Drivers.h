#pragma once

#include <ondrix/shading/Parameters.h>

/// The loops around GPU functions. Each runs over rows, then packs of a row, whole packs first and one shorter pack at
/// the end.
namespace ondrix::shading::detail {

template <class T>
using Plain = std::remove_cvref_t<T>;

/// Calls `pack` for the whole packs of `pixels` from `x` to `end`; returns where the shorter one begins.
template <int pixels = lanes::count, class Pack>
ONDRIX_INLINE int forWholePacks(int x, int end, const Pack& pack) {
    for (; x + pixels <= end; x += pixels) pack(x);
    return x;
}

template <auto function>
struct Compute {
    static_assert(sizeof(function) == 0, "a compute function returns void");
};

template <class... A, void (*function)(A...)>
struct Compute<function> {
    using List = ParameterList<Plain<A>...>;
    static constexpr bool inStretches = (false || ... || std::is_same_v<Plain<A>, Stretch>);
    static constexpr bool inRows = (false || ... || std::is_same_v<Plain<A>, WholeRows>);
    using Run = std::conditional_t<inRows, WholeRows, std::conditional_t<inStretches, Stretch, Position>>;
    static constexpr int pixels = inStretches ? Stretch::pixels : lanes::count;
    /// Packs that are so many pixels away from all edges are known to have neighbours, as far as most functions read
    /// them.
    static constexpr int margin = List::readsAnywhere && !inStretches ? 16 : 0;
    static_assert(margin % lanes::count == 0);

    static void run(const ComputeTask* task) {
        typename List::Bound bound = List::bind(task->bindings);
        if (task->streaming != 0) List::allowStreaming(bound);
        std::int32_t width = 0, height = 0;
        std::apply(
            [&](const auto&... each) {
                const auto include = [&]<class T>(const T& target) {
                    if constexpr (isTarget<T>) {
                        width = width > target.width() ? width : target.width();
                        height = height > target.height() ? height : target.height();
                    }
                };
                (include(each), ...);
            },
            bound);
        width = width < task->width ? width : task->width;
        const std::int32_t end = height < task->y1 ? height : task->y1;
        if constexpr (inRows) {
            call(bound, WholeRows{task->y0, end - task->y0, width}, std::index_sequence_for<A...>{});
        } else {
            runRows(bound, task->y0, end, width);
        }
        if (task->streaming != 0) lanes::finishStreaming();
    }

private:
    static void runRows(const typename List::Bound& bound, std::int32_t y0, std::int32_t end, std::int32_t width) {
        const bool expected = !lanes::plain && List::formatsAreExpected(bound);
        std::int32_t interiorWidth = width, interiorHeight = lanes::plain ? 0 : INT32_MAX;
        List::commonSides(bound, interiorWidth, interiorHeight);
        for (std::int32_t y = y0; y < end; y++) {
            const bool inside = y >= margin && y < interiorHeight - margin;
            const std::int32_t interiorEnd = inside ? interiorWidth - margin : 0;
            expected ? row<true>(bound, y, width, interiorEnd) : row<false>(bound, y, width, interiorEnd);
        }
    }

    template <bool expected>
    [[gnu::flatten, gnu::noinline]] static void row(const typename List::Bound& shared, int y, int width,
                                                    [[maybe_unused]] int interiorEnd) {
        typename List::Bound bound = shared;
        int interior = margin;  // where the packs end that are at least `margin` inside
        if constexpr (expected) {
            List::assumeExpectedFormats(bound);
            interior = forWholePacks<pixels>(
                margin, interiorEnd, [&](int at) __attribute__((always_inline)) {
                    pack(bound, Run{at, y, pixels, margin}, std::index_sequence_for<A...>{});
                });
        }
        for (int x = 0; x < width; x += pixels) {
            if (x == margin && (x = interior) >= width) break;
            const int count = width - x < pixels ? width - x : pixels;
            pack(bound, Run{x, y, count}, std::index_sequence_for<A...>{});
        }
    }

    template <std::size_t... i>
    static ONDRIX_INLINE void pack(const typename List::Bound& bound, const Run& p, std::index_sequence<i...>) {
        ONDRIX_CHECK(checks::startPixel(p.x, p.y);)
        call(bound, p, std::index_sequence<i...>{});
    }

    template <std::size_t... i>
    static ONDRIX_INLINE void call(const typename List::Bound& bound, const Run& p, std::index_sequence<i...>) {
        function(argument<i>(bound, p)...);
    }

    template <std::size_t i>
    static ONDRIX_INLINE decltype(auto) argument(const typename List::Bound& bound, const Run& p) {
        if constexpr (std::is_same_v<typename List::template At<i>, Run>) {
            return (p);
        } else {
            return std::get<i>(bound);
        }
    }
};

template <auto function>
struct Fragment {
    static_assert(sizeof(function) == 0, "a fragment function returns Float4, Texel or Sampled");
};

template <class Colour, class... A, Colour (*function)(A...)>
struct Fragment<function> {
    static_assert(std::is_convertible_v<Colour, Float4>, "a fragment function returns Float4, Texel or Sampled");
    using List = ParameterList<Plain<A>...>;
    using Bound = typename List::Bound;
    using Rows = std::tuple<Plain<A>...>;  // the varyings along a row; other elements are unused

    static constexpr int textures = (0 + ... + (isTexture<Plain<A>> ? 1 : 0));
    static constexpr bool hasSampler = (false || ... || isSampler<Plain<A>>);
    template <std::size_t i>
    static constexpr bool isFirstVarying() {
        return List::template varyingsBefore<i>() == 0 && std::is_same_v<typename List::template At<i>, Varying2>;
    }
    /// Whether rows can be sampled as a whole (see RowSampling.h). It must be known beforehand which texture, sampler
    /// and coordinate belong together: for functions of one texture, that with the first sampler and the first varying.
    static constexpr bool rowsApply = !lanes::plain && textures == 1 && hasSampler;
    /// Whether the function returns what its one texture shows at its one varying, unchanged.
    static constexpr bool showsTexture =
        textures == 1 && std::is_same_v<Colour, Sampled> && (0 + ... + (isSampler<Plain<A>> ? 1 : 0)) == 1 &&
        (0 + ... + (isVarying<Plain<A>> ? 1 : 0)) == 1 && (false || ... || std::is_same_v<Plain<A>, Varying2>);
    static constexpr bool handsOn = rowsApply && showsTexture;

    static std::size_t scratchBytes(const Bindings* bindings, std::int32_t width) {
        if constexpr (rowsApply) {
            const Bound bound = List::bind(*bindings);
            return rows::Columns::scratchBytes(width, theTexture(bound).view);
        }
        return 0;
    }

    static void run(const FragmentTask* task) {
        const Bound bound = List::bind(task->bindings);
        const bool expected = !lanes::plain && List::formatsAreExpected(bound) &&
                              task->target.format == static_cast<std::uint32_t>(Format::bgra8);
        lanes::BytesCopy copies{task->streaming != 0 && writing::canStream(task->target)};
        for (const Span* span = task->spans; span < task->spans + task->spanCount; span++) {
            if (span->x0 >= span->x1) continue;
            if constexpr (handsOn) {
                const TextureView& view = theTexture(bound).view;
                const auto* texels = rows::copiedTexels(task->scratch, view, task->serial, task->planes[1], *span);
                if (texels != nullptr && copyRow(*task, *span, view, texels, copies)) continue;
            }
            expected ? runSpan<true>(*task, *span, bound, copies) : runSpan<false>(*task, *span, bound, copies);
        }
        copies.finish();
        if (task->streaming != 0) lanes::finishStreaming();
    }

private:
    static const auto& theTexture(const Bound& bound) { return theOne<0>(bound); }
    template <std::size_t i>
    static const auto& theOne(const Bound& bound) {
        if constexpr (isTexture<typename List::template At<i>>) {
            return std::get<i>(bound);
        } else {
            return theOne<i + 1>(bound);
        }
    }
    template <std::size_t i>
    static constexpr std::size_t firstSampler() {
        if constexpr (isSampler<typename List::template At<i>>) {
            return i;
        } else {
            return firstSampler<i + 1>();
        }
    }

    /// Varying `i` along row `y`; `Nothing` for other parameters.
    template <std::size_t i>
    static auto along(const FragmentTask& task, int y) {
        using T = typename List::template At<i>;
        if constexpr (isVarying<T>) {
            T varying;
            constexpr int components = static_cast<int>(VaryingTraits<T>::components);
            for (int c = 0; c < components; c++) {
                const Plane& plane = task.planes[List::template componentsBefore<i>() + c];
                varying.row[c] = plane.base + y * plane.dy;
                varying.columnStep[c] = plane.dx;
                varying.rowStep[c] = plane.dy;
            }
            varying.perspective = task.perspective != 0;
            varying.inverseW = task.inverseW.base + y * task.inverseW.dy;
            varying.inverseWStep = task.inverseW.dx;
            varying.index = List::template varyingsBefore<i>();
            varying.position = {0, y, lanes::count};
            return varying;
        } else {
            return Nothing{};
        }
    }

    template <bool expected>
    static void runSpan(const FragmentTask& task, const Span& span, const Bound& bound, lanes::BytesCopy& copies) {
        runSpan<expected>(task, span, bound, copies, std::index_sequence_for<A...>{});
    }

    template <bool expected, std::size_t... i>
    static void runSpan(const FragmentTask& task, const Span& span, const Bound& bound,
                        [[maybe_unused]] lanes::BytesCopy& copies, std::index_sequence<i...>) {
        const auto varyings = std::make_tuple(along<i>(task, span.y)...);
        if constexpr (rowsApply && (false || ... || isFirstVarying<i>())) {
            constexpr std::size_t coordinate = firstVarying();
            const auto& at = std::get<coordinate>(varyings);
            const auto& texture = theTexture(bound);
            if (const auto course = rows::courseOf(texture.view, std::get<firstSampler<0>()>(bound).view, at)) {
                const rows::Row prepared = rows::prepare(task.scratch, texture.view, *course, at, task.serial,
                                                         task.target.width, span.x0, span.x1);
                switch (prepared.kind) {
                    case rows::Kind::copy:
                        if (handsOn && copyRow(task, span, texture.view, prepared.above, copies)) {
                            if (course->turned || course->reversed) copies.finish();  // the line is in scratch memory
                            return;
                        }
                        return row<expected, rows::Kind::copy>(task, span, bound, varyings, prepared);
                    case rows::Kind::box:
                        return row<expected, rows::Kind::box>(task, span, bound, varyings, prepared);
                    case rows::Kind::general:
                        break;
                    case rows::Kind::blend:
                        return row<expected, rows::Kind::blend>(task, span, bound, varyings, prepared);
                }
            }
        }
        row<expected, rows::Kind::general>(task, span, bound, varyings, rows::Row{});
    }

    /// False where the row can't be copied as bytes.
    static bool copyRow(const FragmentTask& task, const Span& span, const TextureView& texture,
                        const std::uint8_t* texels, lanes::BytesCopy& copies) {
        if (task.target.format != texture.format || (copies.streaming && span.x0 % lanes::count != 0)) return false;
        copies.add(task.target.bytes + span.y * task.target.bytesPerRow + 4 * std::int64_t{span.x0}, texels,
                   4 * static_cast<std::size_t>(span.x1 - span.x0));
        return true;
    }

    static constexpr std::size_t firstVarying() {
        constexpr bool is[] = {std::is_same_v<Plain<A>, Varying2>...};
        std::size_t i = 0;
        while (!is[i]) i++;
        return i;
    }

    template <bool expected, rows::Kind kind, class Varyings>
    [[gnu::flatten, gnu::noinline]] static void row(const FragmentTask& task, const Span& span, const Bound& shared,
                                                    const Varyings& varyings, const rows::Row& prepared) {
        Bound bound = shared;
        Target<0> output{task.target, task.streaming != 0 && writing::canStream(task.target)};
        if constexpr (expected) {
            List::assumeExpectedFormats(bound);
            output.view.format = static_cast<std::uint32_t>(Format::bgra8);
        }
        if constexpr (kind == rows::Kind::general) {
            List::forgetRows(bound);
        } else {
            auto& texture = const_cast<std::remove_cvref_t<decltype(theTexture(bound))>&>(theTexture(bound));
            texture.row = prepared;
            texture.row.kind = kind;
            texture.rowSampler = List::template At<firstSampler<0>()>::slot;
        }
        const int y = span.y, end = span.x1;  // known not to change with what is stored
        const int x = forWholePacks(
            span.x0, end, [&](int at) __attribute__((always_inline)) {
                pack(bound, varyings, output, Position{at, y, lanes::count}, std::index_sequence_for<A...>{});
            });
        if (x < end) pack(bound, varyings, output, Position{x, y, end - x}, std::index_sequence_for<A...>{});
    }

    template <class Varyings, std::size_t... i>
    static ONDRIX_INLINE void pack(const Bound& bound, const Varyings& varyings, const Target<0>& output,
                                   const Position& p, std::index_sequence<i...>) {
        ONDRIX_CHECK(checks::startPixel(p.x, p.y);)
        const auto colour = function(argument<i>(bound, varyings, p)...);
        writing::run(output.view, p.x, p.y, p.count, colour, output.streaming);
    }

    template <std::size_t i, class Varyings>
    static ONDRIX_INLINE decltype(auto) argument(const Bound& bound, const Varyings& varyings, const Position& p) {
        using T = typename List::template At<i>;
        if constexpr (std::is_same_v<T, Position>) {
            return (p);
        } else if constexpr (isVarying<T>) {
            T varying = std::get<i>(varyings);
            varying.position = p;
            varying.index = List::template varyingsBefore<i>();
            return varying;
        } else {
            return std::get<i>(bound);
        }
    }
};

template <auto function>
struct Vertex {
    static_assert(sizeof(function) == 0, "a vertex function returns a VertexOut");
};

template <class... V, class... A, VertexOut<V...> (*function)(A...)>
struct Vertex<function> {
    using List = ParameterList<Plain<A>...>;
    static constexpr std::uint32_t varyingCount = sizeof...(V);
    static_assert(varyingCount <= maximumVaryings && (0 + ... + componentsOfVector<V>) <= maximumVaryingComponents);
    static constexpr std::uint32_t varyingSizes[varyingCount + 1] = {componentsOfVector<V>..., 0};

    static void run(const VertexTask* task) {
        const typename List::Bound bound = List::bind(task->bindings);
        for (int i = 0; i < task->count; i += lanes::count) {
            const int count = task->count - i < lanes::count ? task->count - i : lanes::count;
            lanes::Ints vertices{};
            for (int k = 0; k < count; k++) vertices[k] = static_cast<std::int32_t>(task->vertices[i + k]);
            pack(*task, bound, Int(vertices), i, count, std::index_sequence_for<A...>{});
        }
    }

private:
    template <std::size_t... i>
    static void pack(const VertexTask& task, const typename List::Bound& bound, Int vertices, int first, int count,
                     std::index_sequence<i...>) {
        ONDRIX_CHECK(checks::startPixel(vertices.v[0], -1);)
        const VertexOut<V...> out = function(argument<i>(task, bound, vertices)...);
        put(task, first, count, 0, out.position);
        if constexpr (varyingCount > 0) {
            int offset = 4;
            std::apply(
                [&](const auto&... each) {
                    ((put(task, first, count, offset, each),
                      offset += static_cast<int>(componentsOfVector<std::remove_cvref_t<decltype(each)>>)),
                     ...);
                },
                out.varyings);
        }
    }

    template <class Vector>
    static void put(const VertexTask& task, int first, int count, int offset, const Vector& vector) {
        Float components[componentsOfVector<Vector>];
        std::memcpy(components, &vector, sizeof vector);
        for (int k = 0; k < count; k++) {
            float* result = task.results + static_cast<std::ptrdiff_t>(first + k) * task.resultStride + offset;
            for (std::uint32_t c = 0; c < componentsOfVector<Vector>; c++) result[c] = components[c].v[k];
        }
    }

    template <std::size_t i>
    static decltype(auto) argument(const VertexTask& task, const typename List::Bound& bound, Int vertices) {
        using T = typename List::template At<i>;
        if constexpr (std::is_same_v<T, UInt>) {
            return vertices;
        } else if constexpr (isVertexInput<T>) {
            constexpr auto components = sizeof(T) / sizeof(Float);
            const VertexStream& stream = task.streams[Bind<T>::parameter.slot];
            Float values[components];
            for (std::size_t c = 0; c < components; c++) {
                lanes::Floats value{};
                for (int k = 0; k < lanes::count; k++) {
                    const auto vertex = static_cast<std::uint32_t>(vertices.v[k]);
                    const bool present = vertex < stream.readableVertices && static_cast<int>(c) < stream.components;
                    float component = c == 3 && vertex < stream.readableVertices ? 1.0f : 0.0f;
                    if (present)
                        std::memcpy(&component, stream.bytes + vertex * stream.stride + 4 * c, sizeof component);
                    value[k] = component;
                }
                values[c] = Float(value);
            }
            T input;
            std::memcpy(static_cast<void*>(&input), values, sizeof input);
            return input;
        } else {
            return std::get<i>(bound);
        }
    }
};

}  // namespace ondrix::shading::detail
