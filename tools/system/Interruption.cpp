#include "Interruption.h"

#include <atomic>
#include <string_view>

#include <signal.h>
#include <unistd.h>

#include "OutputFile.h"

namespace ondrix::tools {
namespace {

std::atomic<const Event*> interrupted = nullptr;
static_assert(decltype(interrupted)::is_always_lock_free, "a signal handler reads it");

/// Never released: a signal may announce it on any thread until the process ends.
const Event& userEvent() {
    static const Event& event = *new Event;
    return event;
}

extern "C" void interrupt(int) {
    if (const Event* const event = interrupted.exchange(nullptr)) return event->announce();
    OutputFile::removeUnfinished();
    constexpr std::string_view line = "ondrix: interrupted\n";
    (void)!write(STDERR_FILENO, line.data(), line.size());
    _exit(Interruption::status);
}

}  // namespace

Interruption::Interruption() : event_(userEvent()) {
    interrupted = &event_;
}

Interruption::~Interruption() {
    interrupted = nullptr;
}

void Interruption::handleSignals() {
    struct sigaction action {};
    action.sa_handler = interrupt;
    action.sa_flags = SA_RESTART;  // so that no write fails half-way
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction present {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
}

}  // namespace ondrix::tools
