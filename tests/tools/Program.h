#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <tests/support/TemporaryFolder.h>

/// Kilobytes that no bad input may bring the program to use.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::int64_t memoryLimit = INT64_MAX;  // shadow memory counts too
#else
constexpr std::int64_t memoryLimit = 200 * 1000;
#endif

/// What a program left behind when it ended.
struct Outcome {
    int status = 0;  ///< exit status; 128 + signal for one that was killed
    std::string output;
    std::string errors;
    std::int64_t peakKilobytes = 0;  ///< most memory that it had in use
};

/// Runs the program `path` with `environment` ("NAME=value") added to this process's own, and waits for it.
Outcome runProgram(const char* path, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment = {});
/// The same for the built program `ondrix`.
Outcome runOndrix(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {});

/// A temporary folder for a program's files.
class Workspace : public ondrix::test::TemporaryFolder {
public:
    [[nodiscard]] std::string file(const std::string& name) const { return (path() / name).string(); }
    /// Names of all that lies in the folder, hidden files too, sorted.
    [[nodiscard]] std::vector<std::string> names() const;
};
