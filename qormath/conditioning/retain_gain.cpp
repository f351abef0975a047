#include <algorithm>
#include <cmath>
#include <utility>

#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

namespace {

// The pole of the lag that corrects a discrete model: half of the correction has come after one sample.
constexpr double discreteLagPole = 0.5;

// A continuous correction is this many times faster than the mean pole of the model.
constexpr double continuousSpeed = 10.0;

bool isBadRow(const Matrix<double>& error, const Matrix<double>& target, int i, double gainTolerance) {
    const double root = qormath::conditioning::rootOfPrecision();
    for (int j = 0; j < error.cols(); ++j) {
        const double allowance = std::max(root, std::fabs(target(i, j) * gainTolerance / 100.0));
        if (std::fabs(error(i, j)) > allowance) {
            return true;
        }
    }
    return false;
}

/// The rows of the error in which an element exceeds its allowance, in their order.
Matrix<double> badRows(const Matrix<double>& error, const Matrix<double>& target, double gainTolerance) {
    Vector<int> bad(error.rows());
    int count = 0;
    for (int i = 0; i < error.rows(); ++i) {
        if (isBadRow(error, target, i, gainTolerance)) {
            bad[count++] = i;
        }
    }
    Matrix<double> rows(count, error.cols());
    for (int k = 0; k < count; ++k) {
        rows.row(k) = error.row(bad[k]);
    }
    return rows;
}

/// The pole of the correction.
double lagPole(const LTIStateSpaceModel& model) {
    if (model.sysType == discreteSystem) {
        return discreteLagPole;
    }
    Matrix<double> work(model.A);
    Vector<double> re;
    Vector<double> im;
    work.eigenvalues(re, im, qormath::conditioning::eigenvalueIterations);
    return continuousSpeed * re.sum() / model.A.rows();
}

/// First-order lags with the steady-state gain that is missing. Lag number k acts on output number k, whichever output
/// its gain was missed on.
LTIStateSpaceModel correctionOf(const LTIStateSpaceModel& model, const Matrix<double>& missingGain, int outputCount) {
    const int n = missingGain.rows();
    const Matrix<double> identity = Matrix<double>().identity(n);
    const Matrix<double> a = identity * lagPole(model);
    const Matrix<double> b =
        model.sysType == discreteSystem ? product(identity - a, missingGain) : product(a * -1.0, missingGain);
    const Matrix<double> c = Matrix<double>().identity(outputCount);
    return {a,
            b,
            c(Range(-1, -1, 1), Range(0, n - 1, 1)),
            zeroMatrix(outputCount, missingGain.cols()),
            model.sysType,
            model.sampleTime};
}

}  // namespace

void QorMathControl::RetainGain(LTIStateSpaceModel& model, const Matrix<double>& targetGain,
                                double realizationTolerance, double gainTolerance) {
    const Matrix<double> error = targetGain - model.gain();
    const Matrix<double> missingGain = badRows(error, targetGain, gainTolerance);
    if (missingGain.rows() < 1) {
        return;
    }

    constexpr double byDefault = -1.0;
    LTIStateSpaceModel correction = correctionOf(model, missingGain, error.rows());
    Vector<int> report;
    MinimalRealization(correction, report, 0.0, 0.0, byDefault);
    if (correction.A.rows() == 0) {
        return;
    }
    model = model + correction;

    LTIStateSpaceModel realised(model);
    MinimalRealization(realised, report, realizationTolerance, byDefault, byDefault);
    if (report[0] > 0) {
        model = std::move(realised);
    }
}
