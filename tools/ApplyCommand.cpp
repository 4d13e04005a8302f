#include "ApplyCommand.h"

#include <iostream>
#include <memory>

#include "Complaint.h"
#include "Failure.h"
#include "FolderWatch.h"
#include "Interruption.h"
#include "Session.h"

namespace ondrix::tools {

void ApplyCommand::add(CLI::App& program) {
    const auto command = std::make_shared<ApplyCommand>();
    CLI::App* const options = program.add_subcommand("apply", "Run a compute function of your own over a picture");
    options->add_option("INPUT", command->input_, "PNG or JPEG file, the function's texture 0")->required();
    options->add_option("OUTPUT", command->output_, "PNG file to write, the function's texture 1")->required();
    addWatchOption(*options, command->library_, addLibraryOptions(*options, command->library_)->required());
    addSizeOption(*options, command->size_, "Size of the output, that of the input unless given");
    options->callback([command] { command->run(); });
}

void ApplyCommand::run() const {
    library_.check();
    Session session;
    const auto device = session.openDevice(input_, {});
    const auto picture = session.loadPicture(input_);
    const PictureSize size = size_ == PictureSize{} ? PictureSize{picture->width(), picture->height()} : size_;
    const auto output = session.makeOutput(size, output_);
    const auto draw = [&](const std::filesystem::path& folder) {
        session.run(*session.makeFunctionEffect(library_, folder, picture, output), library_.library);
        session.savePicture(*output, output_);
    };
    if (!SourceLibrary::isSource(library_.library)) return draw(library_.library);

    const Interruption interruption;
    SourceLibrary source(library_.library, *device);
    library_.watch ? watch(source, interruption.event(), draw) : draw(source.buildOnce(interruption.event()));
}

void ApplyCommand::watch(SourceLibrary& source, const Event& end,
                         const std::function<void(const std::filesystem::path&)>& draw) const {
    FolderWatch folder(source.watchedFolder());  // before the first build, so that no save is missed
    std::cout << source.name() << ": watched until Ctrl-C" << std::endl;
    do {
        const auto build = source.build(end);
        if (!build) return;
        if (build->error) {
            build->error->show();
            continue;
        }
        try {
            draw(build->folder);
            std::cout << output_ << ": drawn, " << build->description() << std::endl;
        } catch (const Failure& failure) {
            complain(failure.what());
        }
    } while (folder.waitForSave(end));
}

}  // namespace ondrix::tools
