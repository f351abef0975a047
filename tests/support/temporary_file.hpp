#pragma once

#include <filesystem>
#include <string>

#include "support/temporary_folder.hpp"

namespace qormath::test {

/// The name of a file that does not exist yet; the file is removed at the end. It has a folder of its own, since a name
/// made of the process's number alone meets files that earlier processes of the same number have left.
class TemporaryFile {
  public:
    TemporaryFile() = default;

    explicit TemporaryFile(const std::string& contents) : TemporaryFile() { write(contents); }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(const std::string& contents) const { writeFile(path, contents); }

    std::string name() const { return path; }

    /// The name in the form that takes a char*.
    char* writableName() { return path.data(); }

    bool exists() const { return std::filesystem::exists(path); }

  private:
    TemporaryFolder folder;
    std::string path = folder.file("file");
};

}  // namespace qormath::test
