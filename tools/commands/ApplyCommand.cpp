#include <filesystem>
#include <functional>
#include <iostream>

#include "CommandLine.h"
#include "SandboxOption.h"
#include "tools/sources/FolderWatch.h"
#include "tools/sources/SourceLibrary.h"
#include "tools/system/Interruption.h"

namespace ondrix::tools {
namespace {

/// Runs a compute function of an application's own library over a picture. The function finds the input in texture 0
/// and the output in texture 1. A library's source is built here, and with --watch again whenever it is saved.
class ApplyCommand {
public:
    explicit ApplyCommand(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "PNG or JPEG file, the function's texture 0")->required();
        options.add_option("OUTPUT", output_, "PNG file to write, the function's texture 1")->required();
        addWatchOption(options, library_, addLibraryOptions(options, library_)->required());
        addSizeOption(options, size_, "Size of the output, that of the input unless given");
    }

    void run() const {
        checkWatchOption(library_);
        Session session;
        const auto device = session.openDevice(input_);
        sandbox_.enter({input_}, output_, {}, library_);
        const auto picture = session.loadPicture(input_);
        const PictureSize size = size_.isGiven() ? size_ : PictureSize{picture->width(), picture->height()};
        const auto output = session.makeOutput(size, output_);
        const auto draw = [&](const std::filesystem::path& folder) {
            runToEnd(*session.makeFunctionEffect(library_, folder, picture, output), library_.library);
            writePicture(output_, pixelsOf(*output, output_));
        };
        if (!SourceLibrary::isSource(library_.library)) return draw(library_.library);

        const Interruption interruption;
        SourceLibrary source(library_.library, *device);
        library_.watch ? watch(source, interruption.event(), draw) : draw(source.buildOnce(interruption.event()));
    }

private:
    /// Calls `draw` with the folder of each library that is built, until an interruption.
    void watch(SourceLibrary& source, const Event& end,
               const std::function<void(const std::filesystem::path&)>& draw) const {
        FolderWatch folder(source.watchedFolder());  // before the first build, so that no save is missed
        std::cout << source.name() << ": watched until Ctrl-C" << std::endl;
        do {
            const auto build = source.build(end);
            if (!build) return;
            build->use(draw, output_ + ": drawn");
        } while (folder.waitForSave(end));
    }

    SandboxOption sandbox_;
    std::string input_, output_;
    LibraryOptions library_;
    PictureSize size_;
};

}  // namespace

void addApplyCommand(CLI::App& program) {
    addCommand<ApplyCommand>(program.add_subcommand("apply", "Run a compute function of your own over a picture"));
}

}  // namespace ondrix::tools
