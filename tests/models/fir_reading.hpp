#pragma once

// Model files with a line of one's own, and what reading them leaves in the handle.

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <support/temporary_file.hpp>
#include <vector>

#include <qormath/models/fir_file.hpp>

namespace qormath::test {

// An open handle and everything that a scan hands out.
class Reading {
  public:
    explicit Reading(const std::string& text) : file(text) { status = firOpenRead(&handle, file.name().c_str()); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading() { firClose(&handle); }

    int scan() {
        const std::size_t pairs =
            static_cast<std::size_t>(handle.inputCount) * static_cast<std::size_t>(handle.outputCount);
        offsets.assign(pairs, 77);
        gains.assign(pairs, 77.0);
        data.assign(pairs * static_cast<std::size_t>(handle.coefficientCount), 77.0F);
        return firReadCurves(&handle, offsets.data(), data.data(), gains.data());
    }

    TemporaryFile file;
    FIRFileHandle handle{};
    int status = 0;
    std::vector<int> offsets;
    std::vector<float> data;
    std::vector<double> gains;
};

inline std::string replaced(std::string text, const std::string& what, const std::string& by) {
    const auto position = text.find(what);
    EXPECT_NE(position, std::string::npos) << what;
    return text.replace(position, what.size(), by);
}

inline std::string withLine(const std::string& text, std::size_t index, const std::string& line) {
    std::size_t start = 0;
    for (; index > 0; --index) {
        start = text.find('\n', start) + 1;
    }
    return text.substr(0, start) + line + text.substr(text.find('\n', start));
}

// Indices of the header lines of a file without extra comments.
inline constexpr std::size_t commentLine = 0;
inline constexpr std::size_t extraCountLine = 1;
inline constexpr std::size_t inputCountLine = 2;
inline constexpr std::size_t outputCountLine = 3;
inline constexpr std::size_t coefficientCountLine = 4;
inline constexpr std::size_t valueCountLine = 5;
inline constexpr std::size_t horizonLine = 6;
inline constexpr std::size_t versionLine = 7;
inline constexpr std::size_t firstInputLine = 8;

inline void expectCleared(const FIRFileHandle& handle) {
    EXPECT_EQ(handle.stream, nullptr);
    EXPECT_EQ(handle.version, -999);
    EXPECT_EQ(handle.needsScan, 1);
    EXPECT_EQ(handle.inputCount, 0);
    EXPECT_EQ(handle.outputCount, 0);
    EXPECT_EQ(handle.coefficientCount, 0);
    EXPECT_EQ(handle.valueCount, 0);
    EXPECT_EQ(handle.horizonSeconds, 0);
    EXPECT_EQ(handle.comment, nullptr);
    EXPECT_EQ(handle.inputNames, nullptr);
    EXPECT_EQ(handle.inputDescriptors, nullptr);
    EXPECT_EQ(handle.outputNames, nullptr);
    EXPECT_EQ(handle.outputDescriptors, nullptr);
    EXPECT_EQ(handle.rampValues, nullptr);
    EXPECT_EQ(handle.curveCounts, nullptr);
    EXPECT_EQ(handle.progress, nullptr);
}

}  // namespace qormath::test
