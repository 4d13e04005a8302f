#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/platform/corevideo/PixelBufferLock.h>

#include "CommandLine.h"
#include "SandboxOption.h"
#include "tools/system/Failure.h"
#include "tools/system/InputFile.h"

namespace ondrix::tools {
namespace {

const std::map<std::string, OSType> formats{{"video", kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange},
                                            {"full", kCVPixelFormatType_420YpCbCr8BiPlanarFullRange}};

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::int64_t frameBytes(PictureSize size) {
    return size.width * size.height * 3 / 2;
}

std::string expectation(PictureSize size) {
    return "an NV12 frame of " + description(size) + " has " + std::to_string(frameBytes(size)) + " bytes";
}

/// Converts one raw NV12 frame to a picture. The file holds the luma plane and then the interleaved chroma plane,
/// without padding.
class NV12Command {
public:
    explicit NV12Command(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "The luma plane, then interleaved Cb and Cr, no padding")->required();
        options.add_option("OUTPUT", output_, "PNG file to write")->required();
        addSizeOption(options, size_, "Size of the frame, both sides even")->required();
        options
            .add_option_function<std::string>("--range", storeIn(format_, formats),
                                              "video: luma from 16 to 235; full: from 0 to 255")
            ->required()
            ->check(CLI::IsMember(formats));
    }

    void run() const {
        Session session;
        const auto device = session.openDevice(input_);
        sandbox_.enter({input_}, output_);
        const auto frame = readFrame();
        const auto picture = device->makeTexture(
            orFail(input_, [&](NSError* error) { return device->textureConverter()->texture(frame, error); }));
        writePicture(output_, pixelsOf(*picture, output_));
    }

private:
    /// The frame in the file; throws `Failure` unless the file has exactly as many bytes as the frame.
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> readFrame() const {
        if (!size_.isEven()) {
            const PictureSize even{size_.width + size_.width % 2, size_.height + size_.height % 2};
            throw Failure(input_, "NV12 has even sides, not " + description(size_) + "; " + expectation(even));
        }
        std::vector<std::uint8_t> piped;  // of a pipe, which opening it here would wait for
        if (isSpecialFile(input_)) {
            piped = readSpecialFile(input_, static_cast<std::size_t>(frameBytes(size_)) + 1);
            if (piped.empty()) throw Failure(input_, expectation(size_) + ", the file has fewer");
        }
        const std::unique_ptr<std::FILE, CloseFile> file(piped.empty() ? std::fopen(input_.c_str(), "rb")
                                                                       : fmemopen(piped.data(), piped.size(), "rb"));
        if (file == nullptr) throw Failure(input_, std::generic_category().message(errno));

        // Where the size can be told beforehand, no memory is taken for a frame that isn't there.
        std::error_code unknown;
        if (std::filesystem::is_regular_file(input_, unknown)) {
            const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(input_, unknown));
            if (!unknown && bytes != frameBytes(size_))
                throw Failure(input_, expectation(size_) + ", the file has " + std::to_string(bytes));
        }

        std::shared_ptr<CVPixelBuffer> frame;
        if (CVPixelBufferCreate(size_.width, size_.height, format_, nullptr, &frame) != kCVReturnSuccess)
            throw Failure(input_, "no memory for a frame of " + description(size_));
        const PixelBufferLock pixels(frame);
        const auto rowBytes = static_cast<std::size_t>(size_.width);
        for (const std::int64_t plane : {0, 1}) {
            for (std::int64_t y = 0; y < pixels.height(plane); ++y) {
                errno = 0;
                if (std::fread(pixels.row(y, plane), 1, rowBytes, file.get()) != rowBytes)
                    throw Failure(input_, std::ferror(file.get()) ? std::generic_category().message(errno)
                                                                  : expectation(size_) + ", the file has fewer");
            }
        }
        if (std::fgetc(file.get()) != EOF) throw Failure(input_, expectation(size_) + ", the file has more");
        return frame;
    }

    SandboxOption sandbox_;
    std::string input_, output_;
    PictureSize size_;
    OSType format_ = 0;
};

}  // namespace

void addNV12Command(CLI::App& program) {
    addCommand<NV12Command>(program.add_subcommand("nv12", "Convert a raw NV12 video frame to a picture"));
}

}  // namespace ondrix::tools
