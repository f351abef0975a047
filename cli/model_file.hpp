#pragma once

#include <string>
#include <vector>

#include <qormath/core/vector.hpp>
#include <qormath/models/lti_fir_model.hpp>

#include "atomic_file.hpp"

namespace qormath::cli {

/// The model of a model file. Throws ProgramError, which names the file and, where it is damaged, the first line that
/// is not what it has to be.
LTIFIRModel readModelFile(const std::string& path);

/// Writes a model file, as a whole or not at all. Throws ProgramError where the file could not be written or could not
/// be read again as the same curves: a coefficient count that the file format does not know, values that are not
/// finite or exceed single precision. Curves that single precision cannot tell from zero become null curves.
void writeModelFile(const std::string& path, const LTIFIRModel& model);

/// The same for writing it together with other files. Throws ProgramError where the model is the reason.
FileToWrite modelFile(const std::string& path, const LTIFIRModel& model);

/// Throws ProgramError if a model file cannot have that many coefficients in a curve: before a long computation rather
/// than after it.
void requireStorableCount(const std::string& path, int coefficientCount);

/// The sample time in seconds, exactly.
double sampleTimeOf(const LTIFIRModel& model);

int inputCountOf(const LTIFIRModel& model);
int outputCountOf(const LTIFIRModel& model);

/// Names as UTF-8.
std::vector<std::string> namesOf(const QorMathLA::Vector<std::string>& names);

/// The names of the outputs that are ramps.
std::vector<std::string> rampNamesOf(const LTIFIRModel& model);

}  // namespace qormath::cli
