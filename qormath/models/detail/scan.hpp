#pragma once

#include <string_view>

namespace qormath::models {

/// The width of a number as "%15.6e" prints it.
inline constexpr int fixedColumnWidth = 15;

/// Reads numbers that stand side by side in columns of 15 characters, each as "%15.6e" prints it, with an exponent of
/// two digits; an E, a mantissa below 1 and any sign of an exponent of 0 will do. False, and the values from that
/// column on are not written, for every other text and where one rounding is not sure to be the right one; the Scanner
/// reads those. What it does read is what the Scanner would, provided that no digit follows the last column.
bool readFixedColumns(const char* text, int count, float* values);

/// Takes fields off a line as the conversions of scanf do in the C locale, with no locale looked at.
///
/// A call that fails has left the position somewhere in the field: as with scanf, the line is given up then.
/// The one difference from scanf: an integer that does not fit is a field that cannot be parsed, not a wrapped value.
class Scanner {
  public:
    explicit Scanner(std::string_view line) : position(line.data()), end(line.data() + line.size()) {}

    /// "%d", or "%<width>d" where the width is above 0.
    bool integer(int& value, int width = 0);

    /// "%f": decimal, hexadecimal, inf, infinity and nan; the nearest float, infinity where it overflows.
    bool real(float& value);

    /// "%lf".
    bool real(double& value);

    /// "%<width>c": up to `width` characters; one is enough where the line ends.
    bool characters(int width, std::string_view& text);

    /// "%*<width>c".
    bool skip(int width);

  private:
    template <class Real>
    bool scanReal(Real& value);

    const char* position;
    const char* end;
};

}  // namespace qormath::models
