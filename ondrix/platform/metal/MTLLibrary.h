#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ondrix {

enum class MTLFunctionType { vertex = 1, fragment = 2, kernel = 3 };

/// One GPU function of a library; keeps the library's code loaded. Immutable.
class MTLFunction {
public:
    virtual ~MTLFunction() = default;

    [[nodiscard]] virtual std::string name() const = 0;
    [[nodiscard]] virtual MTLFunctionType functionType() const = 0;
};

/// A compiled library of GPU functions. Immutable and safe to use from any thread.
class MTLLibrary {
public:
    virtual ~MTLLibrary() = default;

    /// The function with exactly this name, or null.
    [[nodiscard]] virtual std::shared_ptr<MTLFunction> makeFunction(std::string_view name) = 0;
    [[nodiscard]] virtual std::vector<std::string> functionNames() const = 0;
};

}  // namespace ondrix
