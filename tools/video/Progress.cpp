#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <unistd.h>

#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

namespace ondrix::tools {
namespace {

constexpr double barPause = 0.1;
constexpr double linePause = 1;
constexpr int barWidth = 30;

}  // namespace

Progress::Progress(ProgressKind kind, const MovieInformation& movie) : begin_(CACurrentMediaTime()) {
    if (kind == ProgressKind::json) form_ = Form::json;
    if (kind == ProgressKind::automatic && isatty(STDERR_FILENO) != 0) form_ = Form::bar;
    if (CMTIME_IS_NUMERIC(movie.duration)) total_ = CMTimeGetSeconds(movie.duration);
    nextShow_ = begin_ + (form_ == Form::json ? linePause : barPause);
}

Progress::~Progress() {
    if (barIsShown_) std::fputs("\r\033[K", stderr);
}

void Progress::update(std::int64_t frames, double seconds) {
    if (form_ != Form::nothing && CACurrentMediaTime() >= nextShow_) show(frames, seconds, "", false);
}

void Progress::finish(std::int64_t frames, double seconds, const std::string& details) {
    if (form_ == Form::json) show(frames, seconds, details, true);
}

void Progress::show(std::int64_t frames, double seconds, const std::string& details, bool isLast) {
    const double now = CACurrentMediaTime();
    const double elapsed = std::max(now - begin_, 1e-6);
    const double framesPerSecond = static_cast<double>(frames) / elapsed;
    const double speed = seconds / elapsed;
    nextShow_ = now + (form_ == Form::json ? linePause : barPause);
    if (form_ == Form::bar) {
        showBar(frames, seconds, framesPerSecond, speed);
        return;
    }
    std::printf("{\"frames\":%lld,\"seconds\":%.6f,\"framesPerSecond\":%.2f,\"speed\":%.3f",
                static_cast<long long>(frames), seconds, framesPerSecond, speed);
    if (total_ > 0 && speed > 0 && !isLast)
        std::printf(",\"share\":%.4f,\"secondsLeft\":%.1f", std::min(seconds / total_, 1.0),
                    std::max(total_ - seconds, 0.0) / speed);
    std::printf("%s,\"done\":%s}\n", details.c_str(), isLast ? "true" : "false");
    std::fflush(stdout);
}

void Progress::showBar(std::int64_t frames, double seconds, double framesPerSecond, double speed) {
    std::string line = "\r\033[K";
    char text[128];
    if (total_ > 0) {
        const double share = std::clamp(seconds / total_, 0.0, 1.0);
        const auto filled = static_cast<std::size_t>(std::lround(share * barWidth));
        line += "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "] ";
        std::snprintf(text, sizeof text, "%3.0f %%  ", share * 100);
        line += text;
    }
    std::snprintf(text, sizeof text, "%lld frames  %.1f frames/s  %.2fx", static_cast<long long>(frames),
                  framesPerSecond, speed);
    line += text;
    if (total_ > 0 && speed > 0) {
        std::snprintf(text, sizeof text, "  %.0f s left", std::max(total_ - seconds, 0.0) / speed);
        line += text;
    }
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    barIsShown_ = true;
}

}  // namespace ondrix::tools
