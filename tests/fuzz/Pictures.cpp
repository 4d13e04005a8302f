// Picture files in memory, as they are and with the checksums of PNG chunks repaired, so that damage gets past them.
#include <optional>
#include <vector>

#include <zlib.h>

#include <ondrix/platform/metal/MTLDevice.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>

#include "FuzzTarget.h"

using namespace ondrix;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The file with right checksums; absent when they were right, or it is no PNG file.
std::optional<Bytes> repaired(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t signature = 8, lengthAndName = 8, checksum = 4;
    if (size < signature || std::memcmp(bytes, "\x89PNG\r\n\x1a\n", signature) != 0) return std::nullopt;
    Bytes file(bytes, bytes + size);
    bool changed = false;
    for (std::size_t chunk = signature; chunk + lengthAndName + checksum <= size;) {
        const std::uint8_t* head = file.data() + chunk;
        const std::size_t length = std::size_t{head[0]} << 24 | head[1] << 16 | head[2] << 8 | head[3];
        if (length > size - chunk - lengthAndName - checksum) break;
        const auto right = static_cast<std::uint32_t>(crc32(0, head + 4, static_cast<uInt>(length + 4)));
        for (std::size_t i = 0; i < checksum; ++i) {
            std::uint8_t& byte = file[chunk + lengthAndName + length + i];
            const auto wanted = static_cast<std::uint8_t>(right >> (24 - 8 * i));
            changed |= byte != wanted;
            byte = wanted;
        }
        chunk += lengthAndName + length + checksum;
    }
    return changed ? std::optional(std::move(file)) : std::nullopt;
}

void load(const Bytes& file) {
    static const MTKTextureLoader loader(MTLCreateSystemDefaultDevice());
    NSError error;
    const bool sRGB = file.size() % 2 == 0;
    const auto texture = loader.newTexture(file.data(), file.size(), {{MTKTextureLoader::Option::SRGB, sRGB}}, &error);
    test::require((texture == nullptr) == !error.localizedDescription().empty(), "a picture, or else a reason");
    if (texture == nullptr) return;
    Bytes row(texture->width() * 4);
    texture->getBytes(row.data(), row.size(), MTLRegionMake2D(0, texture->height() - 1, texture->width(), 1), 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    load(Bytes(bytes, bytes + size));  // a copy of exactly this size, so that reading past the end is seen
    if (const auto file = repaired(bytes, size)) load(*file);
    return 0;
}
