#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/pipeline/detail/closeness.hpp>
#include <qormath/pipeline/detail/order_search.hpp>
#include <qormath/pipeline/detail/order_study.hpp>
#include <qormath/pipeline/detail/plant_check.hpp>
#include <qormath/pipeline/detail/plant_scaling.hpp>
#include <qormath/pipeline/detail/realised_plant.hpp>
#include <qormath/pipeline/detail/reduced_plant.hpp>
#include <qormath/pipeline/detail/truncation_forecast.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace qormath {

namespace {

using pipeline::Candidate;
using pipeline::CurveMeasure;
using pipeline::Ending;
using pipeline::LargestError;
using pipeline::PlantScaling;
using pipeline::RealisedPlant;
using QorMathLA::Matrix;
using QorMathLA::product;
using QorMathLA::Range;
using QorMathLA::Vector;
using Choice = ReduceOptions::OrderChoice;

constexpr double byDefault = -1.0;
constexpr double percent = 100.0;

// Of the tolerance, what the realisation may use up before more singular values are taken.
constexpr double shareOfRealisation = 0.25;

// A singular value that is left out costs about twice its part of the largest, and a few of similar size go together.
constexpr double shareOfSingularValue = 0.1;

// Singular values of the squared Hankel matrix below this part of the largest are rounding.
constexpr double negligibleSquare = 1e-12;

/// The plant in the units of the work, outputs that rise on a straight line flagged as ramps.
LTIFIRModel workingPlant(const LTIFIRModel& model, const PlantScaling& scaling, const std::vector<Ending>& endings) {
    LTIFIRModel plant = scaling.scaled(model);
    for (int k = 0; k < plant.rampFlags.size(); ++k) {
        const int output = scaling.outputs()[static_cast<std::size_t>(k)];
        const bool isRising = endings[static_cast<std::size_t>(output)] == Ending::rising;
        plant.rampFlags[k] = plant.rampFlags[k] || isRising;
    }
    return plant;
}

/// One run through the road: the realised plant and what is made of it.
class Road {
  public:
    Road(const LTIFIRModel& plant, const ReduceOptions& options, const CurveMeasure& measure)
        : plant_(plant), options_(options), measure_(measure) {}

    /// Realises the plant and finds the reduced one. The refusal in result is set, and nothing returned, if the order
    /// asked for cannot be had.
    std::optional<Candidate> travel(ReduceResult& result) {
        constexpr int theUsualCount = 0;
        realise(theUsualCount, result);
        if (options_.orderChoice == Choice::byCurveTolerance) {
            return withinTolerance(result);
        }
        const int asked = orderAsked(result);
        const int available = result.rampStates + result.stableStates;
        if (options_.orderChoice == Choice::byNumber && asked > available) {
            result.refusal = "order " + std::to_string(asked) + " is above that of the model, which has " +
                             std::to_string(available) + (available == 1 ? " state" : " states");
            return {};
        }
        tell("reducing", 0, 1);
        const int stableOrder = std::clamp(asked - result.rampStates, 0, result.stableStates);
        Candidate found =
            pipeline::closestOf(pipeline::candidatesOf(reduction(options_.dampingLimit), stableOrder, wanted()));
        study(stableOrder, wanted(), result);
        return found;
    }

  private:
    void tell(const char* stage, int done, int total) const {
        if (options_.progress) {
            options_.progress(stage, done, total);
        }
    }

    void realise(int singularValueCount, ReduceResult& result) {
        tell("realising", 0, 1);
        realised_ = pipeline::realise(plant_, singularValueCount);
        ramps_ = pipeline::rampModel(realised_.rates, realised_.stable.sampleTime);
        const int realisedStates = realised_.stable.A.rows();
        Vector<int> report;
        QorMathControl::MinimalRealization(realised_.stable, report, byDefault, byDefault, byDefault);
        result.rampStates = ramps_.A.rows();
        result.statesRealised = result.rampStates + realisedStates;
        result.statesRemoved = report[0];
        result.stableStates = report[1] + report[3];
        result.delayStates = report[4];
        result.coarseOrder = result.rampStates + report[5];
        result.fineOrder = result.rampStates + report[6];
        result.middleOrder = (result.coarseOrder + result.fineOrder + 1) / 2;
    }

    int orderAsked(const ReduceResult& result) const {
        switch (options_.orderChoice) {
            case Choice::coarse:
                return result.coarseOrder;
            case Choice::middle:
                return result.middleOrder;
            case Choice::fine:
                return result.fineOrder;
            default:
                return options_.order;
        }
    }

    pipeline::Wanted wanted() const { return {plant_, measure_}; }

    pipeline::Reduction reduction(double dampingLimit) const {
        return [this, dampingLimit](int stableOrder) {
            return pipeline::reducedPlants(realised_, ramps_, stableOrder, dampingLimit, options_.gainTolerance);
        };
    }

    /// Ringers go after the truncation, of which a forecast knows nothing.
    pipeline::Forecast forecast() const {
        if (options_.dampingLimit > 0.0) {
            return [](int) { return std::optional<double>(); };
        }
        const auto forecast =
            std::make_shared<pipeline::TruncationForecast>(realised_, plant_, measure_, options_.gainTolerance);
        return [forecast](int stableOrder) { return forecast->errorPercent(stableOrder); };
    }

    /// The plant at the order that it has; nothing if a numerical step fails there, where lower orders may succeed.
    std::optional<Candidate> fullOrder(double dampingLimit, const ReduceResult& result) const {
        try {
            return pipeline::closestOf(pipeline::candidatesOf(reduction(dampingLimit), result.stableStates, wanted()));
        } catch (int) {
            return {};
        } catch (const QorMathLA::xmsg&) {
            return {};
        }
    }

    Candidate withinTolerance(ReduceResult& result) {
        refineRealisation(result);
        const LTIFIRModel curves = wantedCurves(result);
        Candidate best = pipeline::smallestWithin(
            options_.curveTolerance, reduction(options_.dampingLimit), forecast(), result.stableStates,
            {curves, measure_}, [&](int order) { tell("trying orders", order, result.stableStates); });
        result.isWithinTolerance = best.errorPercent <= options_.curveTolerance;
        study(best.stableOrder, {curves, measure_}, result);
        return best;
    }

    /// Fills in, if it was asked for, what a choice of the order by eye takes.
    void study(int chosen, const pipeline::Wanted& judged, ReduceResult& result) const {
        if (!options_.studiesOrders) {
            return;
        }
        const pipeline::TruncationForecast truncations(realised_, plant_, measure_, options_.gainTolerance);
        result.hankelSingularValues = truncations.hankelSingularValues();
        const int highest = result.stableStates;
        const std::vector<int> marked = {chosen, result.coarseOrder - result.rampStates,
                                         result.middleOrder - result.rampStates, result.fineOrder - result.rampStates};
        // At the full order nothing is truncated: the states are not the balanced ones, and the change of the outputs
        // that restores gains depends on the states.
        const pipeline::Forecast forecast = [truncation = this->forecast(), highest](int order) {
            return order < highest ? truncation(order) : std::nullopt;
        };
        const std::vector<int> orders = pipeline::ordersToStudy(highest, marked, forecast(1).has_value());
        result.orderErrors =
            pipeline::studyOrders(orders, reduction(options_.dampingLimit), forecast, judged,
                                  [&](int done) { tell("studying orders", done, static_cast<int>(orders.size())); });
        for (ReduceResult::OrderError& error : result.orderErrors) {
            error.order += result.rampStates;
        }
    }

    /// Takes more singular values if the usual ones use up too much of the tolerance.
    void refineRealisation(ReduceResult& result) {
        constexpr double noRinger = 0.0;
        const double allowance = shareOfRealisation * options_.curveTolerance;
        const std::optional<Candidate> whole = fullOrder(noRinger, result);
        const Vector<double>& values = realised_.singularValues;
        if (values.size() == 0 || (whole && whole->errorPercent <= allowance)) {
            return;
        }
        const double share = shareOfSingularValue * allowance / percent;
        const double cut = values[0] * std::max(negligibleSquare, share * share);
        int count = 0;
        while (count < values.size() && values[count] >= cut) {
            ++count;
        }
        if (count > 0) {
            realise(count, result);
        }
    }

    /// What the tolerance is judged against: the curves of the plant, or, where they cannot be kept because a visible
    /// ringer goes, those of the whole plant without its ringers.
    LTIFIRModel wantedCurves(ReduceResult& result) const {
        if (options_.dampingLimit > 0.0) {
            std::optional<Candidate> whole = fullOrder(options_.dampingLimit, result);
            if (whole && !whole->plant.ringers.empty() && whole->errorPercent > options_.curveTolerance) {
                result.isJudgedWithoutRingers = true;
                result.ringers = std::move(whole->plant.ringers);
                return std::move(whole->curves);
            }
        }
        return plant_;
    }

    const LTIFIRModel& plant_;
    const ReduceOptions& options_;
    const CurveMeasure& measure_;
    RealisedPlant realised_;
    LTIStateSpaceModel ramps_;
};

void clearNullPairs(const LTIFIRModel& model, const CurveMeasure& measure, ReduceResult& result) {
    for (int j = 0; j < model.coefficients.cols(); ++j) {
        for (int i = 0; i < model.coefficients.rows(); ++i) {
            if (pipeline::peakOf(model.coefficients(i, j)) > 0.0) {
                continue;
            }
            const double cleared = measure.distancePercent(result.curves, model, j, i);
            if (cleared > 0.0) {
                result.clearedPairs.push_back({j, i});
                result.largestClearedPercent = std::max(result.largestClearedPercent, cleared);
            }
            result.curves.coefficients(i, j) = model.coefficients(i, j);
        }
    }
}

/// The steady-state gain; nothing where a pole lies at the stability limit.
std::optional<Matrix<double>> gainIfAny(LTIStateSpaceModel& model) {
    try {
        return model.gain();
    } catch (int) {
        return {};
    }
}

Matrix<double> unknown(int rows, int cols) {
    Matrix<double> result(rows, cols);
    result.fill(std::numeric_limits<double>::quiet_NaN());
    return result;
}

/// Compares gains and rates of the result, whose ramps lead, with those of the plant.
void compareGains(const LTIFIRModel& model, const std::vector<Ending>& endings, const CurveMeasure& measure,
                  ReduceResult& result) {
    const int states = result.model.A.rows();
    const Range ramps(0, result.rampStates - 1, 1);
    const Range all(-1, -1, 1);
    constexpr bool keepFeedthrough = false;
    LTIStateSpaceModel stable(result.model);
    Matrix<double> rates = QorMathLA::zeroMatrix(model.coefficients.cols(), model.coefficients.rows());
    if (result.rampStates > 0) {
        stable.ExtractRange(Range(result.rampStates, states - 1, 1), keepFeedthrough);
        rates = product(result.model.C(all, ramps), result.model.B(ramps, all));
    }
    const std::optional<Matrix<double>> gains = gainIfAny(stable);
    const Matrix<double> wanted = LTIFIRModel(model).GetGain();
    result.gains = gains ? *gains : unknown(wanted.rows(), wanted.cols());
    result.gainErrors = unknown(wanted.rows(), wanted.cols());
    LargestError gainError;
    LargestError rateError;
    for (int j = 0; j < wanted.rows(); ++j) {
        const Ending ending = endings[static_cast<std::size_t>(j)];
        const double largestRate = model.rampFlags[j] ? wanted.row(j).maxAbs() : 0.0;
        for (int i = 0; i < wanted.cols(); ++i) {
            if (model.rampFlags[j] || ending == Ending::rising) {
                result.gains(j, i) = rates(j, i);
            }
            double& error = result.gainErrors(j, i);
            if (largestRate > 0.0) {
                error = std::fabs(rates(j, i) - wanted(j, i)) / largestRate;
                rateError.add(error, j, i);
            } else if (gains && !model.rampFlags[j] && ending != Ending::rising) {
                error = std::fabs((*gains)(j, i) - wanted(j, i)) / measure.peak(j);
                gainError.add(error, j, i);
            }
        }
    }
    result.gainError = gainError.found();
    result.rampRateError = rateError.found();
}

void compareCurves(const LTIFIRModel& model, const CurveMeasure& measure, ReduceResult& result) {
    result.curveErrorPercent = measure.largestPercent(result.curves, model);
    result.curveErrorsPercent = Matrix<double>(model.coefficients.cols(), model.coefficients.rows());
    for (int j = 0; j < result.curveErrorsPercent.rows(); ++j) {
        for (int i = 0; i < result.curveErrorsPercent.cols(); ++i) {
            result.curveErrorsPercent(j, i) = measure.distancePercent(result.curves, model, j, i);
        }
    }
}

}  // namespace

ReduceResult reduce(const LTIFIRModel& model, const ReduceOptions& options) {
    ReduceResult result;
    result.refusal = pipeline::refusalOf(options);
    if (result.refusal.empty()) {
        result.refusal = pipeline::refusalOf(model);
    }
    if (!result.refusal.empty()) {
        return result;
    }
    const std::vector<Ending> endings = pipeline::endingsOf(model);
    result.warnings = pipeline::warningsOf(model, endings);

    const PlantScaling scaling(model);
    const LTIFIRModel plant = workingPlant(model, scaling, endings);
    const CurveMeasure measure(model);
    const CurveMeasure scaledMeasure = measure.scaled(scaling);
    std::optional<Candidate> chosen = Road(plant, options, scaledMeasure).travel(result);
    if (!chosen) {
        return result;
    }
    result.orderAsked = result.rampStates + chosen->stableOrder;
    result.gainStates = chosen->plant.gainStates;
    if (!result.isJudgedWithoutRingers) {
        result.ringers = std::move(chosen->plant.ringers);
    }
    result.model = scaling.unscaled(chosen->plant.model);
    result.orderReached = result.model.A.rows();

    result.curves = LTIFIRModel(result.model, model);
    if (options.clearNullPairs) {
        clearNullPairs(model, measure, result);
    }
    compareGains(model, endings, measure, result);
    compareCurves(model, measure, result);
    return result;
}

}  // namespace qormath
