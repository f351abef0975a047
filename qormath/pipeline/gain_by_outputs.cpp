#include <algorithm>
#include <cmath>
#include <cstddef>

#include <qormath/core/arithmetic.hpp>
#include <qormath/lapack/lapack.hpp>
#include <qormath/pipeline/detail/gain_by_outputs.hpp>

namespace qormath::pipeline {

namespace {

using QorMathLA::Matrix;
using QorMathLA::product;

constexpr double percent = 100.0;

}  // namespace

Matrix<double> settledStates(const LTIStateSpaceModel& model) {
    const int n = model.A.rows();
    Matrix<double> lu(Matrix<double>().identity(n) - model.A);
    Matrix<double> x(model.B);
    std::vector<int> pivots(static_cast<std::size_t>(n));
    if (n > 0) {
        if (lapack::getrf(n, n, lu.numericData(true), n, pivots.data()) != 0) {
            throw -1;
        }
        lapack::getrs(lapack::Op::none, n, x.cols(), lu.numericData(true), n, pivots.data(), x.numericData(true), n);
    }
    return x;
}

Matrix<double> gainsOf(const LTIStateSpaceModel& model, const Matrix<double>& settled) {
    return product(model.C, settled) + model.D;
}

std::vector<double> excessOf(const Matrix<double>& gains, const Matrix<double>& wanted, double gainTolerance) {
    const double root = std::sqrt(lapack::machineEpsilon());
    std::vector<double> excess;
    for (int j = 0; j < wanted.rows(); ++j) {
        double largest = 0.0;
        for (int i = 0; i < wanted.cols(); ++i) {
            const double allowance = std::max(root, std::fabs(gainResolution * wanted(j, i) * gainTolerance / percent));
            largest = std::max(largest, std::fabs(gainResolution * (wanted(j, i) - gains(j, i))) / allowance);
        }
        excess.push_back(largest);
    }
    return excess;
}

std::vector<bool> needOf(const Matrix<double>& gains, const Matrix<double>& wanted, double gainTolerance) {
    std::vector<bool> needs;
    for (const double excess : excessOf(gains, wanted, gainTolerance)) {
        needs.push_back(excess > 1.0);
    }
    return needs;
}

bool anyOf(const std::vector<bool>& needs) {
    return std::find(needs.begin(), needs.end(), true) != needs.end();
}

Matrix<double> missingGains(const Matrix<double>& gains, const Matrix<double>& wanted, const std::vector<bool>& needs) {
    Matrix<double> missing = wanted - gains;
    for (int j = 0; j < missing.rows(); ++j) {
        if (!needs[static_cast<std::size_t>(j)]) {
            missing.row(j) = 0.0;
        }
    }
    return missing;
}

bool retainGainByOutputs(LTIStateSpaceModel& model, const Matrix<double>& wanted, const Matrix<double>& settled,
                         const std::vector<bool>& needs, double gainTolerance) {
    constexpr double byDefault = -1.0;
    const Matrix<double> inverse = pseudoInverse(settled, byDefault);
    // The second pass takes the rounding of the first.
    for (int pass = 0; pass < 2; ++pass) {
        model.C = model.C + product(missingGains(gainsOf(model, settled), wanted, needs), inverse);
    }
    return !anyOf(needOf(gainsOf(model, settled), wanted, gainTolerance));
}

}  // namespace qormath::pipeline
