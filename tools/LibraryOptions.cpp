#include "LibraryOptions.h"

#include "SourceLibrary.h"

namespace ondrix::tools {

void LibraryOptions::check() const {
    if (watch && !SourceLibrary::isSource(library))
        throw CLI::ValidationError(
            "--watch",
            "'" + library + "' is not the source of a library, which is a .cpp file or a folder of such files");
}

CLI::Option* addLibraryOptions(CLI::App& command, LibraryOptions& options) {
    CLI::Option* const library =
        command
            .add_option("--library", options.library,
                        "Shader library, a folder NAME.oxlib, or its source: a .cpp file or a folder of such files, "
                        "built at once by the C++ compiler (CXX, else g++)")
            ->type_name("SRC");
    command
        .add_option("--function", options.function,
                    "Compute function of it, from texture 0 to texture 1; may be left out where it is the only one")
        ->type_name("NAME")
        ->needs(library);
    return library;
}

void addWatchOption(CLI::App& command, LibraryOptions& options, CLI::Option* library) {
    command
        .add_flag("--watch", options.watch,
                  "Build the source again whenever a file beside it is saved, until Ctrl-C (status 0). What was last "
                  "built stays in use when it doesn't compile")
        ->needs(library);
}

}  // namespace ondrix::tools
