#include "Picture.h"

#include <jpeglib.h>
#include <png.h>
#include <stdio.h>
#include <stdlib.h>
#include <tests/pictures/PictureWriter.h>

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
    ondrix::test::JPEGContent content{.width = static_cast<std::uint32_t>(width),
                                      .height = static_cast<std::uint32_t>(height),
                                      .colorSpace = JCS_RGB,
                                      .storedAs = JCS_YCbCr,
                                      .samples = {}};
    for (const Pixel& pixel : pixels) content.samples.insert(content.samples.end(), pixel.begin(), pixel.end() - 1);
    return ondrix::test::encode(content);
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
