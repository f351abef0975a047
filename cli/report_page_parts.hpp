#pragma once

#include <string_view>

// What the build makes of the files in report/ and the chart library. Both parts are empty in a build without the page.
namespace qormath::cli::report_page_parts {

extern const std::string_view beforeData;  ///< up to where the data go, which are JSON
extern const std::string_view afterData;

}  // namespace qormath::cli::report_page_parts
