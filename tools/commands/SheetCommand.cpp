#include <algorithm>
#include <cstring>

#include <ondrix/conversion/MetalTextureConverter.h>

#include "CommandLine.h"
#include "tools/system/Failure.h"
#include "tools/video/FrameInput.h"

namespace ondrix::tools {
namespace {

constexpr std::int64_t usualHeight = 180;  // of one frame, in pixels
constexpr std::int64_t bytesPerPixel = 4;

PictureSize usualSize(const MovieInformation& movie) {
    return {std::max<std::int64_t>(1, usualHeight * movie.width / movie.height), usualHeight};
}

/// Shows a movie at a glance, as one picture with frames from all over it, in rows.
class SheetCommand {
public:
    explicit SheetCommand(CLI::App& options) {
        options.add_option("INPUT", input_, "Movie file")->required();
        options.add_option("OUTPUT", output_, "PNG file to write")->required();
        options.add_option("--columns", columns_, "Frames in a row (4)")->check(CLI::Range(1, 32));
        options.add_option("--rows", rows_, "Rows of frames (3)")->check(CLI::Range(1, 32));
        addSizeOption(options, size_, "Size of one frame, 180 pixels high unless given");
    }

    void run() const {
        Session session;
        FrameInput input(input_);
        const MovieInformation& movie = input.information();
        if (!CMTIME_IS_NUMERIC(movie.duration)) throw Failure(input_, "doesn't say how long it is");
        const PictureSize cell = size_.isGiven() ? size_ : usualSize(movie);
        const std::int64_t bytesPerRow = cell.width * columns_ * bytesPerPixel;
        constexpr std::int64_t largestSheet = std::int64_t{1} << 30;
        if (bytesPerRow * cell.height * rows_ > largestSheet)
            throw CLI::ValidationError("--size", "the sheet is too large");

        const auto device = session.openDevice(input_, presentationFunctions);
        const auto converter = device->textureConverter();
        FrameTexture texture(session, device, input_);
        const auto drawn = session.makeOutput(cell, output_);
        Presentation presentation(session, texture.texture(), drawn, MTLPixelFormat::bgra8Unorm, {}, input_);
        const auto pool = converter->makePixelBufferPool(cell.width, cell.height, kCVPixelFormatType_32BGRA);
        std::vector<std::uint8_t> sheet(static_cast<std::size_t>(bytesPerRow * cell.height * rows_));

        const int count = columns_ * rows_;
        for (int index = 0; index < count; ++index) {
            // The middle of each of as many equal stretches: neither the first frame nor the last, often black, is
            // among them.
            texture.show(input.frameAt(CMTimeGetSeconds(movie.duration) * (index + 0.5) / count));
            presentation.draw();
            const auto pixels = pool != nullptr ? converter->makePixelBuffer(*drawn, *pool) : nullptr;
            if (pixels == nullptr) session.fail(output_, "the pixels could not be read back");
            const LockedPixels lock(*pixels);
            const auto* from = static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddress(*pixels));
            std::uint8_t* to = sheet.data() + index / columns_ * cell.height * bytesPerRow +
                               index % columns_ * cell.width * bytesPerPixel;
            for (std::int64_t row = 0; row < cell.height; ++row) {
                std::memcpy(to + row * bytesPerRow, from + row * CVPixelBufferGetBytesPerRow(*pixels),
                            static_cast<std::size_t>(cell.width * bytesPerPixel));
            }
        }
        writePicture(output_, {sheet.data(), cell.width * columns_, cell.height * rows_, bytesPerRow});
    }

private:
    std::string input_, output_;
    int columns_ = 4;
    int rows_ = 3;
    PictureSize size_;  ///< of one frame on the sheet
};

}  // namespace

void addSheetCommand(CLI::App& program) {
    addCommand<SheetCommand>(
        program.add_subcommand("sheet", "Show a movie at a glance, as one picture of many frames"));
}

}  // namespace ondrix::tools
