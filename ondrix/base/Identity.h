#pragma once

namespace ondrix {

/// What makes an object the same object, through whichever of its bases it is seen: the address of the most derived
/// object.
using Identity = const void*;

template <class Object>
[[nodiscard]] Identity identity(const Object& object) noexcept {
    return dynamic_cast<const void*>(&object);
}

}  // namespace ondrix
