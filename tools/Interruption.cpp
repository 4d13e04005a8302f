#include "Interruption.h"

#include <signal.h>

#include "OutputFile.h"

namespace ondrix::tools {
namespace {

volatile sig_atomic_t interrupted = 0;

extern "C" void noteInterruption(int) {
    interrupted = 1;
    OutputFile::endAtInterruptions();
}

}  // namespace

Interruption::Interruption() {
    interrupted = 0;
    struct sigaction action {};
    action.sa_handler = noteInterruption;
    action.sa_flags = SA_RESTART;  // so that no write fails half-way
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction present {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
}

bool Interruption::requested() const noexcept {
    return interrupted != 0;
}

}  // namespace ondrix::tools
