#pragma once

#include <string>
#include <vector>

#include "commands.hpp"

namespace qormath::cli {

/// Models that are to be reduced into a folder.
struct ManyModels {
    std::vector<std::string> models;
    std::string folder;
    std::vector<std::string> options;  ///< how, as on a command line of one model
    int jobs = 0;                      ///< models at a time; 0: as many as there are cores
    bool resume = false;               ///< a model whose result stands in the folder is left out
    bool json = false;
};

/// Reduces each model to NAME.fir and NAME.json in the folder, which is made if it is missing, and prints a summary.
/// A model that fails does not stop the others, and neither does one that takes its process down: each has a process
/// of its own, with one thread of BLAS, so that the numbers do not depend on how many there are.
///
/// Throws UsageError, before anything is done, if two models would go to one file or a result would replace a model;
/// ProgramError if the folder cannot be used and, after the summary, if a model has failed. Ends the program, when
/// asked to by a signal, with whole files alone in the folder.
void reduceMany(const ManyModels& many, const Console& console);

}  // namespace qormath::cli
