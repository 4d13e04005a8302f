#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <png.h>

#include <ondrix/platform/image/Picture.h>

namespace ondrix::image {

/// Decodes PNG files of every colour type and depth. 16-bit samples are rounded to 8; tRNS becomes alpha. An interlaced
/// picture is decoded as a whole into memory of its own. Every damaged chunk is a failure, also of those whose content
/// isn't used.
class PNGDecoder final : public Picture {
public:
    /// `stream` stands at the start of a file of `fileSize` bytes with the PNG signature.
    static std::unique_ptr<PNGDecoder> create(Stream stream, std::uint64_t fileSize,
                                              const MTKTextureLoaderLimits& limits, std::string& reason);
    ~PNGDecoder() override;

    bool readRows(std::uint8_t* rows, std::uint64_t count, std::string& reason) override;

private:
    PNGDecoder(Stream stream, const MTKTextureLoaderLimits& limits) : Picture(limits), stream_(std::move(stream)) {}

    /// These hold what libpng's errors jump over: no object with a destructor may be made in them.
    bool decodeHeader();
    bool decodeRows(std::uint8_t* rows, std::uint64_t count);
    bool decodeInterlaced();

    bool readSize(std::string& reason);
    /// Throws std::bad_alloc where that is the failure.
    [[nodiscard]] std::string failure() const;

    static void onError(png_structp png, png_const_charp message);
    static void onWarning(png_structp, png_const_charp) {}
    static png_voidp allocate(png_structp png, png_alloc_size_t size);
    static void onRead(png_structp png, png_bytep bytes, std::size_t count);

    Stream stream_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::uint64_t storedBitsPerPixel_ = 0;
    bool interlaced_ = false;
    bool lacksMemory_ = false;  ///< libpng asked for memory in vain
    std::uint64_t rowsRead_ = 0;
    std::unique_ptr<std::uint8_t[]> wholePicture_;  ///< of an interlaced picture, once it has been decoded
    char message_[128] = {};                        ///< libpng's text for the error
};

}  // namespace ondrix::image
