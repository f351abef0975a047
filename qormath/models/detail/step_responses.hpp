#pragma once

#include <qormath/core/matrix.hpp>

namespace qormath::models {

/// The step responses of x = a x + b u, y = c x on all inputs, x advanced before y is taken, one sample after the
/// other. Either the states move for all inputs at once, or their sum seen from the outputs does: c (a^k + ... + I) b
/// is the same from both ends, and the narrower end costs less. The matrices have to outlive the object.
class StepResponse {
  public:
    StepResponse(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                 const QorMathLA::Matrix<double>& c);

    /// The next sample, outputs by inputs.
    QorMathLA::Matrix<double> next();

  private:
    const QorMathLA::Matrix<double>& a_;
    const QorMathLA::Matrix<double>& b_;
    const QorMathLA::Matrix<double>& c_;
    bool fromOutputs_;
    QorMathLA::Matrix<double> power_;
    QorMathLA::Matrix<double> sum_;
};

// Tables of the first samples: columns k m to (k + 1) m - 1, with m the columns of b, hold c (a^k + ... + I) b.

/// By the recursion.
QorMathLA::Matrix<double> stepResponsesBySample(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                                                const QorMathLA::Matrix<double>& c, int samples);

/// Blocks of samples by powers of a, which takes less work, and larger products, where there are many samples.
///
/// False, and responses is undetermined, where that saves nothing, where a power amplifies so much that its rounding
/// could be seen, and where the result is not finite.
bool stepResponsesByPowers(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                           const QorMathLA::Matrix<double>& c, int samples, QorMathLA::Matrix<double>& responses);

/// By powers where that is allowed, else sample by sample.
QorMathLA::Matrix<double> stepResponses(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                                        const QorMathLA::Matrix<double>& c, int samples);

}  // namespace qormath::models
