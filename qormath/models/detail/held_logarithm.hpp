#pragma once

#include <qormath/core/matrix.hpp>

namespace qormath::models {

/// Replaces a (n by n) and b (n by m) by the top blocks of the real part of the logarithm of [a b; 0 I].
///
/// The ones of the inputs are eigenvalues that an integrator of a repeats. QorMathControl::LogM, which divides by the
/// differences of eigenvalues, then gives a few digits or none: in trials with a single integrator and three inputs
/// the typical error was 0.07. So the eigenvalues of a near 1 are decoupled from the others first. Their part of the
/// logarithm is a power series in a - I, whose terms no eigenvalue at 1 spoils, defective or not; the others go through
/// LogM, the inputs with them. Without an eigenvalue near 1 all goes through LogM.
///
/// Throws the int -1 where LogM does.
void replaceByHeldLogarithm(QorMathLA::Matrix<double>& a, QorMathLA::Matrix<double>& b);

/// The same, for a = u t u' in real Schur form with the eigenvalues wr and wi, which saves another. It serves where no
/// eigenvalue is near 1 and logarithmOfSchurForm gives a result; elsewhere the other form runs.
void replaceByHeldLogarithm(QorMathLA::Matrix<double>& a, QorMathLA::Matrix<double>& b,
                            const QorMathLA::Matrix<double>& t, const QorMathLA::Matrix<double>& u,
                            const QorMathLA::Vector<double>& wr, const QorMathLA::Vector<double>& wi);

}  // namespace qormath::models
