#include <cmath>
#include <complex>
#include <utility>

#include <qormath/conditioning/detail/schur_blocks.hpp>
#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Vector;

namespace {

// A pair with a higher damping ratio stands for two nearly real poles.
constexpr double dampingOfRealPole = 0.99999;

/// Where a ramp has its pole, and how a Schur form is sorted so that the ramps lead.
struct RampPole {
    double value;
    schurOrder order;
};

RampPole rampPoleOf(systemType type) {
    if (type == discreteSystem) {
        return {1.0, schurDescendingModulus};
    }
    return {0.0, schurDescendingReal};
}

/// Tells of the mode of a pair whether it is damped like a real one; a discrete pole is judged by its continuous twin.
bool isNearlyReal(std::complex<double> pole, systemType type, double sampleTime) {
    if (type == discreteSystem) {
        pole = std::log(pole) / sampleTime;
    }
    return std::fabs(pole.real()) / std::abs(pole) > dampingOfRealPole;
}

/// Moves the blocks of a Schur form that lie near the ramp's pole onto it, from the last one upwards.
void snapNearbyPoles(Matrix<double>& t, double rampPole, double tolerance, systemType type, double sampleTime) {
    const Vector<int> flags = qormath::conditioning::schurBlockFlags(t);
    for (int i = t.rows() - 1; i >= 0; --i) {
        if (flags[i] == 0) {
            if (tolerance > std::fabs(t(i, i) - rampPole)) {
                t(i, i) = rampPole;
            }
        } else if (flags[i] == 1) {
            const std::complex<double> pole = qormath::conditioning::eigenvaluesOfBlock(t, i).first;
            // There is no absolute value: a pair beyond the limit qualifies at any distance, and its damping decides.
            if (!(tolerance > rampPole - pole.real())) {
                continue;
            }
            if (isNearlyReal(pole, type, sampleTime)) {
                t(i, i) = rampPole;
                t(i + 1, i + 1) = rampPole;
                t(i, i + 1) = 0.0;
                t(i + 1, i) = 0.0;
            }
            --i;  // a pair that qualifies takes the position before it out of the walk
        }
    }
}

}  // namespace

void QorMathControl::PseudoRamp2Ramp(LTIStateSpaceModel& model, double tolerance) {
    const RampPole ramp = rampPoleOf(model.sysType);
    Matrix<double> t;
    Matrix<double> u;
    Vector<double> wr;
    Vector<double> wi;
    SchurDecomposition(model.A, t, u, wr, wi, ramp.order);
    snapNearbyPoles(t, ramp.value, tolerance, model.sysType, model.sampleTime);
    Matrix<double> b = product(u.transpose(), model.B);
    model.C = product(model.C, u);
    model.A = std::move(t);
    model.B = std::move(b);
}
