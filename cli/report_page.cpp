#include "report_page.hpp"

#include "program_error.hpp"
#include "report_page_parts.hpp"

namespace qormath::cli {

bool hasReportPage() {
    return !report_page_parts::beforeData.empty();
}

void requireReportPage() {
    if (!hasReportPage()) {
        throw ProgramError(
            "this program has been built without the page of a report; build it with -DQORMATH_BUILD_REPORT=ON");
    }
}

std::string reportPage(const JsonValue& data) {
    std::string page(report_page_parts::beforeData);
    page += data.scriptText();
    page += report_page_parts::afterData;
    return page;
}

}  // namespace qormath::cli
