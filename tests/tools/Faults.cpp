// Preloaded into the program, has system calls fail as the environment says.
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

long openFile(const char* path, int flags, mode_t mode) {
    return syscall(SYS_openat, AT_FDCWD, path, flags, mode);
}

/// FAULT_INPUT: whoever opens this file has been taken over, and tries to read FAULT_SECRET.
void meet(const char* path) {
    const char *const input = std::getenv("FAULT_INPUT"), *const secret = std::getenv("FAULT_SECRET");
    if (input == nullptr || secret == nullptr || std::strcmp(path, input) != 0) return;
    const int before = errno;
    const char* const result = openFile(secret, O_RDONLY, 0) >= 0 ? "stolen\n" : "refused\n";
    (void)!write(STDERR_FILENO, result, std::strlen(result));
    errno = before;
}

}  // namespace

extern "C" FILE* fopen(const char* path, const char* mode) {
    meet(path);
    static const auto next = reinterpret_cast<decltype(&fopen)>(dlsym(RTLD_NEXT, "fopen"));
    return next(path, mode);
}

/// FAULT_NAMELESS: the file system has no files without a name.
extern "C" int open(const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if ((flags & O_TMPFILE) == O_TMPFILE && std::getenv("FAULT_NAMELESS") != nullptr) {
        errno = EOPNOTSUPP;
        return -1;
    }
    if ((flags & O_PATH) == 0) meet(path);
    return static_cast<int>(openFile(path, flags, mode));
}

__attribute__((constructor)) static void interruptStart() {
    const char* const interruption = std::getenv("FAULT_INTERRUPTION");
    if (interruption != nullptr && std::atoi(interruption) < 0) raise(SIGTERM);
}

/// FAULT_THREADS=N: only the first N threads start. FAULT_INTERRUPTION=N: SIGTERM comes just before thread N, from 0;
/// when the program starts for -1.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                              void* argument) {
    static std::atomic<int> threadCount = 0;
    const int count = threadCount++;
    const char* const most = std::getenv("FAULT_THREADS");
    if (most != nullptr && count >= std::atoi(most)) return EAGAIN;
    const char* const interruption = std::getenv("FAULT_INTERRUPTION");
    if (interruption != nullptr && count == std::atoi(interruption)) raise(SIGTERM);
    static const auto next = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return next(thread, attributes, function, argument);
}
