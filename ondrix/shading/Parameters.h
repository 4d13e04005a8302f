#pragma once

#include <ondrix/shading/Constants.h>
#include <ondrix/shading/Texture.h>
#include <ondrix/shading/Vertex.h>

/// Reads a function's slots from its parameter list. `Bind<T>` describes one parameter for the host and makes the
/// argument that is passed for it. What changes with every pack (positions, varyings, vertex inputs) is made by the
/// loops in Drivers.h instead; `Bind` has `Nothing` for it.
namespace ondrix::shading::detail {

struct Nothing {};

template <class T>
struct Bind {
    static_assert(
        sizeof(T) == 0,
        "a GPU function's parameters are Position, UInt, Texture, Target, Sampler, Constants, VertexInput and "
        "Varying1 to Varying4");
    static constexpr bool described = false;
    static Nothing make(const Bindings&) { return {}; }
};

template <int slot, int slots>
inline constexpr bool isSlot = slot >= 0 && slot < slots;

template <>
struct Bind<Position> {
    static constexpr bool described = false;
    static Nothing make(const Bindings&) { return {}; }
};

template <>
struct Bind<Stretch> : Bind<Position> {};
template <>
struct Bind<WholeRows> : Bind<Position> {};
template <>
struct Bind<UInt> : Bind<Position> {};

template <int slot, auto... options>
struct Bind<Texture<slot, options...>> {
    static constexpr bool described = true;
    static constexpr Parameter parameter{ParameterKind::texture, slot, Texture<slot, options...>::reachNumber};
    static_assert(isSlot<slot, textureSlots>, "texture slots are 0 to 30");
    static Texture<slot, options...> make(const Bindings& b) {
        Texture<slot, options...> texture{b.textures[slot], {}, -1};
        ONDRIX_CHECK(texture.report = b.report;)
        return texture;
    }
};

template <int slot, Format format>
struct Bind<Target<slot, format>> {
    static constexpr bool described = true;
    static constexpr Parameter parameter{ParameterKind::target, slot, 0};
    static_assert(isSlot<slot, textureSlots>, "texture slots are 0 to 30");
    static Target<slot, format> make(const Bindings& b) {
        Target<slot, format> target{b.textures[slot], false};
        ONDRIX_CHECK(target.report = b.report;)
        return target;
    }
};

template <int slot>
struct Bind<Sampler<slot>> {
    static constexpr bool described = true;
    static constexpr Parameter parameter{ParameterKind::sampler, slot, 0};
    static_assert(isSlot<slot, samplerSlots>, "sampler slots are 0 to 15");
    static Sampler<slot> make(const Bindings& b) { return {b.samplers[slot]}; }
};

template <class T, int slot, class Prepared>
struct Bind<Constants<T, slot, Prepared>> {
    static constexpr bool described = true;
    static constexpr Parameter parameter{ParameterKind::constants, slot, sizeof(T)};
    static_assert(isSlot<slot, bufferSlots>, "buffer slots are 0 to 30");
    static auto make(const Bindings& b) { return Constants<T, slot, Prepared>::make(b.constants[slot]); }
};

template <class V>
inline constexpr std::uint32_t componentsOfVector = sizeof(V) / sizeof(Float);

template <class Vector, int index>
struct Bind<VertexInput<Vector, index>> {
    static constexpr bool described = true;
    static constexpr Parameter parameter{ParameterKind::vertexInput, index, componentsOfVector<Vector>};
    static_assert(isSlot<index, maximumVertexInputs>, "vertex attributes are 0 to 15");
    static Nothing make(const Bindings&) { return {}; }
};

template <class T>
struct VaryingTraits {
    static constexpr std::uint32_t components = 0;
};
template <>
struct VaryingTraits<Varying1> {
    static constexpr std::uint32_t components = 1;
};
template <>
struct VaryingTraits<Varying2> {
    static constexpr std::uint32_t components = 2;
};
template <>
struct VaryingTraits<Varying3> {
    static constexpr std::uint32_t components = 3;
};
template <>
struct VaryingTraits<Varying4> {
    static constexpr std::uint32_t components = 4;
};
template <class T>
inline constexpr bool isVarying = VaryingTraits<T>::components > 0;

template <class T>
requires isVarying<T>
struct Bind<T> {
    static constexpr bool described = true;
    static constexpr Parameter parameter{ParameterKind::varying, 0, VaryingTraits<T>::components};
    static Nothing make(const Bindings&) { return {}; }
};

template <class T>
inline constexpr bool isTexture = false;
template <int slot, auto... options>
inline constexpr bool isTexture<Texture<slot, options...>> = true;
template <class T>
inline constexpr bool readsOwnOnly = true;
template <int slot, auto... options>
inline constexpr bool readsOwnOnly<Texture<slot, options...>> = Texture<slot, options...>::reach == Reach::own;
template <class T>
inline constexpr bool isTarget = false;
template <int slot, Format format>
inline constexpr bool isTarget<Target<slot, format>> = true;
template <class T>
inline constexpr bool isSampler = false;
template <int slot>
inline constexpr bool isSampler<Sampler<slot>> = true;
template <class T>
inline constexpr bool isVertexInput = false;
template <class Vector, int index>
inline constexpr bool isVertexInput<VertexInput<Vector, index>> = true;

/// The parameters of one function, by value.
template <class... P>
struct ParameterList {
    using Bound = std::tuple<decltype(Bind<P>::make(std::declval<const Bindings&>()))...>;
    static constexpr std::size_t count = sizeof...(P);
    static constexpr std::uint32_t describedCount = (0u + ... + (Bind<P>::described ? 1u : 0u));

    struct Description {
        Parameter entries[describedCount > 0 ? describedCount : 1];
    };
    static constexpr Description describe() {
        Description d{};
        std::uint32_t n = 0, varyings = 0;
        const auto add = [&]<class T>(const T*) {
            if constexpr (Bind<T>::described) {
                d.entries[n] = Bind<T>::parameter;
                if (isVarying<T>) d.entries[n].slot = varyings++;
                n++;
            }
        };
        (add(static_cast<const P*>(nullptr)), ...);
        return d;
    }
    static constexpr Description description = describe();

    template <ParameterKind kind>
    static constexpr bool has() {
        for (std::uint32_t i = 0; i < describedCount; i++) {
            if (description.entries[i].kind == kind) return true;
        }
        return false;
    }
    /// Whether some texture may be read at other positions than the function's own.
    static constexpr bool readsAnywhere = (false || ... || !readsOwnOnly<P>);
    /// The description of a function that reads its textures only where its first varying points.
    static constexpr Description describeAtVarying() {
        Description d = describe();
        for (std::uint32_t i = 0; i < describedCount; i++) {
            if (d.entries[i].kind == ParameterKind::texture) d.entries[i].size = reachNumber(Reach::varying, {});
        }
        return d;
    }
    static constexpr Description descriptionAtVarying = describeAtVarying();
    /// False when a slot is written that is also read or written by another parameter.
    static constexpr bool targetsAreApart() {
        const auto isBound = [](ParameterKind kind) {
            return kind == ParameterKind::texture || kind == ParameterKind::target;
        };
        for (std::uint32_t i = 0; i < describedCount; i++) {
            for (std::uint32_t k = 0; k < describedCount; k++) {
                const Parameter &a = description.entries[i], &b = description.entries[k];
                if (i != k && a.kind == ParameterKind::target && isBound(b.kind) && a.slot == b.slot) return false;
            }
        }
        return true;
    }

    static Bound bind(const Bindings& b) { return Bound(Bind<P>::make(b)...); }

    template <std::size_t i>
    using At = std::tuple_element_t<i, std::tuple<P...>>;

    /// Number of varyings, or of their components, among the parameters before `i`.
    template <std::size_t i>
    static constexpr int varyingsBefore() {
        constexpr bool varying[] = {isVarying<P>..., false};
        int n = 0;
        for (std::size_t k = 0; k < i; k++) n += varying[k];
        return n;
    }
    template <std::size_t i>
    static constexpr int componentsBefore() {
        constexpr std::uint32_t components[] = {VaryingTraits<P>::components..., 0};
        int n = 0;
        for (std::size_t k = 0; k < i; k++) n += static_cast<int>(components[k]);
        return n;
    }

    /// True when every texture and target has the format that its parameter expects.
    static bool formatsAreExpected(const Bound& bound) {
        return std::apply([](const auto&... each) { return (isExpected(each) && ...); }, bound);
    }
    /// Lets the compiler know that all formats are the expected ones, so it leaves out the code for all others.
    static ONDRIX_INLINE void assumeExpectedFormats(Bound& bound) {
        std::apply(
            [](auto&... each) __attribute__((always_inline)) { (assumeExpected(each), ...); }, bound);
    }
    /// The sides that all textures and targets have in common, in positions of the function.
    static void commonSides(const Bound& bound, std::int32_t& width, std::int32_t& height) {
        const auto limit = [&]<class T>(const T& each) {
            if constexpr (isTexture<T> || isTarget<T>) {
                std::int32_t w = each.width(), h = each.height();
                if constexpr (isTexture<T>) {
                    if (T::sides == Sides::half) w *= 2, h *= 2;
                }
                width = width < w ? width : w;
                height = height < h ? height : h;
            }
        };
        std::apply([&](const auto&... each) { (limit(each), ...); }, bound);
    }

    /// Lets the targets be streamed to where their memory allows it.
    static void allowStreaming(Bound& bound) {
        const auto allow = []<class T>(T& each) {
            if constexpr (isTarget<T>) each.streaming = writing::canStream(each.view);
        };
        std::apply([&](auto&... each) { (allow(each), ...); }, bound);
    }

    /// Lets the compiler know that no texture has a row prepared, so it leaves out the code for that.
    static ONDRIX_INLINE void forgetRows(Bound& bound) {
        const auto forget = []<class T>(T & each) __attribute__((always_inline)) {
            if constexpr (isTexture<T>) each.rowSampler = -1;
        };
        std::apply(
            [&](auto&... each) __attribute__((always_inline)) { (forget(each), ...); }, bound);
    }

private:
    template <class T>
    static bool isExpected(const T& bound) {
        if constexpr (isTexture<T> || isTarget<T>) return bound.view.format == static_cast<std::uint32_t>(T::expected);
        return true;
    }
    template <class T>
    static ONDRIX_INLINE void assumeExpected(T& bound) {
        if constexpr (isTexture<T> || isTarget<T>) bound.view.format = static_cast<std::uint32_t>(T::expected);
    }
};

}  // namespace ondrix::shading::detail
