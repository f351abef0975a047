#include "model_diagnosis.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <istream>
#include <limits>
#include <streambuf>
#include <string>
#include <vector>

#include <qormath/models/fir_file.hpp>

#include "text.hpp"

namespace qormath::cli {

namespace {

constexpr std::size_t longestLine = 254;
constexpr std::size_t longestQuotation = 40;
constexpr int reservedLines = 10;
constexpr int valuesPerLine = 5;

struct Damage {
    std::string text;
};

/// A text of twelve characters, without the blanks that fill it up.
std::string trimmed(const char* text) {
    std::string result = text;
    result.erase(result.find_last_not_of(" \r\n\t") + 1);
    return result;
}

std::string counted(long long count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

/// Walks a file line by line, as its header tells its lines, up to the first that is not in order. Lines are parsed
/// by sscanf, whose conversions are what the format is defined by.
class Walk {
  public:
    explicit Walk(std::istream& text) : text_(text) {}

    std::string run() {
        try {
            header();
            lists();
            for (int j = 0; j < outputs_; ++j) {
                block(j);
            }
            return {};
        } catch (const Damage& damage) {
            return damage.text;
        }
    }

  private:
    struct Output {
        std::string name;
        int curves = 0;
        long long line = 0;
    };

    [[noreturn]] void blame(const std::string& cause) const {
        throw Damage{"line " + std::to_string(number_) + ": " + cause};
    }

    [[noreturn]] void blameContent(const std::string& expected) const {
        std::string found = trimmed(line_.c_str());
        if (found.size() > longestQuotation) {
            found = found.substr(0, longestQuotation) + "...";
        }
        blame("expected " + expected + (found.empty() ? ", found a blank line" : ", found \"" + found + "\""));
    }

    void next(const std::string& expected) {
        ++number_;
        if (!takeLine()) {
            if (number_ == 1) {
                throw Damage{"the file is empty"};
            }
            blame("the file ends where " + expected + " should stand");
        }
        if (line_.size() > longestLine) {
            blame("the line is longer than " + std::to_string(longestLine) + " characters");
        }
        // A conversion of characters counts the end of the line as one, too.
        line_ += '\n';
    }

    /// Reads a line, or of one that is too long no more than shows that it is. False at the end of the text.
    bool takeLine() {
        line_.clear();
        std::streambuf& characters = *text_.rdbuf();
        constexpr auto end = std::char_traits<char>::eof();
        auto character = characters.sbumpc();
        const bool isThere = character != end;
        while (character != end && character != '\n' && line_.size() <= longestLine) {
            line_ += std::char_traits<char>::to_char_type(character);
            character = characters.sbumpc();
        }
        return isThere;
    }

    int integer(const std::string& expected) {
        next(expected);
        char* end = nullptr;
        errno = 0;
        const long long value = std::strtoll(line_.c_str(), &end, 10);
        const bool fits = value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
        if (end == line_.c_str() || errno != 0 || !fits) {
            blameContent(expected);
        }
        return static_cast<int>(value);
    }

    int count(const std::string& expected, int smallest) {
        const int value = integer(expected);
        if (value < smallest) {
            blame(expected + " is " + std::to_string(value));
        }
        return value;
    }

    /// A number that is multiplied, and rounded to an integer.
    int rounded(const std::string& expected, float factor) {
        constexpr float limit = 2147483648.0F;
        float value = 0.0F;
        next(expected);
        if (std::sscanf(line_.c_str(), "%f", &value) != 1) {
            blameContent(expected);
        }
        const float result = value * factor + 0.5F;
        if (!(result >= -limit && result < limit)) {
            blameContent(expected + ", not too large for an integer");
        }
        return static_cast<int>(result);
    }

    void header() {
        next("a comment");
        const int extraLines = integer("the number of extra comment lines");
        for (int k = 0; k < extraLines; ++k) {
            next("an extra comment line");
        }
        inputs_ = count("the number of inputs", 0);
        outputs_ = count("the number of outputs", 0);
        coefficients_ = count("the number of coefficients of a curve", 1);
        values_ = integer("the number of stored values");
        valuesLine_ = number_;
        rounded("the horizon in minutes", 60.0F);
        countsAreKept_ = rounded("the version number", 1.0F) == FIR_FILE_VERSION;
    }

    void lists() {
        for (int i = 0; i < inputs_; ++i) {
            const std::string expected = "the entry of input " + std::to_string(i + 1) + " (a name from column 37 on)";
            char name[13] = {};
            char descriptor[13] = {};
            next(expected);
            if (countsAreKept_ && std::sscanf(line_.c_str(), "%*36c%12c%*c%12c", name, descriptor) < 1) {
                blameContent(expected);
            }
            inputNames_.push_back(countsAreKept_ ? trimmed(name) : std::to_string(i + 1));
        }
        long long curves = 0;
        for (int j = 0; j < outputs_; ++j) {
            outputEntry(j);
            curves += outputList_.back().curves;
        }
        const bool isCountRight =
            outputs_ == 0 ? values_ == 0 : values_ % coefficients_ == 0 && values_ / coefficients_ == curves;
        if (countsAreKept_ && !isCountRight) {
            throw Damage{"line " + std::to_string(valuesLine_) + ": " + counted(values_, "stored value") +
                         " cannot be, for the list of outputs has " + counted(curves, "curve") + " of " +
                         counted(coefficients_, "coefficient")};
        }
    }

    void outputEntry(int j) {
        const std::string expected = "the entry of output " + std::to_string(j + 1) +
                                     " (name and descriptor from column 37 on, ramp value, number of curves)";
        char name[13] = {};
        char descriptor[13] = {};
        int ramp = 0;
        Output output;
        next(expected);
        if (countsAreKept_ &&
            std::sscanf(line_.c_str(), "%*36c%12c%*c%12c %5d %5d", name, descriptor, &ramp, &output.curves) != 4) {
            blameContent(expected);
        }
        output.name = countsAreKept_ ? trimmed(name) : std::to_string(j + 1);
        output.line = number_;
        outputList_.push_back(output);
    }

    void block(int j) {
        const Output& output = outputList_[static_cast<std::size_t>(j)];
        const std::string expected = "the first line of the block of output " + output.name;
        char name[13] = {};
        char descriptor[13] = {};
        int ramp = 0;
        next(expected);
        if (!countsAreKept_ && std::sscanf(line_.c_str(), "%12c%*c%12c%5d%*f", name, descriptor, &ramp) != 3) {
            blameContent(expected + " (name, descriptor, ramp value)");
        }
        for (int k = 0; k < reservedLines; ++k) {
            next("a reserved line of the block of output " + output.name);
        }
        int curves = 0;
        for (int i = 0; i < inputs_; ++i) {
            curveHeader(inputNames_[static_cast<std::size_t>(i)], output);
            curves += isCurveZero(inputNames_[static_cast<std::size_t>(i)], output) ? 0 : 1;
        }
        if (countsAreKept_ && curves != output.curves) {
            throw Damage{"line " + std::to_string(output.line) + ": the entry of output " + output.name + " promises " +
                         counted(output.curves, "curve") + " that are not zero, its block has " +
                         std::to_string(curves)};
        }
    }

    void curveHeader(const std::string& input, const Output& output) {
        const std::string place = "the curve of output " + output.name + " to input " + input;
        char name[13] = {};
        char descriptor[13] = {};
        double gain = 0.0;
        next("the header of " + place);
        if (countsAreKept_ && std::sscanf(line_.c_str(), "%*36c%lf", &gain) != 1) {
            blameContent("the gain of " + place + " after column 36");
        }
        if (!countsAreKept_ && std::sscanf(line_.c_str(), "%12c%*c%12c", name, descriptor) < 1) {
            blameContent("the header of " + place);
        }
    }

    bool isCurveZero(const std::string& input, const Output& output) {
        bool isZero = true;
        for (int k = 0; k < coefficients_; k += std::min(valuesPerLine, coefficients_ - k)) {
            const std::string expected = "five numbers, from coefficient " + std::to_string(k + 1) +
                                         " of the curve of output " + output.name + " to input " + input + " on";
            float value[valuesPerLine] = {};
            next(expected);
            if (std::sscanf(line_.c_str(), "%f %f %f %f %f", &value[0], &value[1], &value[2], &value[3], &value[4]) !=
                5) {
                blameContent(expected);
            }
            const int held = std::min(valuesPerLine, coefficients_ - k);
            isZero = isZero && std::all_of(value, value + held, [](float v) { return v == 0.0F; });
        }
        return isZero;
    }

    std::istream& text_;
    std::string line_;
    long long number_ = 0;
    int inputs_ = 0;
    int outputs_ = 0;
    int coefficients_ = 0;
    int values_ = 0;
    long long valuesLine_ = 0;
    bool countsAreKept_ = false;  // otherwise the lists and counts of the file are not looked at
    std::vector<std::string> inputNames_;
    std::vector<Output> outputList_;
};

}  // namespace

std::string firstDamage(std::istream& text) {
    return Walk(text).run();
}

std::string diagnoseModelFile(const std::string& path) {
    errno = 0;
    std::ifstream text(path, std::ios::binary);
    if (!text) {
        return std::string("cannot be read: ") + std::strerror(errno);
    }
    const std::string damage = firstDamage(text);
    // The walk keeps a line at a time, and can read what the library had no room for.
    return damage.empty() ? "cannot be read: there is not enough memory for it, or it has just been changed"
                          : "is not a model file: " + damage;
}

}  // namespace qormath::cli
