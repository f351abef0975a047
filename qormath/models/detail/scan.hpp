#pragma once

#include <string_view>

namespace qormath::models {

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
