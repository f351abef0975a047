#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <unistd.h>

namespace qormath::test {

/// A file name of its own in the tests' temporary folder; the file is removed at the end.
class TemporaryFile {
  public:
    TemporaryFile() {
        static int count = 0;
        path = ::testing::TempDir() + "qormath-" + std::to_string(::getpid()) + "-" + std::to_string(count++);
    }

    explicit TemporaryFile(const std::string& contents) : TemporaryFile() { write(contents); }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    ~TemporaryFile() { std::remove(path.c_str()); }

    void write(const std::string& contents) const {
        std::ofstream stream(path, std::ios::binary | std::ios::trunc);
        stream << contents;
        if (!stream.flush()) {
            ADD_FAILURE() << "cannot write " << path;
        }
    }

    std::string name() const { return path; }

    /// The name in the form that takes a char*.
    char* writableName() { return path.data(); }

    bool exists() const { return std::filesystem::exists(path); }

  private:
    std::string path;
};

inline std::string fileContents(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace qormath::test
