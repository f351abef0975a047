#pragma once

// Which BLAS the processes have loaded: a comparison says something only on the same one.

#include <string>

namespace qormath::peers {

/// True where the times are of the processor: with one BLAS thread.
bool measuresProcessorTime();

/// One line of the BLAS of this process, with the files and the number of threads.
std::string describeOwnBlas();

/// Prints a warning where the files in the text are not those of this process.
void warnOfAnotherBlas(const char* name, const std::string& text);

}  // namespace qormath::peers
