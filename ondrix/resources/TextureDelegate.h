#pragma once

#include <ondrix/types/Int.h>
#include <ondrix/types/Size2.h>

namespace ondrix {

class Texture;

/// Hears of a texture's new size, on the thread that changed it.
class TextureDelegate {
public:
    virtual ~TextureDelegate() = default;

    /// `texture` already has its new size; it may be resized again, released or dropped by the receiver.
    virtual void texture(Texture& texture, Size2<Int> didChangeSize) = 0;
};

}  // namespace ondrix
