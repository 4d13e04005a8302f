#include <ondrix/types/RawText.h>
#include <ondrix/types/ShaderType.h>

namespace ondrix {

namespace {

constexpr std::string_view rawTexts[] = {"vertex shader", "fragment shader", "compute shader"};

}  // namespace

std::string_view rawValue(ShaderType value) noexcept {
    return rawTexts[static_cast<std::size_t>(value)];
}

std::optional<ShaderType> makeShaderType(std::string_view rawValue) noexcept {
    return caseWithRawText<ShaderType>(rawTexts, rawValue);
}

}  // namespace ondrix
