#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <ostream>
#include <unistd.h>

#include "descriptor_output.hpp"
#include "program.hpp"

namespace {

/// The file of this very program, even where it has been replaced by a newer one since.
constexpr const char* thisProgram = "/proc/self/exe";

/// Gives the standard streams that the caller has closed a number each again, which otherwise the next file would get:
/// what goes to standard error would end in a result. Each is open in the wrong direction, so that using it fails as
/// it would without this.
void keepStandardStreamsApart() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // the lowest free number is this one
        }
    }
}

/// A reader that has gone, and a file that may grow no further, are errors of writing, which are told and cleaned up
/// after; the signals would end the program at once.
void takeFailuresOfWritingAsErrors() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace

int main(int argc, char** argv) {
    keepStandardStreamsApart();
    takeFailuresOfWritingAsErrors();
    qormath::cli::DescriptorBuffer output(STDOUT_FILENO);
    std::ostream out(&output);
    return qormath::cli::runProgram(argc, argv, out, std::cerr, isatty(STDERR_FILENO) == 1, thisProgram);
}
