#include "child_process.hpp"

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace qormath::peers {

using QorMathLA::Matrix;

namespace {

std::filesystem::path newFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qormath_compare_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder for problems in " + pattern);
    }
    return pattern;
}

[[noreturn]] void becomeCommand(const std::vector<std::string>& command, int input, int output) {
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    execvp(words[0], words.data());
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command) : folder_(newFolder()) {
    int requests[2];
    int replies[2];
    // Closed in the child that is started next, so that each sees the end of its own requests.
    if (pipe2(requests, O_CLOEXEC) != 0 || pipe2(replies, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    process_ = fork();
    if (process_ < 0) {
        throw std::runtime_error("cannot start " + command[0]);
    }
    if (process_ == 0) {
        becomeCommand(command, requests[0], replies[1]);
    }
    close(requests[0]);
    close(replies[1]);
    toChild_ = requests[1];
    fromChild_ = replies[0];
}

ChildProcess::~ChildProcess() {
    close(toChild_);
    close(fromChild_);
    int status = 0;
    waitpid(process_, &status, 0);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void ChildProcess::write(const Matrices& inputs) {
    std::ofstream file(folder_ / "input", std::ios::binary);
    const auto count = [&](std::int64_t value) { file.write(reinterpret_cast<const char*>(&value), sizeof value); };
    count(static_cast<std::int64_t>(inputs.size()));
    for (const Matrix<double>& matrix : inputs) {
        const Matrix<double> compact = matrix;
        count(compact.rows());
        count(compact.cols());
        file.write(reinterpret_cast<const char*>(compact.numericData(true)),
                   static_cast<std::streamsize>(sizeof(double)) * compact.rows() * compact.cols());
    }
    if (!file.flush()) {
        throw std::runtime_error("cannot write a problem");
    }
}

std::string ChildProcess::readLine() {
    for (;;) {
        const std::size_t end = pending_.find('\n');
        if (end != std::string::npos) {
            const std::string line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return line;
        }
        char buffer[4096];
        const ssize_t length = ::read(fromChild_, buffer, sizeof buffer);
        if (length <= 0) {
            throw std::runtime_error("the process has ended");
        }
        pending_.append(buffer, static_cast<std::size_t>(length));
    }
}

ChildProcess::Reply ChildProcess::request(const std::string& operation) {
    // An empty line follows: Octave gives a line away when it has seen the character behind it.
    const std::string line =
        operation + ' ' + (folder_ / "input").string() + ' ' + (folder_ / "output").string() + "\n\n";
    if (::write(toChild_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("the process has ended");
    }
    std::istringstream answer(readLine());
    std::string word;
    Reply reply;
    answer >> word;
    if (word == "ok") {
        answer >> reply.seconds;
    }
    std::getline(answer >> std::ws, reply.text);
    if (word != "ok") {
        throw std::runtime_error(reply.text);
    }
    return reply;
}

Matrices ChildProcess::read() {
    std::ifstream file(folder_ / "output", std::ios::binary);
    const auto count = [&] {
        std::int64_t value = 0;
        file.read(reinterpret_cast<char*>(&value), sizeof value);
        if (!file || value < 0 || value > std::numeric_limits<int>::max()) {
            throw std::runtime_error("the process has left no result");
        }
        return static_cast<int>(value);
    };
    Matrices results(static_cast<std::size_t>(count()));
    for (Matrix<double>& matrix : results) {
        const int rows = count();
        const int cols = count();
        matrix = Matrix<double>(rows, cols);
        file.read(reinterpret_cast<char*>(matrix.numericData(true)),
                  static_cast<std::streamsize>(sizeof(double)) * rows * cols);
    }
    if (!file) {
        throw std::runtime_error("the process has left no whole result");
    }
    return results;
}

Contender inChild(std::string name, ChildProcess& child, std::string operation, Matrices inputs,
                  std::function<Verdict(const Matrices&)> judge, PeerKind kind) {
    Contender contender;
    contender.name = std::move(name);
    contender.kind = kind;
    contender.prepare = [&child, inputs = std::move(inputs)] { child.write(inputs); };
    contender.run = [&child, operation = std::move(operation)] { return child.request(operation).seconds; };
    contender.judge = [&child, judge = std::move(judge)] { return judge(child.read()); };
    return contender;
}

}  // namespace qormath::peers
