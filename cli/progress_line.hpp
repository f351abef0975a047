#pragma once

#include <functional>
#include <string>

#include "commands.hpp"

namespace qormath::cli {

/// One line on standard error that tells how far long work has come. It is rewritten in place, and gone at the end. It
/// shows on a terminal only.
class ProgressLine {
  public:
    explicit ProgressLine(const Console& console) : console_(console) {}
    ~ProgressLine();

    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Shows a stage and how much of it is done; a total of 1 has no parts worth telling.
    void show(const std::string& stage, int done, int total);

  private:
    const Console& console_;
    bool isShown_ = false;
};

}  // namespace qormath::cli
