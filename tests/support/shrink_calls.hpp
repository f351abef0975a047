#pragma once

// QorMathControl::Shrink with its options by name, the parts of a model that it works on, and the form that it gives.

#include <cmath>
#include <support/raw_conversion.hpp>
#include <support/schur_checks.hpp>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath::test {

/// By default no gain is restored, and no mode rings.
struct ShrinkOptions {
    double stabilityTolerance = -1.0;
    double delayTolerance = -1.0;
    double gainTolerance = -1.0;
    double dampingLimit = -1.0;
};

inline LTIStateSpaceModel shrunk(const LTIStateSpaceModel& model, int& order, const ShrinkOptions& options = {}) {
    return QorMathControl::Shrink(model, order, options.stabilityTolerance, options.delayTolerance,
                                  options.gainTolerance, options.dampingLimit);
}

/// What is cleared of a result lies below this: sqrt(2^-53) / 10.
inline constexpr double clearingLimit = 0x1.6a09e667f3bcdp-27 / 10.0;

inline bool isQuasiTriangular(const QorMathLA::Matrix<double>& a) {
    return isStandardSchurForm(a.rows(), toRaw(a).elements);
}

/// The minimal realisation of a model, divided. The feedthrough stands with the stable part.
struct Parts {
    LTIStateSpaceModel unstable;
    LTIStateSpaceModel stable;
    QorMathLA::Vector<int> report;
};

inline Parts minimalParts(const LTIStateSpaceModel& model, double stabilityTolerance = -1.0) {
    Parts parts{model, {}, {}};
    QorMathControl::MinimalRealization(parts.unstable, parts.report, stabilityTolerance, -1.0, -1.0);
    parts.stable = parts.unstable;
    const int leading = parts.report[1];
    parts.unstable.ExtractRange(QorMathLA::Range(0, leading - 1, 1), true);
    parts.stable.ExtractRange(QorMathLA::Range(leading, parts.stable.A.rows() - 1, 1), false);
    return parts;
}

}  // namespace qormath::test
