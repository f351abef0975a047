#pragma once

namespace qormath::models {

/// Rounds to seven significant digits, halves away from zero: with e = floor(log10(|v|)) and x = v * 10^(6 - e), the
/// result is 10^(e - 6) times x plus or minus one half, cut off. 0 for |v| up to 1e-30. Infinity and NaN stay.
double firRound7(double value);

/// The same of so many values.
void firRound7(int count, const float* values, double* rounded);

}  // namespace qormath::models
