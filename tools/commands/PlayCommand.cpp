#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>

#include <ondrix/platform/metalkit/HeadlessView.h>
#ifdef ONDRIX_WINDOW
#include <ondrix/platform/sdl/WindowView.h>
#endif

#include "CommandLine.h"
#include "SandboxOption.h"
#include "tools/sources/LiveFunction.h"
#include "tools/system/Failure.h"
#include "tools/system/Interruption.h"
#include "tools/video/FrameInput.h"
#include "tools/video/Playback.h"

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

/// Shows a movie or a live source in a window, or plays it without one. Space pauses, the arrows jump five seconds, q,
/// escape and closing the window end it; the window's title tells what a frame takes. With --watch a function of the
/// user's own is replaced while the movie plays.
class PlayCommand {
public:
    explicit PlayCommand(CLI::App& options) : sandbox_(options) {
        options.add_option("INPUT", input_, "Movie file, or a live source such as v4l2:/dev/video0")->required();
        addPlaylistOption(options, allowsPlaylists_);
        addPresentationOptions(options, presentation_);
        addSizeOption(options, size_, "Size of the window, that of the movie unless given");
        addEffectOption(options, effects_);
        addWatchOption(options, library_, addLibraryOptions(options, library_));
        auto* const headless = options.add_flag("--headless", headless_, "Play without a window");
        options.add_option("--seconds", seconds_, "End after so many seconds, if not earlier")
            ->needs(headless)
            ->check(checkSeconds)
            ->type_name("SECONDS");
    }

    void run() const {
        checkWatchOption(library_);
        Session session;
        const auto device = session.openDevice(input_);
        if (headless_ && !isCamera(input_) && !allowsPlaylists_) sandbox_.enter({input_}, "", effects_, library_);
        const Interruption interruption;
        const auto input = PlayInput::open(input_, movieOptions(allowsPlaylists_, interruption));
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
            const auto use = [&](const std::filesystem::path& folder) {
                chain->setFunction(library_, folder);
                playback.redraw();
            };
            const auto onBuilt = [this, use](const SourceLibrary::Build& build) {
                build.use(use, library_.library + ": in use");
            };
            live.emplace(*source, onBuilt, interruption.event());
        } else if (!library_.library.empty()) {
            const auto folder = SourceLibrary::folderOf(library_.library, *device, interruption.event(), source);
            chain->setFunction(library_, folder);
        }
        headless_ ? playHeadless(playback, *input, device->mtlDevice())
                  : playInWindow(playback, *input, device->mtlDevice());
    }

private:
    void playHeadless(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const {
        const auto view = HeadlessView::create(cgSize(size_.isGiven() ? size_ : uprightSize(input)), device);
        const PlaybackFigures figures = playback.run(view, seconds_, true);
        std::cout << figures.frames << " frames, " << playback.droppedFrameCount() << " dropped, "
                  << description(figures) << '\n';
        finishOutput();
    }

#ifdef ONDRIX_WINDOW
    void playInWindow(Playback& playback, PlayInput& input, const std::shared_ptr<MTLDevice>& device) const {
        const std::string name = std::filesystem::path(input_).filename();
        const CGSize size = size_.isGiven() ? cgSize(size_) : windowSize(uprightSize(input));
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
    void playInWindow(Playback&, PlayInput&, const std::shared_ptr<MTLDevice>&) const {
        throw Failure(input_, "this program was built without windows; --headless plays without one");
    }
#endif

    /// Of a view that shows the whole input.
    [[nodiscard]] PictureSize uprightSize(const PlayInput& input) const {
        PictureSize size = input.size();
        if (presentation_.isQuarterTurn()) std::swap(size.width, size.height);
        return {std::max<std::int64_t>(size.width, 1), std::max<std::int64_t>(size.height, 1)};
    }

    SandboxOption sandbox_;
    std::string input_;
    bool allowsPlaylists_ = false;
    PresentationOptions presentation_;
    std::vector<EffectRequest> effects_;
    LibraryOptions library_;
    PictureSize size_;
    bool headless_ = false;
    double seconds_ = Playback::untilEnd;
};

}  // namespace

void addPlayCommand(CLI::App& program) {
    addCommand<PlayCommand>(
        program.add_subcommand("play", "Show a movie: space pauses, left and right jump 5 seconds, q ends"));
}

}  // namespace ondrix::tools
