#include "atomic_file.hpp"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "descriptor_output.hpp"
#include "program_error.hpp"

namespace qormath::cli {

namespace {

constexpr mode_t permissionBits = 07777;
constexpr mode_t permissionsOfANewFile = 0666;  // less the umask

ProgramError writeError(const std::string& path, int error) {
    return ProgramError(path, std::string("cannot be written: ") + std::strerror(error));
}

std::string folderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool isNameOfStandardOutput(const std::string& path) {
    return path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1";
}

/// Whether what is printed goes to this file too, under whatever name. Terminals and other devices of characters have
/// room for both.
bool isBehindStandardOutput(const struct stat& file) {
    struct stat output {};
    return !S_ISCHR(file.st_mode) && fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev &&
           output.st_ino == file.st_ino;
}

/// What stands behind a path, through symbolic links.
struct Target {
    explicit Target(const std::string& path) {
        struct stat found {};
        if (path.empty()) {
            throw ProgramError("the name of the output file is empty");
        }
        if (stat(path.c_str(), &found) == 0) {
            exists = true;
            permissions = found.st_mode & permissionBits;
            isFolder = S_ISDIR(found.st_mode);
            isDevice = !isFolder && !S_ISREG(found.st_mode);
            isStandardOutput = isBehindStandardOutput(found);
        } else if (errno != ENOENT) {
            throw writeError(path, errno);
        }
        name = path;
        // A stream that the shell has opened is written as it stands, even where a file is behind it.
        isDevice = isDevice || path.rfind("/dev/fd/", 0) == 0;
        if (exists && !isDevice) {
            const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), &std::free);
            name = resolved == nullptr ? path : resolved.get();
        }
    }

    std::string name;
    bool exists = false;
    bool isFolder = false;
    bool isDevice = false;
    bool isStandardOutput = false;
    mode_t permissions = 0;
};

Target writableTarget(const std::string& path) {
    const Target target(path);
    if (target.isStandardOutput || isNameOfStandardOutput(path)) {
        throw ProgramError(path, "cannot be written: the table goes there; name a file");
    }
    if (target.isFolder) {
        throw writeError(path, EISDIR);
    }
    if (target.exists && access(target.name.c_str(), W_OK) != 0) {
        throw writeError(path, errno);
    }
    if (!target.isDevice && access(folderOf(target.name).c_str(), W_OK | X_OK) != 0) {
        throw writeError(path, errno);
    }
    return target;
}

mode_t defaultPermissions() {
    const mode_t mask = umask(0);
    umask(mask);
    return permissionsOfANewFile & ~mask;
}

/// A new file beside its target, which goes away unless it takes the target's place.
class TemporaryFile {
  public:
    TemporaryFile(const Target& target, const std::string& path)
        : path_(path), target_(target), name_(folderOf(target.name) + "/.qormath-XXXXXX") {
        const int descriptor = mkstemp(name_.data());
        if (descriptor < 0) {
            throw writeError(path_, errno);
        }
        close(descriptor);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!taken_) {
            unlink(name_.c_str());
        }
    }

    const std::string& name() const { return name_; }

    /// With this done, nothing can fail any more that has to do with the content.
    void reachDisk() const {
        // A disk may report only here that it could not keep what it had accepted.
        const int descriptor = open(name_.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor < 0) {
            throw writeError(path_, errno);
        }
        const mode_t mode = target_.exists ? target_.permissions : defaultPermissions();
        const int syncFailure = fchmod(descriptor, mode) == 0 && fsync(descriptor) == 0 ? 0 : errno;
        const int closeFailure = close(descriptor) == 0 ? 0 : errno;
        if (syncFailure != 0 || closeFailure != 0) {
            throw writeError(path_, syncFailure != 0 ? syncFailure : closeFailure);
        }
    }

    void takePlace() {
        if (std::rename(name_.c_str(), target_.name.c_str()) != 0) {
            throw writeError(path_, errno);
        }
        taken_ = true;
    }

  private:
    std::string path_;
    Target target_;
    std::string name_;
    bool taken_ = false;
};

/// The name from the root on, of a file that need not be there, without symbolic links on the way.
std::filesystem::path wholeName(const std::string& name) {
    std::error_code error;
    // A name without a folder would otherwise stay as it is.
    const std::filesystem::path absolute = std::filesystem::absolute(name, error);
    if (error) {
        return name;  // in a working folder that is gone there is nothing that could be the same
    }
    std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute : canonical;
}

/// open, which while it waits for the other side of a pipe may be interrupted.
int openToWrite(const std::string& name) {
    int descriptor = -1;
    do {
        descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, permissionsOfANewFile);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

void writeText(const std::string& path, const std::string& name, const std::string& text) {
    const int descriptor = openToWrite(name);
    if (descriptor < 0) {
        throw writeError(path, errno);
    }
    const int writeFailure = writeAll(descriptor, text);
    const int closeFailure = close(descriptor) == 0 ? 0 : errno;
    if (writeFailure != 0 || closeFailure != 0) {
        throw writeError(path, writeFailure != 0 ? writeFailure : closeFailure);
    }
}

}  // namespace

void requireWritable(const std::string& path) {
    writableTarget(path);
}

void replaceFile(const std::string& path, const std::function<void(const std::string& name)>& write) {
    replaceFiles({{path, write}});
}

void replaceFileByText(const std::string& path, const std::string& text) {
    replaceFiles({textFile(path, text)});
}

FileToWrite textFile(const std::string& path, const std::string& text) {
    return {path, [path, text](const std::string& name) { writeText(path, name, text); }};
}

void replaceFiles(const std::vector<FileToWrite>& files, const std::function<void()>& report) {
    std::vector<std::unique_ptr<TemporaryFile>> temporaries;
    std::vector<const FileToWrite*> devices;
    for (const FileToWrite& file : files) {
        const Target target = writableTarget(file.path);
        if (target.isDevice) {
            devices.push_back(&file);
            continue;
        }
        temporaries.push_back(std::make_unique<TemporaryFile>(target, file.path));
        file.write(temporaries.back()->name());
        temporaries.back()->reachDisk();
    }
    // A device cannot be asked for its content back, so that what may fail for other reasons comes before it.
    for (const FileToWrite* device : devices) {
        device->write(device->path);
    }
    report();
    for (const auto& temporary : temporaries) {
        temporary->takePlace();
    }
}

void requireOtherFile(const std::string& path, const std::string& other, const std::string& what) {
    const Target one(path);
    const Target two(other);
    if (!one.isDevice && !two.isDevice && wholeName(one.name) == wholeName(two.name)) {
        throw ProgramError(path, "cannot be written: " + what);
    }
}

}  // namespace qormath::cli
