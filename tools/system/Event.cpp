#include "Event.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "Failure.h"

namespace ondrix::tools {

Event::Event() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw Failure("eventfd", std::generic_category().message(errno));
}

Event::~Event() {
    close(descriptor_);
}

void Event::announce() const noexcept {
    const int before = errno;
    const std::uint64_t one = 1;
    (void)!write(descriptor_, &one, sizeof one);
    errno = before;
}

bool Event::hasHappened() const noexcept {
    pollfd wanted{descriptor_, POLLIN, 0};
    return poll(&wanted, 1, 0) > 0;
}

bool waitToRead(int descriptor, const Event& end, int milliseconds) {
    pollfd wanted[] = {{descriptor, POLLIN, 0}, {end.descriptor(), POLLIN, 0}};
    int count = 0;
    do {
        count = poll(wanted, 2, milliseconds);
    } while (count < 0 && errno == EINTR);
    return count > 0 && wanted[0].revents != 0 && wanted[1].revents == 0;
}

}  // namespace ondrix::tools
