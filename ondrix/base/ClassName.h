#pragma once

#include <string>
#include <typeinfo>

namespace ondrix {

/// The name of a class without its namespaces and enclosing scopes, with its template arguments.
[[nodiscard]] std::string unqualifiedClassName(const std::type_info& type);

/// The unqualified name of the object's dynamic class.
template <class Object>
[[nodiscard]] std::string className(const Object& object) {
    return unqualifiedClassName(typeid(object));
}

}  // namespace ondrix
