#include "Program.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void redirect(int descriptor, const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
}

}  // namespace

Outcome runProgram(const char* path, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment) {
    const Workspace folder;
    const std::string output = folder.file("output");
    const std::string errors = folder.file("errors");
    std::vector<char*> pointers{const_cast<char*>(path)};
    for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);

    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        for (const std::string& variable : environment) putenv(const_cast<char*>(variable.c_str()));
        redirect(STDOUT_FILENO, output);
        redirect(STDERR_FILENO, errors);
        execv(path, pointers.data());
        _exit(127);
    }
    int state = 0;
    struct rusage usage {};
    if (wait4(child, &state, 0, &usage) != child) throw std::runtime_error("wait4 failed");
    return {WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state), content(output), content(errors),
            usage.ru_maxrss};
}

Outcome runOndrix(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
    return runProgram(ONDRIX_PROGRAM, arguments, environment);
}

std::vector<std::string> Workspace::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path())) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}
