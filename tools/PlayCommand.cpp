#include "PlayCommand.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <utility>

#include <ondrix/platform/metalkit/HeadlessView.h>
#ifdef ONDRIX_WINDOW
#include <ondrix/platform/sdl/WindowView.h>
#endif

#include "Complaint.h"
#include "Failure.h"
#include "LiveFunction.h"
#include "Session.h"

namespace ondrix::tools {
namespace {

constexpr double titlePeriod = 1;  // seconds
constexpr int jump = 5;            // seconds

CGSize cgSize(PictureSize size) {
    return {static_cast<double>(size.width), static_cast<double>(size.height)};
}

/// Made smaller, in proportion, where it is larger than a usual window.
[[maybe_unused]] CGSize windowSize(PictureSize size) {
    const double scale =
        std::min({1.0, 1280.0 / static_cast<double>(size.width), 720.0 / static_cast<double>(size.height)});
    const auto side = [scale](std::int64_t length) {
        return std::max(1.0, std::round(static_cast<double>(length) * scale));
    };
    return {side(size.width), side(size.height)};
}

std::string checkSeconds(const std::string& text) {
    double seconds = 0;
    const bool isPositive = CLI::detail::lexical_cast(text, seconds) && seconds > 0 && std::isfinite(seconds);
    return isPositive ? "" : "'" + text + "' is not a number of seconds above 0";
}

}  // namespace

void PlayCommand::add(CLI::App& program) {
    const auto command = std::make_shared<PlayCommand>();
    CLI::App* const options =
        program.add_subcommand("play", "Show a movie: space pauses, left and right jump 5 seconds, q ends");
    options->add_option("INPUT", command->input_, "Movie file, or a live source such as v4l2:/dev/video0")->required();
    addPresentationOptions(*options, command->presentation_);
    addSizeOption(*options, command->size_, "Size of the window, that of the movie unless given");
    addEffectOption(*options, command->effects_);
    addWatchOption(*options, command->library_, addLibraryOptions(*options, command->library_));
    auto* const headless = options->add_flag("--headless", command->headless_, "Play without a window");
    options->add_option("--seconds", command->seconds_, "End after so many seconds, if not earlier")
        ->needs(headless)
        ->check(checkSeconds)
        ->type_name("SECONDS");
    options->callback([command] { command->run(); });
}

void PlayCommand::run() const {
    library_.check();
    const Interruption interruption;
    Session session;
    const auto input = PlayInput::open(input_);
    const auto device = session.openDevice(input_, presentationFunctions);
    Playback playback(session, *input, interruption, presentation_, input_);

    std::optional<EffectChain> chain;
    if (!effects_.empty() || !library_.library.empty()) {
        chain.emplace(session, effects_, uprightSize(*input), input_);
        playback.setEffectChain(*chain);
    }
    std::optional<SourceLibrary> source;
    std::optional<LiveFunction> live;
    if (library_.watch) {
        source.emplace(library_.library, *device);
        const auto use = [&](const SourceLibrary::Build& build) { useFunction(*chain, build, playback); };
        live.emplace(*source, use, interruption.event());
    } else if (!library_.library.empty()) {
        const auto folder = SourceLibrary::folderOf(library_.library, *device, interruption.event(), source);
        chain->setFunction(library_, folder);
    }
    headless_ ? playHeadless(playback, *input, device->mtlDevice())
              : playInWindow(playback, *input, device->mtlDevice());
}

void PlayCommand::useFunction(EffectChain& chain, const SourceLibrary::Build& build, Playback& playback) const {
    if (build.error) return build.error->show();
    try {
        chain.setFunction(library_, build.folder);
        playback.redraw();
        std::cout << library_.library << ": in use, " << build.description() << std::endl;
    } catch (const Failure& failure) {
        complain(failure.what());
    }
}

void PlayCommand::playHeadless(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const {
    const auto view = HeadlessView::create(cgSize(size_ == PictureSize{} ? uprightSize(input) : size_), device);
    const PlaybackFigures figures = playback.run(view, seconds_, true);
    std::cout << figures.frames << " frames, " << playback.droppedFrameCount() << " dropped, " << description(figures)
              << '\n';
    if (!std::cout.flush()) throw Failure("standard output", "can't be written");
}

#ifdef ONDRIX_WINDOW
void PlayCommand::playInWindow(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const {
    const std::string name = std::filesystem::path(input_).filename();
    const CGSize size = size_ == PictureSize{} ? windowSize(uprightSize(input)) : cgSize(size_);
    NSError error;
    const auto window = WindowView::create(name, size, device, &error);
    if (window == nullptr)
        throw Failure(input_, "no window: " + error.localizedDescription() + " (--headless plays without one)");

    WindowEvents events;
    events.closed = [&playback] { playback.stop(); };
    events.character = [&playback, &input](char character) {
        if (character == ' ') input.togglePause();
        if (character == 'q') playback.stop();
    };
    events.key = [&playback, &input](WindowKey key) {
        if (key == WindowKey::left) input.seekBy(-jump);
        if (key == WindowKey::right) input.seekBy(jump);
        if (key == WindowKey::escape) playback.stop();
    };
    window->setEvents(std::move(events));
    playback.setOnUpdate(titlePeriod, [&window, &name](const PlaybackFigures& figures) {
        char rate[60];
        std::snprintf(rate, sizeof rate, "%.1f frames/s", figures.framesPerSecond);
        window->setTitle(name + " - " + rate + ", " + description(figures));
    });
    playback.run(window, Playback::untilEnd, false);
}
#else
void PlayCommand::playInWindow(Playback&, PlayInput&, const std::shared_ptr<MTLDevice>&) const {
    throw Failure(input_, "this program was built without windows; --headless plays without one");
}
#endif

PictureSize PlayCommand::uprightSize(const PlayInput& input) const {
    PictureSize size = input.size();
    if (isQuarterTurn(presentation_.rotation)) std::swap(size.width, size.height);
    return {std::max<std::int64_t>(size.width, 1), std::max<std::int64_t>(size.height, 1)};
}

}  // namespace ondrix::tools
