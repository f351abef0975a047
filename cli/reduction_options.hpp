#pragma once

#include <string>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/pipeline/reduce.hpp>

#include "commands.hpp"

namespace qormath::cli {

class Command;

/// How a command that reduces a model is asked to do it.
struct ReductionOptions {
    std::string order;  ///< as it stands on the command line; empty for the order by tolerance
    ReduceOptions options;
    bool keepNullPairs = false;
};

/// Adds the options that say how to reduce. They have to be there as long as the command.
void addReductionOptions(Command& command, ReductionOptions& reduction);

/// What the library is asked for.
ReduceOptions optionsOf(const ReductionOptions& reduction);

/// The options as words of a command line that says the same.
std::vector<std::string> wordsOf(const ReductionOptions& reduction);

/// The reduced model, with its progress on the console's line. Throws ProgramError, which names the file, if there is
/// none.
ReduceResult reducedModel(const std::string& path, const LTIFIRModel& model, const ReductionOptions& reduction,
                          const Console& console);

/// Prints what a user should know about a result, a line each, which names the file.
void warn(const std::string& path, const ReductionOptions& reduction, const ReduceResult& result,
          const Console& console);

}  // namespace qormath::cli
