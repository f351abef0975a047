#pragma once

#include <poll.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace qormath::cli {

/// Another process, without input, whose output is kept. It is stopped with this object.
class ChildProcess {
  public:
    /// Runs a program with words on its command line. Each NAME=VALUE takes the place of the variable of that name in
    /// the environment that it shares with this process. Throws ProgramError if it cannot be started.
    ChildProcess(const std::string& program, const std::vector<std::string>& words,
                 const std::vector<std::string>& variables);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// What to wait for, so that takeOutput has something to do.
    std::vector<pollfd> awaited() const;

    /// Takes what the process has written so far, without waiting. True once there will be no more.
    bool takeOutput();

    /// Waits for its end. How it ended if that is not with exit status 0: "status 1", or "signal 9 (Killed)".
    std::string end();

    const std::string& out() const { return out_.text; }
    const std::string& err() const { return err_.text; }

  private:
    /// The end of a pipe that the process writes into.
    struct Stream {
        int descriptor = -1;
        std::string text = {};

        void take();
        void close();
    };

    pid_t process_ = -1;
    Stream out_;
    Stream err_;
};

}  // namespace qormath::cli
