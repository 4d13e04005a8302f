#include "Program.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Kilobytes that no bad input may bring the program to use.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::int64_t memoryLimit = INT64_MAX;  // shadow memory counts too
#else
constexpr std::int64_t memoryLimit = 200 * 1000;
#endif

/// Starts a program whose two streams go to these files; its process.
pid_t start(const char* path, const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
            int output, int errors) {
    std::vector<char*> pointers{const_cast<char*>(path)};
    for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        for (const std::string& variable : environment) putenv(const_cast<char*>(variable.c_str()));
        dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        signal(SIGINT, SIG_DFL);
        execv(path, pointers.data());
        _exit(127);
    }
    for (const int stream : {output, errors}) close(stream);
    return child;
}

/// Exit status, or 128 + signal.
int statusOf(int state) {
    return WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
}

}  // namespace

std::string content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Outcome runProgram(const char* path, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment) {
    const ondrix::test::TemporaryFolder folder;
    const std::string output = folder.path() / "output", errors = folder.path() / "errors";
    const auto make = [](const std::string& file) { return open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600); };
    const pid_t child = start(path, arguments, environment, make(output), make(errors));
    int state = 0;
    struct rusage usage {};
    if (wait4(child, &state, 0, &usage) != child) throw std::runtime_error("wait4 failed");
    return {statusOf(state), content(output), content(errors), usage.ru_maxrss};
}

Outcome runOndrix(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
    return runProgram(ONDRIX_PROGRAM, arguments, environment);
}

RunningProgram::RunningProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
    child_ = start(ONDRIX_PROGRAM, arguments, environment, ends[1], fcntl(ends[1], F_DUPFD_CLOEXEC, 0));
    output_ = fdopen(ends[0], "r");
}

RunningProgram::~RunningProgram() {
    if (child_ > 0) end(SIGKILL);
    closeOutput();
}

void RunningProgram::closeOutput() {
    if (output_ != nullptr) std::fclose(output_);
    output_ = nullptr;
}

std::string RunningProgram::waitForLine(const std::string& text) {
    char line[2048];
    while (std::fgets(line, sizeof line, output_) != nullptr) {
        if (std::string_view(line).find(text) != std::string_view::npos) return line;
    }
    return {};
}

int RunningProgram::end(int signal) {
    int state = 0;
    kill(child_, signal);
    if (waitpid(child_, &state, 0) != child_) throw std::runtime_error("waitpid failed");
    child_ = 0;
    return statusOf(state);
}

std::vector<std::string> withFaults(std::vector<std::string> faults) {
    faults.emplace_back(ONDRIX_TEST_FAULTS);
    return faults;
}

void expectReason(const Outcome& outcome, const std::string& file, const std::string& reason) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, testing::AllOf(testing::StartsWith("ondrix: " + file + ": "),
                                               testing::HasSubstr(reason), testing::EndsWith("\n")));
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    EXPECT_GT(outcome.errors.size(), file.size() + 16) << outcome.errors;
    EXPECT_LT(outcome.peakKilobytes, memoryLimit);
}

void expectWrongUse(const std::vector<std::string>& arguments, const std::string& reason) {
    const Outcome outcome = runOndrix(arguments);
    EXPECT_EQ(outcome.status, 2) << reason;
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, testing::AllOf(testing::StartsWith("ondrix: "), testing::HasSubstr(reason)));
}

std::string png(const ondrix::test::Picture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_BGRA;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string bytes(size, '\0');
    png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.bytes.data(), 0, nullptr);
    bytes.resize(size);
    return bytes;
}
