#pragma once

#include <memory>

#include <ondrix/platform/metal/MTLDrawable.h>
#include <ondrix/platform/metal/MTLTexture.h>

namespace ondrix {

/// The next frame of a view: a texture to draw into, shown by `present()`.
class CAMetalDrawable : public MTLDrawable {
public:
    [[nodiscard]] virtual std::shared_ptr<MTLTexture> texture() const = 0;
};

}  // namespace ondrix
