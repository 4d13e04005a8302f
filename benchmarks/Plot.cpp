#include "Plot.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace ondrix::benchmarks {

namespace {

// All in pixels of the picture.
constexpr int width = 860;
constexpr int barsLeft = 300;
constexpr int peerLength = 300;
constexpr int longestBar = 470;
constexpr int barHeight = 9;
constexpr int barDistance = 11;
constexpr int rowHeight = 3 * barDistance + 12;
constexpr int top = 66;

/// Has a ground of its own, so that it can be read wherever it is shown.
constexpr const char* head = R"(<style>
  .ground { fill: #ffffff }
  text { font: 12px system-ui, sans-serif; fill: #24292f }
  .small { font-size: 10px; fill: #57606a }
  .ours { fill: #1a7f37 } .peer { fill: #8c959f } .memory { fill: #54aeff }
  .line { stroke: #8c959f; stroke-dasharray: 3 3 }
  @media (prefers-color-scheme: dark) {
    .ground { fill: #0d1117 } text { fill: #e6edf3 } .small { fill: #9198a1 }
    .ours { fill: #3fb950 } .peer { fill: #6e7681 } .memory { fill: #1f6feb }
  }
</style>
<rect width="100%" height="100%" rx="6" class="ground"/>
)";

template <class... Values>
std::string format(const char* pattern, Values... values) {
    char text[400];
    std::snprintf(text, sizeof text, pattern, values...);
    return text;
}

std::string text(int x, int y, const char* kind, const std::string& words) {
    return format("<text x=\"%d\" y=\"%d\" class=\"%s\">", x, y, kind) + words + "</text>\n";
}

std::string box(int x, int y, int length, const char* kind) {
    return format("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" rx=\"2\" class=\"%s\"/>\n", x, y, length,
                  barHeight, kind);
}

/// `ratio` is 1 for the fastest peer. A bar that would be too long ends early and only its number tells.
std::string bar(int y, const Outcome& outcome, double ratio, const char* kind) {
    const int length = std::clamp(static_cast<int>(peerLength * ratio), 1, longestBar);
    std::string numbers = format("%.2f ms", outcome.timing.median);
    if (outcome.role == Role::ours) numbers += format(" (%.2f)", ratio);
    if (outcome.role == Role::peer) numbers += ", " + outcome.contender;
    if (outcome.largestError.value_or(0) > 1) numbers += format(", off by up to %d levels", *outcome.largestError);
    return box(barsLeft, y, length, kind) + text(barsLeft + length + 5, y + barHeight - 1, "small", numbers);
}

std::string drawRow(int y, const RowOutcome& row, const Outcome& ours, const Outcome& peer) {
    const auto ratio = [&](const Outcome& outcome) { return outcome.timing.median / peer.timing.median; };
    std::string picture = text(16, y + 2 * barDistance - 2, "title", row.title);
    picture += bar(y, ours, ratio(ours), "ours");
    picture += bar(y + barDistance, peer, 1.0, "peer");
    if (const Outcome* memory = fastest(row, Role::memory)) {
        picture += bar(y + 2 * barDistance, *memory, ratio(*memory), "memory");
    }
    return picture;
}

std::string legend() {
    std::string picture;
    const std::pair<const char*, const char*> entries[] = {
        {"ours", "Ondrix (share of the fastest peer)"}, {"peer", "fastest peer"}, {"memory", "moving the bytes alone"}};
    int x = barsLeft;
    for (const auto& [kind, words] : entries) {
        picture += box(x, 38, 14, kind) + text(x + 20, 38 + barHeight, "small", words);
        x += kind == entries[0].first ? 215 : 110;
    }
    return picture;
}

}  // namespace

std::string plot(const std::vector<RowOutcome>& rows, int threads) {
    std::string bars;
    int y = top;
    for (const RowOutcome& row : rows) {
        const Outcome* ours = fastest(row, Role::ours);
        const Outcome* peer = fastest(row, Role::peer);
        if (ours == nullptr || peer == nullptr) continue;
        bars += drawRow(y, row, *ours, *peer);
        y += rowHeight;
    }
    std::string picture = format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\">\n", width, y);
    picture += head;
    picture += text(16, 22, "title",
                    format("Time for a frame, %d thread%s: shorter is better", threads, threads == 1 ? "" : "s"));
    picture += legend();
    const int one = barsLeft + peerLength;
    picture += format("<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" class=\"line\"/>\n", one, top - 6, one, y - 6);
    return picture + bars + "</svg>\n";
}

}  // namespace ondrix::benchmarks
