#include "hvkstat/Output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace hvk::hvkstat {

namespace {

int writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            // A terminal that somebody else set non-blocking: wait until it takes more.
            pollfd ready{descriptor, POLLOUT, 0};
            if (::poll(&ready, 1, -1) < 0 && errno != EINTR) return errno;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

Output Output::toDescriptor(int descriptor) {
    return Output([descriptor](std::string_view text) { return writeAll(descriptor, text); });
}

bool Output::write(std::string_view text) {
    if (error_ == 0) error_ = writer_(text);
    return error_ == 0;
}

}  // namespace hvk::hvkstat
