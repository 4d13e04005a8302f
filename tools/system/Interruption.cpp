#include "Interruption.h"

#include <atomic>

#include <signal.h>

#include "OutputFile.h"

namespace ondrix::tools {
namespace {

std::atomic<const Event*> interrupted = nullptr;
static_assert(decltype(interrupted)::is_always_lock_free, "a signal handler reads it");

extern "C" void noteInterruption(int) {
    if (const Event* const event = interrupted.load()) event->announce();
    OutputFile::endAtInterruptions();
}

}  // namespace

Interruption::Interruption() {
    interrupted = &event_;
    struct sigaction action {};
    action.sa_handler = noteInterruption;
    action.sa_flags = SA_RESTART;  // so that no write fails half-way
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction present {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
}

Interruption::~Interruption() {
    interrupted = nullptr;
}

}  // namespace ondrix::tools
