#pragma once

// Riccati equations as the packed arrays of the kernels.

#include <gtest/gtest.h>
#include <support/riccati_checks.hpp>
#include <vector>

#include <qormath/control_utility/riccati_problem.hpp>

namespace qormath::test {

/// The elements of a matrix, column by column.
inline std::vector<double> elementsOf(const QorMathLA::Matrix<double>& matrix) {
    std::vector<double> elements;
    for (const double element : matrix) {
        elements.push_back(element);
    }
    return elements;
}

/// The equation as the kernels take it.
inline control_utility::RiccatiProblem problemOf(const RiccatiEquation& e) {
    return {e.type == discreteSystem, e.a.rows(),      e.b.cols(),      elementsOf(e.a),
            elementsOf(e.b),          elementsOf(e.q), elementsOf(e.r), elementsOf(e.s)};
}

/// The square matrix of so many rows.
inline QorMathLA::Matrix<double> squareMatrixOf(int n, const std::vector<double>& elements) {
    return QorMathLA::Matrix<double>(n, n, elements.data());
}

/// A solvable equation of two inputs.
inline RiccatiEquation solvableEquation(systemType type, int n, NormalNumbers& numbers) {
    return randomEquation(type, n, riccati_detail::scaledIdentity(2, 1.0), 0.2, numbers);
}

/// The c of the bounds c n eps that solutions are held to.
constexpr double riccatiRatioLimit = 20.0;

/// That x is symmetric, stabilises, satisfies the equation, and is other but for what rounding makes of either.
inline void expectSameSolution(const RiccatiEquation& e, const std::vector<double>& x,
                               const std::vector<double>& other) {
    const int n = e.a.rows();
    const QorMathLA::Matrix<double> found = squareMatrixOf(n, x);
    const RiccatiVerdict verdict = verdictOn(e, found);
    EXPECT_TRUE(isSymmetric(found));
    EXPECT_GT(verdict.distance, 0.0);
    EXPECT_LE(riccatiRatio(verdict, found, e.type), riccatiRatioLimit);
    EXPECT_LE(frobeniusNorm(differenceOf(found, squareMatrixOf(n, other))),
              2.0 * solutionUncertainty(verdict, found, e.type, riccatiRatioLimit));
}

}  // namespace qormath::test
