#include "Picture.h"

#include <jpeglib.h>
#include <png.h>
#include <stdio.h>
#include <stdlib.h>

Picture Picture::noise(int width, int height, bool opaque) {
    Picture picture(width, height);
    std::uint32_t state = 1;
    for (Pixel& pixel : picture.pixels) {
        for (std::uint8_t& channel : pixel) {
            state = state * 1664525 + 1013904223;
            channel = static_cast<std::uint8_t>(state >> 24);
        }
        if (opaque) pixel[3] = 255;
    }
    return picture;
}

std::string Picture::png() const {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGBA;
    png_alloc_size_t size = 0;
    png_image_write_to_memory(&image, nullptr, &size, 0, pixels.data(), 0, nullptr);
    std::string bytes(size, '\0');
    png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr);
    bytes.resize(size);
    return bytes;
}

std::string Picture::jpeg() const {
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &bytes, &size);
    encoder.image_width = static_cast<JDIMENSION>(width);
    encoder.image_height = static_cast<JDIMENSION>(height);
    encoder.input_components = 4;
    encoder.in_color_space = JCS_EXT_RGBX;
    jpeg_set_defaults(&encoder);
    jpeg_start_compress(&encoder, TRUE);
    for (int y = 0; y < height; ++y) {
        auto* row = const_cast<JSAMPROW>(at(0, y).data());
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    std::string result(reinterpret_cast<const char*>(bytes), size);
    jpeg_destroy_compress(&encoder);
    free(bytes);
    return result;
}

Picture Picture::read(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {0, 0};
    image.format = PNG_FORMAT_RGBA;
    Picture picture(static_cast<int>(image.width), static_cast<int>(image.height));
    if (png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) == 0) return {0, 0};
    return picture;
}
