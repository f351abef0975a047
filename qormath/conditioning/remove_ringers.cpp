#include <cmath>
#include <complex>
#include <utility>

#include <qormath/conditioning/detail/masked_sub_matrix.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;

namespace {

/// The damping ratio of an eigenvalue; not a number for an integrator and for a delay (a pole at the origin of a
/// discrete model), which ring in no sense.
double dampingRatio(double wr, double wi, const LTIStateSpaceModel& model) {
    std::complex<double> pole(wr, wi);
    if (model.sysType == discreteSystem) {
        const double sampleTime = std::fabs(model.sampleTime);
        pole = {std::log(std::hypot(wr, wi)) / sampleTime, std::atan2(wi, wr) / sampleTime};
    }
    return std::fabs(pole.real()) / std::hypot(pole.real(), pole.imag());
}

struct ModeMasks {
    Vector<bool> ring;
    Vector<bool> keep;
    bool anyRings = false;
};

/// Which modes ring and which stay. A mode whose ratio is not a number is in neither mask.
ModeMasks classifyModes(const Vector<double>& wr, const Vector<double>& wi, const LTIStateSpaceModel& model,
                        double dampingLimit) {
    ModeMasks masks{Vector<bool>(wr.size()), Vector<bool>(wr.size())};
    for (int i = 0; i < wr.size(); ++i) {
        const double ratio = dampingRatio(wr[i], wi[i], model);
        masks.ring[i] = dampingLimit >= ratio;
        masks.keep[i] = ratio > dampingLimit;
        masks.anyRings = masks.anyRings || masks.ring[i];
    }
    return masks;
}

/// The model with its ringing states held at their steady state, (T, Bt, Ct) being the model in Schur form. D stays as
/// it is: the feedthrough that a residualisation has would show in the first sample of a step.
LTIStateSpaceModel residualise(const LTIStateSpaceModel& model, const Matrix<double>& T, const Matrix<double>& Bt,
                               const Matrix<double>& Ct, const ModeMasks& masks) {
    using qormath::conditioning::maskedSubMatrix;
    constexpr double defaultTolerance = -1.0;
    const Vector<bool> all;
    const Matrix<double> A12 = maskedSubMatrix(T, masks.keep, masks.ring);
    const Matrix<double> A22 = maskedSubMatrix(T, masks.ring, masks.ring);
    const Matrix<double> C2 = maskedSubMatrix(Ct, all, masks.ring);

    const bool discrete = model.sysType == discreteSystem;
    const Matrix<double> identity = Matrix<double>().identity(A22.rows());
    // The steady state of the ringing states: x2 = inverse * (A21 x1 + B2 u).
    const Matrix<double> inverse = pseudoInverse(discrete ? identity - A22 : A22 * -1.0, defaultTolerance);
    const Matrix<double> stateGain = product(inverse, maskedSubMatrix(T, masks.ring, masks.keep));
    const Matrix<double> inputGain = product(inverse, maskedSubMatrix(Bt, masks.ring, all));
    return {maskedSubMatrix(T, masks.keep, masks.keep) + product(A12, stateGain),
            maskedSubMatrix(Bt, masks.keep, all) + product(A12, inputGain),
            maskedSubMatrix(Ct, all, masks.keep) + product(C2, stateGain),
            model.D,
            model.sysType,
            model.sampleTime};
}

}  // namespace

void QorMathControl::RemoveRingers(LTIStateSpaceModel& model, double dampingLimit, double gainTolerance) {
    LTIStateSpaceModel ramps;
    RemoveRamps(model, ramps);

    Matrix<double> T;
    Matrix<double> U;
    Vector<double> wr;
    Vector<double> wi;
    SchurDecomposition(model.A, T, U, wr, wi, schurUnordered);
    const ModeMasks masks = classifyModes(wr, wi, model, dampingLimit);
    if (!masks.anyRings) {
        return;
    }

    LTIStateSpaceModel damped = residualise(model, T, product(U.transpose(), model.B), product(model.C, U), masks);
    if (gainTolerance >= 0.0) {
        constexpr double atTheLimit = 0.0;
        RetainGain(damped, model.gain(), atTheLimit, gainTolerance);
    }
    model = std::move(damped);
    if (ramps.A.rows() > 0) {
        model = ramps + model;
    }
}
