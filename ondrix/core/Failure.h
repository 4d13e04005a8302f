#pragma once

#include <string>
#include <utility>
#include <vector>

#include <ondrix/platform/foundation/NSError.h>

namespace ondrix {

/// Why an operation failed, for a caller who wants to know. While it lives, what the framework would log as an error on
/// this thread is collected here instead, and handed over in one text: what failed last first, then what it failed of,
/// down to the cause. Of nested ones the innermost collects. For the thread that made it, on the stack only.
///
/// `Failure::toldTo` is how an operation with a trailing `NSError*` is written; libraries of passes and effects may do
/// the same.
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

    /// Adds a message that is logged in the end if nobody takes it.
    void message(std::string text);
    [[nodiscard]] NSError take();

    /// Runs an operation whose result is false or null when it fails. With `error`, a failure is told to the caller and
    /// not logged; `error` is written only then. Without, it is logged as ever.
    template <class Operation>
    static auto toldTo(NSError* error, Operation&& operation) {
        if (error == nullptr) return operation();
        Failure failure;
        auto result = operation();
        if (!result) *error = failure.take();
        return result;
    }

private:
    struct Entry {
        std::string text;
        bool isMessage;
    };

    Failure* const outer_;
    std::vector<Entry> entries_;  ///< the cause first
};

}  // namespace ondrix
