#pragma once

namespace qormath::models {

/// Numbers as printf prints them in the C locale, with no locale looked at. Each function writes to `out`, without a
/// terminator, and returns the end of what it wrote.

/// Room that the longest text of the functions below needs: a double in fixed notation has up to 309 digits before the
/// point.
inline constexpr int longestNumberText = 330;

/// "%<width>d".
char* writeInteger(char* out, int value, int width);

/// "%16.6f".
char* writeFixed16(char* out, double value);

/// "%15.6e".
char* writeScientific15(char* out, double value);

/// "%24.15e".
char* writeScientific24(char* out, double value);

}  // namespace qormath::models
