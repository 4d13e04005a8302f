#pragma once

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include <jpeglib.h>

#include <ondrix/platform/image/Picture.h>

namespace ondrix::image {

/// Decodes JPEG files in grey, YCbCr and RGB, sequential and progressive, with the accurate transform and smooth chroma
/// upsampling. An orientation in the EXIF data isn't applied. Data that ends early or is corrupt is a failure.
class JPEGDecoder final : public Picture {
public:
    /// `stream` stands at the start of a file with the JPEG signature.
    static std::unique_ptr<JPEGDecoder> create(Stream stream, const MTKTextureLoaderLimits& limits,
                                               std::string& reason);
    ~JPEGDecoder() override;

    bool readRows(std::uint8_t* rows, std::uint64_t count, std::string& reason) override;

private:
    JPEGDecoder(Stream stream, const MTKTextureLoaderLimits& limits);

    /// These hold what libjpeg's errors jump over: no object with a destructor may be made in them.
    bool decodeHeader();
    bool decodeRows(std::uint8_t* rows, std::uint64_t count);

    bool checkHeader(std::string& reason);
    /// Throws std::bad_alloc where that is the failure.
    [[nodiscard]] std::string failure() const;

    static void onError(j_common_ptr common);
    static void onMessage(j_common_ptr common, int level);
    static void onOutput(j_common_ptr) {}
    static void onProgress(j_common_ptr common);

    Stream stream_;
    jpeg_decompress_struct jpeg_{};
    jpeg_error_mgr errors_{};
    jpeg_progress_mgr progress_{};
    std::jmp_buf jump_{};
    bool started_ = false;
    char message_[JMSG_LENGTH_MAX] = {};  ///< libjpeg's text for the error
};

}  // namespace ondrix::image
