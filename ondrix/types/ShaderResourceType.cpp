#include <ondrix/types/RawText.h>
#include <ondrix/types/ShaderResourceType.h>

namespace ondrix {

namespace {

constexpr std::string_view rawTexts[] = {"sampler", "texture", "constant buffer", "uniform buffer"};

}  // namespace

std::string_view rawValue(ShaderResourceType value) noexcept {
    return rawTexts[static_cast<std::size_t>(value)];
}

std::optional<ShaderResourceType> makeShaderResourceType(std::string_view rawValue) noexcept {
    return caseWithRawText<ShaderResourceType>(rawTexts, rawValue);
}

}  // namespace ondrix
