#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qormath::cli {

/// Throws ProgramError if a file of that name could not be written: before a long computation rather than after it.
void requireWritable(const std::string& path);

/// Makes or replaces a file as a whole. write is called with the name of a new file in the same folder, which takes
/// the place of the old file after it has reached the disk; whatever fails before that, the old file stays as it was
/// and nothing else remains. The permissions of an old file are kept, and a symbolic link stays a link.
///
/// A device or a pipe cannot be replaced: write is then called with the path itself.
///
/// write throws ProgramError, or any other exception, if it does not succeed.
void replaceFile(const std::string& path, const std::function<void(const std::string& name)>& write);

/// replaceFile with a text.
void replaceFileByText(const std::string& path, const std::string& text);

/// A file to be made or replaced, and what writes it under the name that it is told.
struct FileToWrite {
    std::string path;
    std::function<void(const std::string& name)> write;
};

/// The file that holds a text.
FileToWrite textFile(const std::string& path, const std::string& text);

/// replaceFile with files that belong together: all of them have reached the disk before the first takes its place.
/// Devices and pipes are written between the two, and then report is called, which says what has been done: if it
/// throws, no file takes its place.
void replaceFiles(
    const std::vector<FileToWrite>& files, const std::function<void()>& report = [] {});

/// Throws ProgramError if the two names lead to one file, through symbolic links or not and whether or not it is there
/// already: what is written would be lost, or what is read. what tells the use of the other one. Devices are no files.
void requireOtherFile(const std::string& path, const std::string& other, const std::string& what);

}  // namespace qormath::cli
