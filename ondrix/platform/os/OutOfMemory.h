#pragma once

#include <cerrno>
#include <new>
#include <utility>

#include <ondrix/platform/foundation/NSError.h>

namespace ondrix::os {

/// Runs an operation of the platform and returns its result. Where memory runs out, returns the value of its type that
/// stands for nothing, and `errno` is ENOMEM: so a caller can tell that from other reasons.
template <class Operation>
auto orAbsent(Operation&& operation) -> decltype(operation()) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return decltype(operation())();
    }
}

/// The same with the reason in `error`, which may be null.
template <class Operation>
auto orAbsent(NSError* error, Operation&& operation) -> decltype(operation()) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        if (error != nullptr) *error = NSError("out of memory");  // needs none, it is that short
        return decltype(operation())();
    }
}

/// For callers of such operations that go on otherwise: throws std::bad_alloc when the result is absent for want of
/// memory. Leaves `errno` as it was if not.
template <class Operation>
auto orThrow(Operation&& operation) {
    const int before = std::exchange(errno, 0);
    auto result = operation();
    if (!result && errno == ENOMEM) throw std::bad_alloc();
    errno = before;
    return result;
}

/// The first with a status in place of a result.
template <class Operation>
auto orStatus(decltype(std::declval<Operation>()()) outOfMemory, Operation&& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return outOfMemory;
    }
}

}  // namespace ondrix::os
