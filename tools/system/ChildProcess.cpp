#include "ChildProcess.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ondrix::tools {
namespace {

constexpr int notStarted = 127;

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// This process's environment without the variables that are in `environment` already, and those.
void completeEnvironment(std::vector<std::string>& environment) {
    const std::vector<std::string> own = environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const std::string name = text.substr(0, text.find('=') + 1);
        bool isReplaced = false;
        for (const std::string& replacement : own) isReplaced = isReplaced || replacement.starts_with(name);
        if (!isReplaced) environment.push_back(text);
    }
}

/// Starts the program as the leader of its own group, both its streams connected to `output`; 0 or an error code.
int start(std::vector<std::string>& arguments, std::vector<std::string>& environment, int output, pid_t& child) {
    posix_spawn_file_actions_t streams;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&streams, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&streams, output, STDERR_FILENO);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    sigset_t ignored;
    sigemptyset(&ignored);
    sigaddset(&ignored, SIGXFSZ);
    posix_spawnattr_setsigdefault(&attributes, &ignored);
    const int error = posix_spawnp(&child, arguments[0].c_str(), &streams, &attributes, pointersTo(arguments).data(),
                                   pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&streams);
    return error;
}

}  // namespace

std::optional<ProcessResult> runProcess(std::vector<std::string> arguments, std::vector<std::string> environment,
                                        const Event& end) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return ProcessResult{notStarted, std::generic_category().message(errno)};
    completeEnvironment(environment);
    pid_t child = 0;
    const int error = start(arguments, environment, ends[1], child);
    close(ends[1]);

    ProcessResult result;
    bool isComplete = error != 0;
    if (error != 0) result = {notStarted, std::generic_category().message(error)};
    while (!isComplete && waitToRead(ends[0], end, -1)) {
        char bytes[4096];
        const ssize_t count = read(ends[0], bytes, sizeof bytes);
        if (count > 0) result.output.append(bytes, static_cast<std::size_t>(count));
        isComplete = count == 0 || (count < 0 && errno != EINTR);
    }
    close(ends[0]);
    if (error != 0) return result;

    if (!isComplete) kill(-child, SIGKILL);
    int state = 0;
    while (waitpid(child, &state, 0) < 0 && errno == EINTR) {
    }
    if (!isComplete) return std::nullopt;
    result.status = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
    return result;
}

}  // namespace ondrix::tools
