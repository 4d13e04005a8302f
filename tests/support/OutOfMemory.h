#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ondrix::test {

/// The text that `run` returns in a process of its own, or how that process ended. No other thread may run.
inline std::string inChild(const std::function<std::string()>& run) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const std::string text = run();
        if (write(ends[1], text.data(), text.size()) < 0) std::_Exit(2);
        std::_Exit(0);
    }
    close(ends[1]);
    std::string text(1 << 17, '\0');
    std::size_t length = 0;
    for (ssize_t part = 1; part > 0; length += static_cast<std::size_t>(std::max<ssize_t>(part, 0))) {
        part = read(ends[0], text.data() + length, text.size() - length);
    }
    close(ends[0]);
    text.resize(length);
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0 ? text : "the process ended with status " + std::to_string(status);
}

inline bool runsInFull() {
    const char* wanted = std::getenv("ONDRIX_RELIABILITY");
    return wanted != nullptr && std::string(wanted) == "full";
}

/// Tries one allocation of a round in `step`, or in `quickStep`; `outcome` returns what went wrong, or nothing.
inline void tryAll(const char* name, long count, const std::function<std::string(long n, bool allThatFollow)>& outcome,
                   long quickStep = 7, long step = 1) {
    int tried = 0, survived = 0;
    for (const bool allThatFollow : {false, true}) {
        for (long n = 1; n <= count; n += runsInFull() ? step : quickStep) {
            ++tried;
            const std::string problem = outcome(n, allThatFollow);
            EXPECT_EQ(problem, "") << name << ", allocation " << n << (allThatFollow ? " and all that follow" : "");
            if (problem.empty()) ++survived;
        }
    }
    std::printf("out of memory, %s: %d tried, %d survived\n", name, tried, survived);
}

}  // namespace ondrix::test
