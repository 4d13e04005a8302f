#pragma once

#include <memory>

#include <ondrix/Ondrix.h>
#include <ondrix/effects/LookUpTable.h>

namespace ondrix::effects {

/// A look-up table as a picture of floats that GPU functions read. Each blue is a square of red to the right and green
/// downward; 16 squares stand side by side, the next 16 below, so that no side gets too long for a texture.
class TableTexture : public Texture {
public:
    /// Null, with a message logged, when memory is short.
    [[nodiscard]] static std::shared_ptr<TableTexture> create(const std::shared_ptr<Device>& device,
                                                              const LookUpTable& table);

private:
    using Texture::Texture;
};

}  // namespace ondrix::effects
