#pragma once

#include <memory>
#include <optional>

#include <ondrix/frames/FrameColours.h>
#include <ondrix/frames/FrameConstants.h>
#include <ondrix/platform/metal/MTLDevice.h>
#include <ondrix/platform/metal/MTLPixelFormat.h>

namespace ondrix {

/// What the planes of a pixel format hold.
struct FrameLayout {
    enum class Kind {
        picture,   ///< one plane of red, green and blue, a texture as it is
        grey,      ///< one plane of luma
        biPlanar,  ///< luma; Cb and Cr
        planar,    ///< luma; Cb; Cr
    };
    Kind kind = Kind::picture;
    MTLPixelFormat planes[3] = {};                   ///< of the textures over each plane
    int bits = 8;                                    ///< of a sample
    int unusedBits = 0;                              ///< below them
    bool halvesWidth = false, halvesHeight = false;  ///< chroma against luma
    bool isRedFirst = false;                         ///< Cr before Cb

    [[nodiscard]] int planeCount() const { return kind == Kind::planar ? 3 : kind == Kind::biPlanar ? 2 : 1; }

    /// Absent for a format that this framework doesn't know.
    [[nodiscard]] static std::optional<FrameLayout> of(OSType pixelFormat);

    [[nodiscard]] FrameReadConstants readConstants(const FrameColours& colours) const;
    [[nodiscard]] static FrameToneConstants toneConstants(const FrameColours& colours);
    [[nodiscard]] FrameWriteConstants writeConstants(const FrameColours& colours) const;

    /// One plane as a texture; null, with a message, when it can't be wrapped. Without a texture cache, whose objects
    /// take memory for each frame.
    [[nodiscard]] std::shared_ptr<MTLTexture> wrap(MTLDevice& device, const std::shared_ptr<CVPixelBuffer>& frame,
                                                   int plane) const;
};

}  // namespace ondrix
