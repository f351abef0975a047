#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <qormath/models/lti_state_space_model.hpp>

#include "atomic_file.hpp"

namespace qormath::cli {

/// A state-space model with what it takes to make curves of it, as it stands in a system file.
struct SystemFile {
    LTIStateSpaceModel system;
    std::vector<std::string> inputs;   ///< names, UTF-8
    std::vector<std::string> outputs;  ///< names, UTF-8
    int curveOffset = 1;               ///< curve element k is the step response at sample k + curveOffset; 0 or 1
};

/// The system file as text. Numbers have the digits that give the same number back.
/// Throws ProgramError, without the name of a file, for an infinite number or NaN and for matrices whose shapes do not
/// agree with the names. A and B without elements may have any shape, and so may the other two if that is their only
/// possible content.
std::string systemFileText(const SystemFile& file);

/// The system of a text. Throws ProgramError, without the name of a file, which says what is wrong where.
SystemFile parseSystemFile(std::string_view text);

/// Both with a file; errors name it.
void writeSystemFile(const std::string& path, const SystemFile& file);
SystemFile readSystemFile(const std::string& path);

/// The file of writeSystemFile, for writing it together with others.
FileToWrite systemFile(const std::string& path, const SystemFile& file);

}  // namespace qormath::cli
