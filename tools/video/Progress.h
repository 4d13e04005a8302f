#pragma once

#include <cstdint>
#include <string>

#include <ondrix/platform/ffmpeg/MovieInformation.h>

namespace ondrix::tools {

/// How a long run shows how far it is.
enum class ProgressKind {
    automatic,  ///< a bar where standard error is a terminal, else nothing
    json,       ///< one object a line on standard output
    none,
};

/// Shows how far a movie is on its way: a few times a second at most, however often it is told.
class Progress {
public:
    Progress(ProgressKind kind, const MovieInformation& movie);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// So many frames are done; the last one is shown at `seconds` after the first.
    void update(std::int64_t frames, double seconds);
    /// The last line: the run is over. `details` are further members of the JSON object, with a comma before each.
    void finish(std::int64_t frames, double seconds, const std::string& details);

private:
    void show(std::int64_t frames, double seconds, const std::string& details, bool isLast);
    void showBar(std::int64_t frames, double seconds, double framesPerSecond, double speed);

    enum class Form { nothing, bar, json };

    Form form_ = Form::nothing;
    double total_ = 0;  ///< seconds; 0 when not known
    double begin_ = 0;
    double nextShow_ = 0;  ///< of the media clock
    bool barIsShown_ = false;
};

}  // namespace ondrix::tools
