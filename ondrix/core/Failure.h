#pragma once

#include <new>
#include <string>
#include <utility>
#include <vector>

#include <ondrix/platform/foundation/NSError.h>

namespace ondrix {

/// Why an operation failed, for a caller who wants to know. While it lives, what the framework would log as an error on
/// this thread is collected here instead, and handed over in one text: what failed last first, then what it failed of,
/// down to the cause. Of nested ones the innermost collects. For the thread that made it, on the stack only.
///
/// `Failure::toldTo` is how an operation with a trailing `NSError*` is written, and `Failure::orAbsent` every other one
/// that needs memory; libraries of passes and effects may do the same.
class Failure {
public:
    Failure() noexcept;
    /// Logs what was collected and not taken: messages of an operation that succeeded all the same.
    ~Failure();
    Failure(const Failure&) = delete;
    Failure& operator=(const Failure&) = delete;

    /// The one that collects on this thread; null when nobody asked.
    [[nodiscard]] static Failure* current() noexcept;
    /// Adds a reason that is told to who asked and never logged; without one who asked does nothing.
    static void because(const char* reason) noexcept;
    static void because(const NSError& reason) noexcept;
    /// Logs or tells that there was no memory for a function of a source file, and needs none for that. Then `errno` is
    /// ENOMEM, as where the platform had none.
    static void outOfMemory(const char* file, const char* function) noexcept;

    /// Adds a message that is logged in the end if nobody takes it. Without memory for it, that is what is told.
    void message(std::string text) noexcept;
    [[nodiscard]] NSError take() noexcept;

    /// Runs an operation whose result is false or null when it fails. With `error`, a failure is told to the caller and
    /// not logged; `error` is written only then. Without, it is logged as ever. A lack of memory is a failure, too.
    template <class Operation>
    static auto toldTo(NSError* error, Operation&& operation, const char* file = __builtin_FILE(),
                       const char* function = __builtin_FUNCTION()) {
        if (error == nullptr) return orAbsent(operation, file, function);
        Failure failure;
        auto result = orAbsent(operation, file, function);
        if (!result) *error = failure.take();
        return result;
    }

    /// Runs an operation and returns its result. Where memory runs out, logs or tells that, and returns the value of
    /// its type that stands for nothing: null, false, empty. The operation must then have changed nothing.
    template <class Operation>
    static auto orAbsent(Operation&& operation, const char* file = __builtin_FILE(),
                         const char* function = __builtin_FUNCTION()) -> decltype(operation()) {
        try {
            return operation();
        } catch (const std::bad_alloc&) {
            if (isPart()) throw;
            outOfMemory(file, function);
            return decltype(operation())();
        }
    }

    /// The same for an operation made of others, some of which have no result: a part of it that lacks memory ends the
    /// whole, on this thread.
    template <class Operation>
    static auto wholeOrAbsent(Operation&& operation, const char* file = __builtin_FILE(),
                              const char* function = __builtin_FUNCTION()) {
        return orAbsent(
            [&] {
                const Whole whole;
                return operation();
            },
            file, function);
    }

private:
    struct Entry {
        std::string text;
        bool isMessage;
    };
    /// While one lives, operations of this thread are parts.
    struct Whole {
        Whole() noexcept;
        ~Whole();
        Whole(const Whole&) = delete;
        Whole& operator=(const Whole&) = delete;
    };

    [[nodiscard]] static bool isPart() noexcept;
    void add(std::string text, bool isMessage) noexcept;

    Failure* const outer_;
    std::vector<Entry> entries_;  ///< the cause first
    bool outOfMemory_ = false;    ///< also when an entry was lost
};

}  // namespace ondrix
