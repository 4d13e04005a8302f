#pragma once

#include <cstring>
#include <type_traits>

namespace ondrix::shading {

/// The constants in a buffer slot: a struct of plain numbers, declared once for the application and the function, with
/// the same layout for both. `Prepared` is what the function sees: the struct itself, or something worked out from it
/// once, before the first pixel.
template <class T, int slotIndex, class Prepared = T>
struct Constants {
    static_assert(std::is_trivially_copyable_v<T>);
    static constexpr int slot = slotIndex;
    static constexpr unsigned size = sizeof(T);
    /// Large ones stay where they are; a copy of small ones can be kept in registers.
    static constexpr bool copied = sizeof(Prepared) <= 256;
    static_assert(copied || std::is_same_v<T, Prepared>);

    std::conditional_t<copied, Prepared, const T*> value;

    static Constants make(const void* bytes) {
        if constexpr (!copied) {
            return {static_cast<const T*>(bytes)};
        } else {
            T constants;
            std::memcpy(&constants, bytes, sizeof constants);
            return {Prepared(constants)};
        }
    }

    const Prepared& operator*() const {
        if constexpr (copied) {
            return value;
        } else {
            return *value;
        }
    }
    const Prepared* operator->() const { return &**this; }
    operator const Prepared&() const { return **this; }
};

}  // namespace ondrix::shading
