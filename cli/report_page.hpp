#pragma once

#include <string>

#include "json_value.hpp"

namespace qormath::cli {

/// Throws ProgramError if this program has been built without the page of a report.
void requireReportPage();

/// False if this program has been built without it.
bool hasReportPage();

/// A page that shows the data of a report, all in one and by itself: charts, style and script included, no network.
/// Empty in a program that has been built without it.
std::string reportPage(const JsonValue& data);

}  // namespace qormath::cli
