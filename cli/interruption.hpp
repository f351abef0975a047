#pragma once

#include <csignal>
#include <vector>

namespace qormath::cli {

/// While it lives, the signals that ask for the program's end do not end it: work that has to clean up first sees them
/// here. Signals that were ignored before stay so. There is one at a time.
class Interruption {
  public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// There is something to be read from it once a signal has come.
    int descriptor() const { return readEnd_; }

    /// The signal that has come; 0 without one.
    int signal() const;

  private:
    struct Handler {
        int signal;
        struct sigaction former;
    };

    int readEnd_ = -1;
    int writeEnd_ = -1;
    std::vector<Handler> handlers_;
};

}  // namespace qormath::cli
