#include <ondrix/types/PassType.h>
#include <ondrix/types/RawText.h>

namespace ondrix {

namespace {

constexpr std::string_view rawTexts[] = {"render pass", "compute pass"};

}  // namespace

std::string_view rawValue(PassType value) noexcept {
    return rawTexts[static_cast<std::size_t>(value)];
}

std::optional<PassType> makePassType(std::string_view rawValue) noexcept {
    return caseWithRawText<PassType>(rawTexts, rawValue);
}

}  // namespace ondrix
