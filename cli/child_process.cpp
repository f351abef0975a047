#include "child_process.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "program_error.hpp"

namespace qormath::cli {

namespace {

ProgramError startError(int error) {
    return ProgramError(std::string("no further process can be started: ") + std::strerror(error));
}

/// A pipe; what has not been released is closed.
class Pipe {
  public:
    Pipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw startError(errno);
        }
        // The side that is read here must not keep the other streams waiting.
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        for (const int end : ends_) {
            if (end >= 0) {
                close(end);
            }
        }
    }

    int writeEnd() const { return ends_[1]; }

    int releaseReadEnd() {
        const int end = ends_[0];
        ends_[0] = -1;
        return end;
    }

  private:
    std::array<int, 2> ends_{-1, -1};
};

/// What the new process finds as its standard streams.
class Streams {
  public:
    Streams(const Pipe& out, const Pipe& err) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, out.writeEnd(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, err.writeEnd(), STDERR_FILENO);
    }
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;
    ~Streams() { posix_spawn_file_actions_destroy(&actions_); }

    const posix_spawn_file_actions_t* actions() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_{};
};

/// This process's environment with some variables replaced.
std::vector<std::string> environmentWith(const std::vector<std::string>& variables) {
    std::vector<std::string> result = variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const bool isReplaced = std::any_of(variables.begin(), variables.end(), [&](const std::string& variable) {
            return text.rfind(variable.substr(0, variable.find('=') + 1), 0) == 0;
        });
        if (!isReplaced) {
            result.push_back(text);
        }
    }
    return result;
}

/// As the system takes lists of texts: pointers, the last one null.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

int waitFor(pid_t process) {
    int state = 0;
    while (waitpid(process, &state, 0) < 0 && errno == EINTR) {
    }
    return state;
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& words,
                           const std::vector<std::string>& variables) {
    Pipe out;
    Pipe err;
    const Streams streams(out, err);
    std::vector<std::string> arguments{program};
    arguments.insert(arguments.end(), words.begin(), words.end());
    std::vector<std::string> environment = environmentWith(variables);
    const int error = posix_spawn(&process_, program.c_str(), streams.actions(), nullptr, pointersTo(arguments).data(),
                                  pointersTo(environment).data());
    if (error != 0) {
        process_ = -1;
        throw startError(error);
    }
    out_.descriptor = out.releaseReadEnd();
    err_.descriptor = err.releaseReadEnd();
}

ChildProcess::~ChildProcess() {
    if (process_ > 0) {
        // No weaker signal ends it whatever the caller has it ignore.
        kill(process_, SIGKILL);
        waitFor(process_);
    }
    out_.close();
    err_.close();
}

std::vector<pollfd> ChildProcess::awaited() const {
    std::vector<pollfd> result;
    for (const Stream* stream : {&out_, &err_}) {
        if (stream->descriptor >= 0) {
            result.push_back({stream->descriptor, POLLIN, 0});
        }
    }
    return result;
}

void ChildProcess::Stream::close() {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

void ChildProcess::Stream::take() {
    std::array<char, 4096> buffer;
    while (descriptor >= 0) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EAGAIN) {
            return;
        } else if (count == 0 || errno != EINTR) {
            close();
        }
    }
}

bool ChildProcess::takeOutput() {
    out_.take();
    err_.take();
    return out_.descriptor < 0 && err_.descriptor < 0;
}

std::string ChildProcess::end() {
    const int state = waitFor(process_);
    process_ = -1;
    if (WIFSIGNALED(state)) {
        const int signal = WTERMSIG(state);
        return "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
    }
    return WEXITSTATUS(state) == 0 ? "" : "status " + std::to_string(WEXITSTATUS(state));
}

}  // namespace qormath::cli
