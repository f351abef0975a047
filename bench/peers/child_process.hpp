#pragma once

// A peer that lives in another process for the whole run: an interpreter that takes its problems as files and times
// itself.

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <qormath/core/matrix.hpp>

#include "contest.hpp"

namespace qormath::peers {

using Matrices = std::vector<QorMathLA::Matrix<double>>;

/// The child reads a line "operation input output" a request, and answers with a line: "ok", the seconds and a text,
/// or "failed" and the cause. Input and output are files: a 64-bit count, and for each matrix its two 64-bit counts and
/// its elements, column by column.
class ChildProcess {
  public:
    /// Starts a command, which is looked up in the PATH. Throws std::runtime_error if it cannot be started.
    explicit ChildProcess(const std::vector<std::string>& command);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    struct Reply {
        double seconds = 0.0;
        std::string text;
    };

    /// Hands the problem to the child.
    void write(const Matrices& inputs);

    /// Solves the problem that was written last. Throws std::runtime_error with the cause where the child failed.
    Reply request(const std::string& operation);

    /// The results of the last request.
    Matrices read();

  private:
    std::string readLine();

    std::filesystem::path folder_;
    int toChild_ = -1;
    int fromChild_ = -1;
    int process_ = -1;
    std::string pending_;
};

/// A contender of another process: the child times itself, without the files.
Contender inChild(std::string name, ChildProcess& child, std::string operation, Matrices inputs,
                  std::function<Verdict(const Matrices&)> judge, PeerKind kind = PeerKind::named);

}  // namespace qormath::peers
