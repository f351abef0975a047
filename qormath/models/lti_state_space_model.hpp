#pragma once

/// @file
/// Models in state space.

#include <qormath/control/system_type.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/export.h>

/// A linear time-invariant model, continuous x' = A x + B u, y = C x + D u, or discrete x(k+1) = A x(k) + B u(k),
/// y(k) = C x(k) + D u(k). Plain values: nothing checks that the four shapes agree; operands that do not fit show as
/// xmsg 5 where they meet. A model without states is legal: then D alone carries the behaviour, and A, B and C may be
/// default-constructed or empty matrices of any shape that agrees with D.
///
/// Every value of sysType other than continuousSystem acts as discrete in this class.
class QORMATH_API LTIStateSpaceModel {
  public:
    /// Four empty matrices, a sample time of 0.0, discrete.
    LTIStateSpaceModel();

    ///@{
    /// Deep copies.
    LTIStateSpaceModel(const LTIStateSpaceModel& other);
    LTIStateSpaceModel(LTIStateSpaceModel&& other);
    LTIStateSpaceModel(const QorMathLA::Matrix<double>& a, const QorMathLA::Matrix<double>& b,
                       const QorMathLA::Matrix<double>& c, const QorMathLA::Matrix<double>& d, const systemType& type,
                       double sampleTime);
    ///@}

    /// The square model with a channel for each flag: a true flag makes it an integrator, whose output is its state,
    /// a false one passes its input straight through. As the left factor of operator* it turns stable channels into
    /// ramps.
    LTIStateSpaceModel(const QorMathLA::Vector<bool>& rampFlags, const systemType& type, double sampleTime);

    ~LTIStateSpaceModel();

    ///@{
    /// Deep copies.
    LTIStateSpaceModel& operator=(const LTIStateSpaceModel& other);
    LTIStateSpaceModel& operator=(LTIStateSpaceModel&& other);
    ///@}

    /// Series connection, other first. Time base and sample time are this model's.
    LTIStateSpaceModel operator*(const LTIStateSpaceModel& other);

    /// Parallel connection. Time base and sample time are this model's.
    LTIStateSpaceModel operator+(const LTIStateSpaceModel& other);

    ///@{
    /// Keeps the states of the range, in place; a negative start keeps all. With clearFeedthrough set D becomes zeros
    /// of its shape.
    LTIStateSpaceModel& ExtractRange(QorMathLA::Range& states, bool clearFeedthrough);
    LTIStateSpaceModel& ExtractRange(QorMathLA::Range&& states, bool clearFeedthrough) {
        return ExtractRange(states, clearFeedthrough);
    }
    ///@}

    /// Steady-state gain: D - C A^-1 B, discrete D + C (I - A)^-1 B, through the pseudo-inverse. Throws the int -1 if
    /// an eigenvalue of A, discrete of I - A, has a modulus below 100 * 2^-53: a model with an integrator has no
    /// steady state, and the three-argument gain reports its parts.
    QorMathLA::Matrix<double> gain();

    /// Splits the model and returns the gain of each part that exists: the steady-state gain of the stable part; the
    /// rate C B of the integrating part; C (2 I - A)^+ B of the unstable part. The three models are overwritten, unless
    /// this model has no states: then the result is D alone. The model itself is not changed.
    QorMathLA::Vector<QorMathLA::Matrix<double>> gain(LTIStateSpaceModel& stable, LTIStateSpaceModel& integrating,
                                                      LTIStateSpaceModel& unstable);

    /// Transforms the states, in place, by an orthogonal staircase reduction so that the controllable part, of order
    /// rank, leads. tolerance is that of the rank decisions, relative to the larger norm of A and B; 0 or below means
    /// n * 2^-53. D is not touched. Throws xmsg 9 if C, B or A is a transposed view. NaN or infinity in A or B leaves
    /// the model as it is, with rank 0.
    LTIStateSpaceModel& ControllabilityForm(int& rank, double tolerance);

    /// As ControllabilityForm for the observable part, by duality. If it throws, the model is left transposed.
    LTIStateSpaceModel& ObservabilityForm(int& rank, double tolerance);

    QorMathLA::Matrix<double> A;          ///< state matrix, n by n
    QorMathLA::Matrix<double> B;          ///< input matrix, n by m
    QorMathLA::Matrix<double> C;          ///< output matrix, p by n
    QorMathLA::Matrix<double> D;          ///< feedthrough matrix, p by m
    double sampleTime = 0.0;              ///< in the caller's unit of time; the class itself does not use it
    systemType sysType = discreteSystem;  ///< the time base
};
