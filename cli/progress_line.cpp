#include "progress_line.hpp"

#include <ostream>

namespace qormath::cli {

namespace {

/// Back to the start of the line, and erase it.
constexpr const char* eraseLine = "\r\033[K";

}  // namespace

ProgressLine::~ProgressLine() {
    if (isShown_) {
        console_.err << eraseLine << std::flush;
    }
}

void ProgressLine::show(const std::string& stage, int done, int total) {
    if (!console_.errIsTerminal) {
        return;
    }
    console_.err << eraseLine << stage;
    if (total > 1) {
        console_.err << ' ' << done << " of " << total;
    }
    console_.err << " ..." << std::flush;
    isShown_ = true;
}

}  // namespace qormath::cli
