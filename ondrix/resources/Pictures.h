#pragma once

#include <filesystem>
#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/types/Int.h>

namespace ondrix {

class Texture;

/// Writes a texture as a PNG file of 8 bits a channel, as `PictureFile::write` does: bytes as they are stored, float
/// formats clamped to 0...1 and rounded, one component as grey, two as red and green. Waits for all work that was
/// committed to the device before. False, with the reason in `error` (may be null), when it can't be read or written;
/// a file that was there before then stays. From any thread, while no other resizes the texture.
bool savePicture(const Texture& texture, const std::filesystem::path& file, NSError* error);

/// A texture from a PNG or JPEG file of `length` bytes in memory, which are not needed afterwards. With `sRGB` its
/// colours are decoded when the texture is read, else taken as they are. Null, with the reason in `error` (may be
/// null), for anything else. From any thread.
[[nodiscard]] std::shared_ptr<Texture> loadPicture(const std::shared_ptr<Device>& device, const void* bytes, Int length,
                                                   bool sRGB, NSError* error);

}  // namespace ondrix
