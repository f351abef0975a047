#include "descriptor_output.hpp"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace qormath::cli {

namespace {

/// Waits until a descriptor has room, or an error to tell.
void waitForRoom(int descriptor) {
    pollfd wanted{descriptor, POLLOUT, 0};
    poll(&wanted, 1, -1);
}

}  // namespace

int writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            waitForRoom(descriptor);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

int DescriptorBuffer::sync() {
    const int failure = writeAll(descriptor_, view());
    str("");
    errno = failure;
    return failure == 0 ? 0 : -1;
}

}  // namespace qormath::cli
