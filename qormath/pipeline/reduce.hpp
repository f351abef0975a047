#pragma once

/// @file
/// The whole road for front ends: step-response curves in, a small state-space model and its curves out, and a report
/// of what was done on the way.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <qormath/export.h>
#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>

namespace qormath {

/// What is asked of reduce.
struct ReduceOptions {
    /// How the order of the result is found.
    enum class OrderChoice {
        byCurveTolerance,  ///< the smallest model whose curves all lie within curveTolerance
        byNumber,          ///< the number of states given by order, before those that retain the gain
        coarse,            ///< the lowest suggestion of the minimal realisation
        middle,            ///< half way between the two
        fine               ///< the highest suggestion
    };

    /// How the order of the result is found.
    OrderChoice orderChoice = OrderChoice::byCurveTolerance;

    /// States of the whole, ramps included, for byNumber. Below the number of ramps the ramps are kept all the same.
    int order = 0;

    /// Percent of each output's largest coefficient, above 0, for byCurveTolerance.
    double curveTolerance = 1.0;

    /// Modes with a damping ratio of at most this, 0 to 1, are taken out. At 0 none is.
    double dampingLimit = 0.0;

    /// Percent of each steady-state gain by which it may be off before it is restored. Negative: never restored.
    double gainTolerance = 0.0;

    /// A pair without a curve in the input has none in the resulting curves.
    bool clearNullPairs = true;

    /// Whether the errors of other orders are worked out as well, for a choice by eye.
    bool studiesOrders = false;

    /// Called, unless empty, as the work goes on: what is being done, and how much of it. An exception that it throws
    /// leaves reduce.
    std::function<void(const char* stage, int done, int total)> progress;
};

/// What reduce has made, and how. Inputs and outputs are told by their index in the model.
struct ReduceResult {
    /// An output and an input, by their indices.
    struct Pair {
        int output = 0;  ///< index of the output
        int input = 0;   ///< index of the input
    };

    /// An error, and where it is.
    struct PairError {
        double value = 0.0;  ///< the error
        Pair pair;           ///< the pair that has it
    };

    /// The closest that the plant comes at an order.
    struct OrderError {
        int order = 0;                   ///< states as orderAsked counts them
        double curveErrorPercent = 0.0;  ///< the largest of a curve, in percent of the output's largest coefficient
    };

    /// A lightly damped mode.
    struct Ringer {
        double dampingRatio = 0.0;  ///< 0 undamped, 1 no oscillation
        double period = 0.0;        ///< seconds
    };

    /// Why there is no result: a sentence that names what is wrong, without a full stop. Empty if there is one.
    std::string refusal;

    /// What a user should know about the model or the result, a sentence each, in the manner of refusal.
    std::vector<std::string> warnings;

    LTIStateSpaceModel model;  ///< discrete, in the units of the curves; the integrators of the ramps lead
    LTIFIRModel curves;        ///< the model's step responses, with the names, flags and sizes of the input

    int statesRealised = 0;  ///< of the realisation, ramps included
    int statesRemoved = 0;   ///< by the minimal realisation, of those
    int rampStates = 0;      ///< integrators of the result
    int stableStates = 0;    ///< left to be reduced
    int delayStates = 0;     ///< of those, with an eigenvalue that is zero to rounding
    int coarseOrder = 0;     ///< suggested for the whole
    int middleOrder = 0;     ///< half way between coarseOrder and fineOrder
    int fineOrder = 0;       ///< suggested for the whole

    int orderAsked = 0;    ///< states before ringers go and gains are restored, ramps included
    int orderReached = 0;  ///< states of model
    int gainStates = 0;    ///< of those, lags that restore gains

    /// Taken out, the least damped first. Where the tolerance was judged without them, those of the whole plant.
    std::vector<Ringer> ringers;

    ///@{
    /// The largest error of a steady-state gain over the outputs that do not ramp, as a part of the output's largest
    /// coefficient; the largest error of a ramp's rate, as a part of the output's largest rate; the largest error of a
    /// curve, in percent of the output's largest coefficient. Empty where there is nothing to compare.
    ///
    /// An input whose strongest effect is below a tenth of every output's largest coefficient is taken for one that is
    /// counted in small units: its curves are compared in the unit in which that effect is as large as an output's
    /// largest coefficient.
    std::optional<PairError> gainError;
    std::optional<PairError> rampRateError;
    std::optional<PairError> curveErrorPercent;
    ///@}

    ///@{
    /// The same a pair, outputs by inputs: the gains of model, on outputs that ramp the rise in a sample; by how much
    /// they are off, as gainError and rampRateError measure it; and the errors of the curves. NaN where there is
    /// nothing to compare.
    QorMathLA::Matrix<double> gains;
    QorMathLA::Matrix<double> gainErrors;
    QorMathLA::Matrix<double> curveErrorsPercent;
    ///@}

    /// Hankel singular values of the stable part of the plant that was reduced, the largest first, with outputs and
    /// inputs scaled to a peak of about 1. Empty unless orders were studied, and where they cannot be computed.
    std::vector<double> hankelSingularValues;

    /// Errors against order, orders rising, before null pairs are cleared; empty unless asked for. Not every order is
    /// there in a plant of many states, but those suggested, orderAsked and the highest are. Where the two ways to
    /// restore gains differ, it is the smaller error, which need not be the one of the way that was taken.
    std::vector<OrderError> orderErrors;

    /// False if a curve tolerance was asked for and no order keeps it; the model is then the closest one.
    bool isWithinTolerance = true;

    /// True if the tolerance was judged against the plant without its ringers, because the curves of the plant cannot
    /// be kept without them.
    bool isJudgedWithoutRingers = false;

    /// Pairs without a curve on which the model acts, if only by rounding, and whose curves were cleared.
    std::vector<Pair> clearedPairs;

    /// The largest of what was cleared, in the unit of curveErrorPercent.
    double largestClearedPercent = 0.0;
};

/// Reduces the curves of a plant to a small discrete state-space model: realises them, reduces what is stable to the
/// order asked for, takes out ringers, restores steady-state gains, and simulates the result. Beyond the functions of
/// QorMathControl that it calls
/// - outputs and inputs are scaled to a peak of about 1 for the work, so that units do not matter;
/// - each correction of a gain lands on the output that needs it;
/// - ramps take no part in the reduction: they keep the rates of the curves, the last step, to rounding;
/// - the sample time is horizonSeconds / coefficientCount exactly.
///
/// A model or an option of which nothing sensible can be made is not an exception but a result with a refusal. Throws
/// what the functions below throw, the int -1 or an xmsg, if a numerical step fails at every order tried.
///
/// Cost: a singular value decomposition of min(30, max(10, coefficientCount / 3)) rows an output (two if the tolerance
/// asks for more singular values than the usual ones), and of order n^2 times the number of coefficients for
/// each order that is tried on n realised states. A study of the orders tries up to a hundred or so.
QORMATH_API ReduceResult reduce(const LTIFIRModel& model, const ReduceOptions& options);

}  // namespace qormath
