#pragma once

#include <array>
#include <string_view>

#include <qormath/models/detail/fir_record.hpp>

namespace qormath::models {

/// Name and descriptor of one variable as they stand in a handle: cleaned and terminated.
struct FIRTexts {
    std::array<char, firTextSize> name{};
    std::array<char, firTextSize> descriptor{};
};

/// The text without what follows its last graphic character.
std::string_view trimToGraphic(std::string_view text);

/// Each function takes one line of the file apart; false where it cannot be parsed. The formats are those of scanf.

bool parseInteger(std::string_view line, int& value);  ///< "%d"

bool parseFloat(std::string_view line, float& value);  ///< "%f"

/// "%*36c%12c%*c%12c", of which one field is enough.
bool parseInputLine(std::string_view line, FIRTexts& texts);

/// "%*36c%12c%*c%12c %5d %5d"
bool parseOutputLine(std::string_view line, FIRTexts& texts, int& ramp, int& curves);

/// "%12c%*c%12c%5d%*f", of which the last field may be missing.
bool parseBlockLine(std::string_view line, FIRTexts& texts, int& ramp);

/// "%*36c%lf"
bool parseGainLine(std::string_view line, double& gain);

/// "%12c%*c%12c", of which one field is enough.
bool parseCurveNameLine(std::string_view line, FIRTexts& texts);

/// "%f %f %f %f %f"
bool parseDataLine(std::string_view line, float* values);

inline constexpr int firValuesPerLine = 5;

/// The length of a data line as it is written, without its newline.
inline constexpr int firDataLineLength = 75;

/// A data line in the very columns that are written: firDataLineLength characters and a newline. False, and values is
/// undetermined, for any other text. What it reads, parseDataLine would read alike.
bool parseFixedDataLine(const char* text, float* values);

}  // namespace qormath::models
