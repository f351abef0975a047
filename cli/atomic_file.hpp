#pragma once

#include <functional>
#include <string>
#include <string_view>

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
void replaceFileByText(const std::string& path, std::string_view text);

}  // namespace qormath::cli
