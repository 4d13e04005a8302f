#pragma once

#include <string>
#include <utility>

namespace ondrix {

/// Why a platform operation failed, as a text for people. Operations that report one take a pointer to an `NSError`
/// that may be null, and write to it only when they fail.
class NSError {
public:
    NSError() = default;
    explicit NSError(std::string localizedDescription) : localizedDescription_(std::move(localizedDescription)) {}

    /// One line without a full stop or newline at its end.
    [[nodiscard]] const std::string& localizedDescription() const noexcept { return localizedDescription_; }

private:
    std::string localizedDescription_;
};

}  // namespace ondrix
