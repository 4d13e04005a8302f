#include <algorithm>
#include <cstring>

#include "CommandLine.h"
#include "SandboxOption.h"
#include "tools/system/Failure.h"
#include "tools/system/Interruption.h"
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
    explicit SheetCommand(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "Movie file")->required();
        options.add_option("OUTPUT", output_, "PNG file to write")->required();
        addPlaylistOption(options, allowsPlaylists_);
        options.add_option("--columns", columns_, "Frames in a row (4)")->check(CLI::Range(1, 32));
        options.add_option("--rows", rows_, "Rows of frames (3)")->check(CLI::Range(1, 32));
        addSizeOption(options, size_, "Size of one frame, 180 pixels high unless given");
        addFilterOption(options, presentation_);
    }

    void run() const {
        Session session;
        const auto device = session.openDevice(input_);
        if (!allowsPlaylists_) sandbox_.enter({input_}, output_);
        const Interruption interruption;
        FrameInput input(input_, movieOptions(allowsPlaylists_, interruption));
        const MovieInformation& movie = input.information();
        if (!CMTIME_IS_NUMERIC(movie.duration)) throw Failure(input_, "doesn't say how long it is");
        const PictureSize cell = size_.isGiven() ? size_ : usualSize(movie);
        const std::int64_t bytesPerRow = cell.width * columns_ * bytesPerPixel;
        constexpr std::int64_t largestSheet = std::int64_t{1} << 30;
        if (bytesPerRow * cell.height * rows_ > largestSheet)
            throw CLI::ValidationError("--size", "the sheet is too large");

        const auto texture = makeFrameTexture(device, input_);
        const auto drawn = session.makeOutput(cell, output_);
        Presentation presentation(texture, drawn, MTLPixelFormat::bgra8Unorm, presentation_, input_);
        Pixels sheet{MTLPixelFormat::bgra8Unorm, cell.width * columns_, cell.height * rows_, bytesPerRow, {}};
        sheet.bytes.resize(static_cast<std::size_t>(bytesPerRow * sheet.height));

        const int count = columns_ * rows_;
        for (int index = 0; index < count; ++index) {
            // The middle of each of as many equal stretches: neither the first frame nor the last, often black, is
            // among them.
            const auto frame = input.frameAt(CMTimeGetSeconds(movie.duration) * (index + 0.5) / count);
            const auto work = session.makeCommandBuffer(input_);
            show(*texture, *frame, *work, input_);
            presentation.encode(*work);
            work->commit();
            waitFor(*work, input_);
            const Pixels pixels = pixelsOf(*drawn, output_);
            std::byte* to = sheet.bytes.data() + index / columns_ * cell.height * bytesPerRow +
                            index % columns_ * pixels.bytesPerRow;
            for (std::int64_t row = 0; row < cell.height; ++row) {
                std::memcpy(to + row * bytesPerRow, pixels.bytes.data() + row * pixels.bytesPerRow,
                            static_cast<std::size_t>(pixels.bytesPerRow));
            }
        }
        writePicture(output_, std::move(sheet));
    }

private:
    SandboxOption sandbox_;
    std::string input_, output_;
    bool allowsPlaylists_ = false;
    int columns_ = 4;
    int rows_ = 3;
    PictureSize size_;  ///< of one frame on the sheet
    PresentationOptions presentation_;
};

}  // namespace

void addSheetCommand(CLI::App& program) {
    addCommand<SheetCommand>(
        program.add_subcommand("sheet", "Show a movie at a glance, as one picture of many frames"));
}

}  // namespace ondrix::tools
