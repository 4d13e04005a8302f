#include <algorithm>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/shaders/Shader.h>
#include <ondrix/shaders/ShaderLibrary.h>

namespace ondrix {

ShaderLibrary::ShaderLibrary(std::shared_ptr<Device> device, std::shared_ptr<MTLLibrary> mtlLibrary)
    : device_(std::move(device)), mtlLibrary_(std::move(mtlLibrary)) {}

void ShaderLibrary::prepareForRelease() {}

void ShaderLibrary::cleanup() {}

std::shared_ptr<Shader> ShaderLibrary::makeShader(const std::string& name, ShaderType as) {
    return Failure::orAbsent([&]() -> std::shared_ptr<Shader> {
        auto mtlFunction = mtlLibrary_->makeFunction(name);
        if (mtlFunction == nullptr) {
            Logger::gfx().error("Failed to load shader function '%s' from library.", name.c_str());
            return nullptr;
        }
        return std::shared_ptr<Shader>(new Shader(device_, as, std::move(mtlFunction)));
    });
}

RenderShaders ShaderLibrary::makeShaders(const std::string& vertexShader, const std::string& fragmentShader) {
    auto vertex = makeShader(vertexShader, ShaderType::vertexShader);
    auto fragment = makeShader(fragmentShader, ShaderType::fragmentShader);
    return {std::move(vertex), std::move(fragment)};
}

std::vector<std::string> ShaderLibrary::functionNames(ShaderType of) const {
    return Failure::orAbsent([&] {
        const auto kind = of == ShaderType::computeShader    ? MTLFunctionType::kernel
                          : of == ShaderType::fragmentShader ? MTLFunctionType::fragment
                                                             : MTLFunctionType::vertex;
        std::vector<std::string> names = mtlLibrary_->functionNames();
        std::erase_if(names, [&](const std::string& name) {
            const auto function = mtlLibrary_->makeFunction(name);
            return function == nullptr || function->functionType() != kind;
        });
        std::sort(names.begin(), names.end());
        return names;
    });
}

std::shared_ptr<Shader> ShaderLibrary::makeShader(const std::string& name, ShaderType as, NSError* error) {
    return Failure::toldTo(error, [&] { return makeShader(name, as); });
}

RenderShaders ShaderLibrary::makeShaders(const std::string& vertexShader, const std::string& fragmentShader,
                                         NSError* error) {
    return Failure::toldTo(error, [&] { return makeShaders(vertexShader, fragmentShader); });
}

}  // namespace ondrix
