#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/detail/held_logarithm.hpp>

#include "support/matrix_compare.hpp"
#include "support/random_matrices.hpp"

// The logarithm of a step from a Schur form that is there, against that from the matrix alone.

using qormath::models::replaceByHeldLogarithm;
using qormath::test::frobeniusNorm;
using qormath::test::identical;
using qormath::test::NormalNumbers;
using qormath::test::randomMatrix;
using qormath::test::randomWithEigenvalues;
using qormath::test::unitRoundoff;
using QorMathLA::Matrix;
using QorMathLA::Vector;

namespace {

struct Pair {
    Matrix<double> a;
    Matrix<double> b;
};

Pair fromSchurForm(Pair step) {
    Matrix<double> t;
    Matrix<double> u;
    Vector<double> wr;
    Vector<double> wi;
    QorMathControl::SchurDecomposition(step.a, t, u, wr, wi, schurUnordered);
    replaceByHeldLogarithm(step.a, step.b, t, u, wr, wi);
    return step;
}

Pair fromMatrix(Pair step) {
    replaceByHeldLogarithm(step.a, step.b);
    return step;
}

double relativeDifference(const Matrix<double>& x, const Matrix<double>& y) {
    return frobeniusNorm(x - y) / frobeniusNorm(y);
}

}  // namespace

TEST(HeldLogarithmRoutes, AgreeOnStableModels) {
    NormalNumbers numbers(5301);
    for (const int n : {1, 2, 6, 40, 70}) {
        for (const int m : {0, 1, 5}) {
            std::vector<std::complex<double>> spectrum;
            for (int k = 0; k < n; k += 2) {
                spectrum.push_back(std::polar(numbers.uniform(0.2, 0.9), k + 1 == n ? 0.0 : numbers.uniform(0.2, 2.5)));
            }
            const Matrix<double> a = randomWithEigenvalues(spectrum, 0.2 / std::sqrt(n), numbers);
            const Pair step{a, randomMatrix(n, m, numbers)};
            const Pair x = fromSchurForm(step);
            const Pair y = fromMatrix(step);
            // Two Schur forms, with the condition of the logarithm, which is below 1 / (0.2 (pi - 2.5)) here.
            const double bound = 20.0 * n * unitRoundoff * 8.0;
            EXPECT_LE(relativeDifference(x.a, y.a), bound) << n;
            if (m > 0) {
                EXPECT_LE(relativeDifference(x.b, y.b), bound) << n << " " << m;
            }
            // And both give the step back.
            Matrix<double> backA = x.a;
            Matrix<double> backB = x.b;
            Matrix<double> c(0, n);
            Matrix<double> d(0, m);
            QorMathControl::Continuous2Discrete(backA, backB, c, d, 1.0, zeroOrderHold);
            EXPECT_LE(relativeDifference(backA, a), bound) << n;
        }
    }
}

TEST(HeldLogarithmRoutes, AnEigenvalueNearOneGoesByTheMatrixAlone) {
    NormalNumbers numbers(5302);
    for (const double near : {1.0, 1.0 + 1e-9, 0.995, 0.985}) {
        const Pair step{randomWithEigenvalues({{0.5, 0.0}, {near, 0.0}, {0.3, 0.4}}, 0.2, numbers),
                        randomMatrix(4, 2, numbers)};
        const Pair x = fromSchurForm(step);
        const Pair y = fromMatrix(step);
        EXPECT_TRUE(identical(x.a, y.a) && identical(x.b, y.b)) << near;
    }
}

TEST(HeldLogarithmRoutes, ANegativeEigenvalueGoesByTheMatrixAlone) {
    NormalNumbers numbers(5303);
    const Pair step{randomWithEigenvalues({{0.5, 0.0}, {-0.6, 0.0}, {0.3, 0.4}}, 0.2, numbers),
                    randomMatrix(4, 2, numbers)};
    const Pair x = fromSchurForm(step);
    const Pair y = fromMatrix(step);
    EXPECT_TRUE(identical(x.a, y.a) && identical(x.b, y.b));
}
