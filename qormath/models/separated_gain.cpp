#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;

namespace {

/// C (2 I - A)^+ B. An unstable part has no steady state; 2 stands clear of the stability limit of both time bases.
Matrix<double> gainAtTwo(const LTIStateSpaceModel& model) {
    constexpr double two = 2.0;
    constexpr double defaultTolerance = -1.0;
    const Matrix<double> distance = model.A.identity() * two - model.A;
    return product(product(model.C, pseudoInverse(distance, defaultTolerance)), model.B);
}

}  // namespace

Vector<Matrix<double>> LTIStateSpaceModel::gain(LTIStateSpaceModel& stable, LTIStateSpaceModel& integrating,
                                                LTIStateSpaceModel& unstable) {
    if (A.rows() == 0) {
        Vector<Matrix<double>> feedthrough(1);
        feedthrough[0] = D;
        return feedthrough;
    }

    // First all that is not clearly stable goes, then of this what is clearly unstable: the ramps stay between.
    const double margin = qormath::conditioning::rootOfPrecision();
    QorMathControl::RemoveUnstable(*this, stable, integrating, -margin);
    if (integrating.A.rows() > 0) {
        QorMathControl::RemoveUnstable(integrating, integrating, unstable, margin);
    } else {
        unstable = LTIStateSpaceModel();
    }

    const int length = unstable.A.rows() > 0 ? 3 : integrating.A.rows() > 0 ? 2 : 1;
    Vector<Matrix<double>> gains(length);
    gains[0] = stable.gain();
    if (length > 1) {
        gains[1] = product(integrating.C, integrating.B);
    }
    if (length > 2) {
        gains[2] = gainAtTwo(unstable);
    }
    return gains;
}
