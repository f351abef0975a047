#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <qormath/control_utility/processor_lanes.hpp>

namespace {

using qormath::control_utility::Lanes;
using qormath::control_utility::lanesOfProcessor;

/// The line of flags that the system tells of its first processor, as words.
std::vector<std::string> flagsOfProcessor() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("flags", 0) == 0) {
            std::istringstream words(line);
            return {std::istream_iterator<std::string>(words), {}};
        }
    }
    return {};
}

TEST(ProcessorLanes, AreThoseThatTheSystemTellsOf) {
    const std::vector<std::string> flags = flagsOfProcessor();
    if (flags.empty()) {
        GTEST_SKIP() << "this system does not tell";
    }
    const auto has = [&](const char* flag) { return std::find(flags.begin(), flags.end(), flag) != flags.end(); };
    const bool four = has("avx2") && has("fma");
    EXPECT_EQ(lanesOfProcessor(), !four ? Lanes::none : (has("avx512f") ? Lanes::eight : Lanes::four));
}

}  // namespace
