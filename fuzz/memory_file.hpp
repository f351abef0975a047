#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace qormath::fuzz {

/// A file in memory that has a name, for readers and writers that ask for one: no target touches the disk.
class MemoryFile {
  public:
    MemoryFile() : descriptor(::memfd_create("fuzz", 0)) {
        if (descriptor < 0) {
            std::abort();
        }
        path = "/proc/self/fd/" + std::to_string(descriptor);
    }

    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(descriptor); }

    void set(const std::uint8_t* bytes, std::size_t size) const {
        if (::ftruncate(descriptor, 0) != 0 || ::pwrite(descriptor, bytes, size, 0) != static_cast<ssize_t>(size)) {
            std::abort();
        }
    }

    std::string text() const {
        std::string result(static_cast<std::size_t>(::lseek(descriptor, 0, SEEK_END)), '\0');
        if (::pread(descriptor, result.data(), result.size(), 0) != static_cast<ssize_t>(result.size())) {
            std::abort();
        }
        return result;
    }

    char* name() { return path.data(); }

  private:
    int descriptor;
    std::string path;
};

}  // namespace qormath::fuzz
