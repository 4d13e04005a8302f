#include <cstdlib>
#include <memory>
#include <string_view>

#include <cxxabi.h>

#include <ondrix/base/ClassName.h>

namespace ondrix {

namespace {

// Position after the last "::" that stands outside of template arguments and function parameters.
std::size_t startOfUnqualifiedName(std::string_view name) {
    std::size_t start = 0;
    int depth = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '<' || name[i] == '(') ++depth;
        if (name[i] == '>' || name[i] == ')') --depth;
        if (depth == 0 && name.substr(i).starts_with("::")) start = i + 2;
    }
    return start;
}

}  // namespace

std::string unqualifiedClassName(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> demangled(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                           std::free);
    if (demangled == nullptr) return type.name();
    const std::string_view name = demangled.get();
    return std::string(name.substr(startOfUnqualifiedName(name)));
}

}  // namespace ondrix
