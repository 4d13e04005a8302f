#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <tests/pictures/PictureWriter.h>
#include <tests/support/Picture.h>
#include <tests/support/TemporaryFolder.h>

/// What a program left behind when it ended.
struct Outcome {
    int status = 0;  ///< exit status; 128 + signal for one that was killed
    std::string output, errors;
    std::int64_t peakKilobytes = 0;  ///< most memory that it had in use
};

/// Runs the program `path` with `environment` ("NAME=value") added to this process's own, and waits for it.
Outcome runProgram(const char* path, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment = {});
/// The same for the built program `ondrix`.
Outcome runOndrix(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {});

/// `ondrix` that goes on while a test looks at what it prints.
class RunningProgram {
public:
    RunningProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    /// The next line on either stream that holds `text`, once it comes; empty when the program ends without.
    std::string waitForLine(const std::string& text);
    /// From now on nobody reads what the program prints.
    void closeOutput();
    /// Sends the signal, none if 0, and waits; the exit status, or 128 + signal.
    int end(int signal);

private:
    pid_t child_ = 0;
    std::FILE* output_ = nullptr;
};

/// An environment in which the program meets these faults, which Faults.cpp explains. Sanitizers don't bear it.
std::vector<std::string> withFaults(std::vector<std::string> faults);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool hasFaults = false;
#else
inline constexpr bool hasFaults = true;
#endif

/// Expects one line that begins with the program and the file and holds the reason, and no output nor much memory.
void expectReason(const Outcome& outcome, const std::string& file, const std::string& reason = "");

/// Expects status 2 and one message, with the reason.
void expectWrongUse(const std::vector<std::string>& arguments, const std::string& reason);

std::string content(const std::string& path);
/// The bytes of a PNG file.
std::string png(const ondrix::test::Picture& picture);

/// A folder with the program's files, from "in" to "out.png".
class ProgramTest : public testing::Test {
protected:
    using Picture = ondrix::test::Picture;

    std::string file(const std::string& name) const { return (folder.path() / name).string(); }
    /// Names of all that lies in the folder, hidden files too, sorted.
    std::set<std::string> names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            names.insert(entry.path().filename());
        return names;
    }
    /// Runs the command on a file with the content `input`.
    Outcome run(const std::string& command, const std::string& input, std::vector<std::string> options) const {
        options.insert(options.begin(), {command, folder.write("in", input), out});
        return runOndrix(options);
    }
    /// The picture that this makes without a word.
    Picture result(const std::string& command, const std::string& input,
                   const std::vector<std::string>& options) const {
        const Outcome outcome = run(command, input, options);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.output + outcome.errors, "");
        return shown();
    }
    /// The picture in "out.png".
    Picture shown() const {
        const ondrix::test::LoadedPicture loaded{ondrix::URL(out)};
        return loaded.texture ? ondrix::test::pictureOf(*loaded.texture) : Picture(1, 1);
    }

    ondrix::test::TemporaryFolder folder;
    const std::string in = file("in"), out = file("out.png");
};
