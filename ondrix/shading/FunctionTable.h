#pragma once

#include <ondrix/shading/Drivers.h>

namespace ondrix::shading {

/// An entry for a function `void (Position, ...)`, which runs for every position of a dispatch; positions outside all
/// its targets don't exist. Its other parameters are textures, targets, samplers and constants.
template <auto function>
constexpr Entry computeFunction(const char* name) {
    using Driver = detail::Compute<function>;
    using List = typename Driver::List;
    static_assert(List::template has<ParameterKind::target>(), "a compute function writes at least one Target");
    static_assert(List::targetsAreApart(), "a texture slot can't be written and also used by another parameter");
    static_assert(!List::template has<ParameterKind::varying>() && !List::template has<ParameterKind::vertexInput>(),
                  "varyings belong to fragment functions, vertex inputs to vertex functions");
    return {name,
            FunctionKind::compute,
            List::describedCount,
            List::description.entries,
            0,
            nullptr,
            &Driver::run,
            nullptr,
            nullptr,
            nullptr};
}

/// An entry for a function that returns a colour (`Float4` or `Texel`) for every pixel that is drawn. It takes
/// varyings, in the order in which the vertex function returns them, and may take a `Position`, textures, samplers and
/// constants.
template <auto function>
constexpr Entry fragmentFunction(const char* name) {
    using Driver = detail::Fragment<function>;
    using List = typename Driver::List;
    static_assert(!List::template has<ParameterKind::target>() && !List::template has<ParameterKind::vertexInput>(),
                  "a fragment function returns its colour; targets belong to compute functions, vertex inputs to "
                  "vertex functions");
    return {name,
            FunctionKind::fragment,
            List::describedCount,
            Driver::showsTexture ? List::descriptionAtVarying.entries : List::description.entries,
            0,
            nullptr,
            nullptr,
            &Driver::run,
            nullptr,
            &Driver::scratchBytes};
}

/// An entry for a function that returns a `VertexOut`. It may take a `UInt` (the number of the vertex), vertex inputs,
/// textures, samplers and constants.
template <auto function>
constexpr Entry vertexFunction(const char* name) {
    using Driver = detail::Vertex<function>;
    using List = typename Driver::List;
    static_assert(!List::template has<ParameterKind::target>() && !List::template has<ParameterKind::varying>(),
                  "a vertex function returns a VertexOut; targets belong to compute functions, varyings to fragment "
                  "functions");
    return {name,
            FunctionKind::vertex,
            List::describedCount,
            List::description.entries,
            Driver::varyingCount,
            Driver::varyingSizes,
            nullptr,
            nullptr,
            &Driver::run,
            nullptr};
}

/// The functions of one source file, for the module that the file is built into. Define one at the end of each source,
/// with static storage.
class FunctionList {
public:
    FunctionList(const FunctionList&) = delete;
    FunctionList& operator=(const FunctionList&) = delete;

    static const FunctionList*& first() {
        static const FunctionList* list = nullptr;
        return list;
    }

    const Entry* const entries;
    const std::uint32_t count;
    const FunctionList* const next;

protected:
    FunctionList(const Entry* ownEntries, std::uint32_t ownCount)
        : entries(ownEntries), count(ownCount), next(first()) {
        first() = this;
    }
};

template <std::size_t size>
class FunctionTable : public FunctionList {
public:
    template <class... E>
    explicit FunctionTable(const E&... entry) : FunctionList(own_, size), own_{entry...} {}

private:
    Entry own_[size];
};

template <class... E>
FunctionTable(const E&...) -> FunctionTable<sizeof...(E)>;

}  // namespace ondrix::shading
