#include <cstdlib>

#include <gtest/gtest.h>
#include <tests/pictures/PictureWriter.h>
#include <tests/support/TemporaryFolder.h>

namespace ondrix::test {

std::uint32_t PNGContent::channels() const {
    if (colorType == PNG_COLOR_TYPE_PALETTE) return 1;
    return ((colorType & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1) + ((colorType & PNG_COLOR_MASK_ALPHA) != 0 ? 1 : 0);
}

std::string encode(const PNGContent& content, bool headerOnly) {
    const auto append = [](png_structp writer, png_bytep bytes, std::size_t count) {
        static_cast<std::string*>(png_get_io_ptr(writer))->append(reinterpret_cast<const char*>(bytes), count);
    };
    std::string file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, append, [](png_structp) {});
    png_set_IHDR(png, info, content.width, content.height, content.depth, content.colorType,
                 content.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_set_gAMA_fixed(png, info, 100000);  // must not change any pixel
    if (!content.palette.empty()) {
        png_set_PLTE(png, info, content.palette.data(), static_cast<int>(content.palette.size()));
    }
    if (!content.paletteAlpha.empty() || content.transparent) {
        png_set_tRNS(png, info, content.paletteAlpha.data(), static_cast<int>(content.paletteAlpha.size()),
                     content.transparent ? &*content.transparent : nullptr);
    }
    png_write_info(png, info);
    if (!headerOnly) {
        std::vector<std::uint8_t> bytes;  // one a sample, or two in the order of the file
        for (const std::uint16_t sample : content.samples) {
            if (content.depth == 16) bytes.push_back(static_cast<std::uint8_t>(sample >> 8));
            bytes.push_back(static_cast<std::uint8_t>(sample));
        }
        png_set_packing(png);
        std::vector<png_bytep> rows;
        for (std::size_t row = 0; row < content.height; ++row) {
            rows.push_back(bytes.data() + bytes.size() / content.height * row);
        }
        png_write_image(png, rows.data());
        png_write_end(png, info);
    }
    png_destroy_write_struct(&png, &info);
    return file;
}

std::string encode(const JPEGContent& content) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &bytes, &size);
    jpeg.image_width = content.width;
    jpeg.image_height = content.height;
    jpeg.in_color_space = content.colorSpace;
    jpeg.input_components = static_cast<int>(content.samples.size() / content.width / content.height);
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, content.storedAs);
    jpeg_set_quality(&jpeg, 98, TRUE);
    if (content.storedAs == JCS_YCbCr) {
        jpeg.comp_info[0].h_samp_factor = jpeg.comp_info[0].v_samp_factor = content.chromaStep;
    }
    if (content.progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    std::vector<std::uint8_t> samples = content.samples;
    while (jpeg.next_scanline < jpeg.image_height) {
        JSAMPROW row = &samples.at(std::size_t{jpeg.next_scanline} * content.width * jpeg.input_components);
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::string file(reinterpret_cast<const char*>(bytes), size);
    std::free(bytes);
    return file;
}

LoadedPicture::LoadedPicture(const URL& file, bool sRGB, const std::shared_ptr<MTLDevice>& device) {
    NSError error;
    take(MTKTextureLoader(device).newTexture(file, {{MTKTextureLoader::Option::SRGB, sRGB}}, &error), error);
}

void LoadedPicture::take(std::shared_ptr<MTLTexture> loaded, const NSError& error) {
    texture = std::move(loaded);
    reason = error.localizedDescription();
    if (!texture) return;
    bytes.resize(texture->width() * texture->height() * 4);
    texture->getBytes(bytes.data(), texture->width() * 4, MTLRegionMake2D(0, 0, texture->width(), texture->height()),
                      0);
}

LoadedPicture LoadedPicture::of(const std::string& content) {
    static const TemporaryFolder folder;
    static const auto device = MTLCreateSystemDefaultDevice();
    const LoadedPicture picture(URL(folder.write("picture", content)), false, device);
    LoadedPicture inMemory;
    NSError error;
    // A copy that ends where AddressSanitizer sees a byte too far.
    const std::vector<char> bytes(content.begin(), content.end());
    inMemory.take(MTKTextureLoader(device).newTexture(bytes.data(), bytes.size(), {}, &error), error);
    EXPECT_TRUE(inMemory.bytes == picture.bytes);
    EXPECT_EQ(inMemory.reason, picture.reason);
    return picture;
}

}  // namespace ondrix::test
