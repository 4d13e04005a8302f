#pragma once

#include <ondrix/platform/metal/MTLCommandEncoder.h>
#include <ondrix/types/Int.h>
#include <ondrix/types/ShaderResourceType.h>

namespace ondrix {

class Shader;

/// What can be bound to a slot of a shader. An implementation sets itself into slot `index` of the stage that the
/// shader's type names and returns true; for a type that the encoder doesn't run it logs why and returns false.
class ShaderResource {
public:
    virtual ~ShaderResource() = default;

    [[nodiscard]] virtual ShaderResourceType resourceType() const = 0;
    [[nodiscard]] virtual bool bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) = 0;
    [[nodiscard]] virtual bool bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) = 0;
};

}  // namespace ondrix
