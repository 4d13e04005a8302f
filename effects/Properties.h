#pragma once

#include <any>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ondrix/effects/EffectCatalog.h>

namespace ondrix::effects {

/// The values of an effect's parameters by name, as `Pass` wants them. A number is limited to its range. Ignored are
/// other names, values of another type than the parameter's (a number is a float, not an int or a double), and NaN.
class Properties {
public:
    /// `parameters` must outlive this.
    explicit Properties(const std::vector<Parameter>& parameters);

    void set(const std::string& property, const std::any& value);
    /// Empty for another name, and for a table or a picture that wasn't set.
    [[nodiscard]] std::any get(const std::string& property) const;
    [[nodiscard]] bool has(const std::string& property) const;

    [[nodiscard]] float number(const std::string& property) const;
    /// The table or the picture; null until it is set.
    template <class Object>
    [[nodiscard]] std::shared_ptr<Object> object(const std::string& property) const {
        const std::any value = get(property);
        const auto* const held = std::any_cast<std::shared_ptr<Object>>(&value);
        return held != nullptr ? *held : nullptr;
    }

private:
    [[nodiscard]] const Parameter* find(const std::string& property) const;

    const std::vector<Parameter>& parameters_;
    std::map<std::string, std::any> values_;
};

}  // namespace ondrix::effects
