#pragma once

/// @file
/// Functions of numbers.

namespace QorMathLA {

///@{
/// The value, negated if it is below zero: -0.0 stays as it is, and so does the lowest integer, which has no opposite.
constexpr int abs(int value) {
    // Negated as an unsigned number, where wrapping around is defined.
    return value < 0 ? static_cast<int>(0U - static_cast<unsigned int>(value)) : value;
}
constexpr double abs(double value) {
    return value < 0.0 ? -value : value;
}
///@}

///@{
/// The magnitude of a with a minus if b is below zero; -0.0 is not below zero.
constexpr int sign(int a, int b) {
    return b < 0 ? static_cast<int>(0U - static_cast<unsigned int>(abs(a))) : abs(a);
}
constexpr double sign(double a, double b) {
    return b < 0.0 ? -abs(a) : abs(a);
}
///@}

/// The square root of a squared plus b squared, free of overflow on the way.
/// C. Moler, D. Morrison, "Replacing square roots by Pythagorean sums", IBM J. Res. Dev. 27 (1983).
constexpr double pythag(double a, double b) {
    const double p0 = abs(a);
    const double q0 = abs(b);
    double p = p0 < q0 ? q0 : p0;
    const double q = p0 < q0 ? p0 : q0;
    if (p == 0.0) {
        return p;
    }
    if (!(p - p == 0.0 && q - q == 0.0)) {
        return p + q;  // infinite or NaN: the iteration would not end
    }
    double r = (q / p) * (q / p);
    while (4.0 + r != 4.0) {
        const double s = r / (4.0 + r);
        const double u = 2.0 * s + 1.0;
        p = p * u;
        const double q2 = s / u;
        r = r * q2 * q2;
    }
    return p;
}

}  // namespace QorMathLA
