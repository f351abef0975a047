#include <algorithm>
#include <cmath>
#include <exception>
#include <optional>
#include <utility>

#include <qormath/core/xmsg.hpp>
#include <qormath/pipeline/detail/order_search.hpp>

namespace qormath::pipeline {

namespace {

// Forecasts are the errors but for rounding, and for elements below 1e-9 that Shrink clears.
constexpr double forecastMargin = 1.01;

struct PassedOver {
    double error;
    int order;
};

int statesOf(const Candidate& candidate) {
    return candidate.plant.model.A.rows();
}

/// An error that is not a number is beaten by any that is one.
bool isCloser(const Candidate& one, const Candidate& other) {
    return !std::isnan(one.errorPercent) && !(other.errorPercent <= one.errorPercent);
}

/// Fewer states, or the lower order of equals: orders are not always worked out in their sequence.
bool hasFewerStates(const Candidate& one, const Candidate& other) {
    return statesOf(one) != statesOf(other) ? statesOf(one) < statesOf(other) : one.stableOrder < other.stableOrder;
}

/// Keeps the best of the candidates that it is shown.
class Choice {
  public:
    explicit Choice(double tolerancePercent) : tolerancePercent_(tolerancePercent) {}

    void consider(Candidate candidate) {
        const bool isWithin = candidate.errorPercent <= tolerancePercent_;
        const bool isBetter = !best_ || (isWithin && (!isWithin_ || hasFewerStates(candidate, *best_))) ||
                              (!isWithin && !isWithin_ && isCloser(candidate, *best_));
        if (isBetter) {
            best_ = std::move(candidate);
            isWithin_ = isWithin;
        }
    }

    /// True if models with at least that many states need not be looked at.
    bool isSettledFor(int states) const { return isWithin_ && states >= statesOf(*best_); }

    const std::optional<Candidate>& best() const { return best_; }
    bool isWithin() const { return isWithin_; }

  private:
    double tolerancePercent_;
    std::optional<Candidate> best_;
    bool isWithin_ = false;
};

}  // namespace

std::vector<Candidate> candidatesOf(const Reduction& reduction, int stableOrder, const Wanted& wanted) {
    std::vector<Candidate> candidates;
    for (ReducedPlant& plant : reduction(stableOrder)) {
        Candidate candidate;
        candidate.stableOrder = stableOrder;
        candidate.curves = LTIFIRModel(plant.model, wanted.curves);
        candidate.plant = std::move(plant);
        candidate.errorPercent =
            wanted.measure.largestPercent(candidate.curves, wanted.curves).value_or(PairError{}).value;
        candidates.push_back(std::move(candidate));
    }
    return candidates;
}

Candidate closestOf(std::vector<Candidate> candidates) {
    return *std::min_element(candidates.begin(), candidates.end(), isCloser);
}

Candidate smallestWithin(double tolerancePercent, const Reduction& reduction, const Forecast& forecast,
                         int highestOrder, const Wanted& wanted, const std::function<void(int stableOrder)>& progress) {
    Choice choice(tolerancePercent);
    std::exception_ptr failure;
    const auto workOut = [&](int order) {
        try {
            for (Candidate& candidate : candidatesOf(reduction, order, wanted)) {
                choice.consider(std::move(candidate));
            }
        } catch (int) {
            failure = std::current_exception();
        } catch (const QorMathLA::xmsg&) {
            failure = std::current_exception();
        }
    };

    std::vector<PassedOver> passedOver;
    for (int order = 0; order <= highestOrder && !choice.isSettledFor(order); ++order) {
        progress(order);
        const std::optional<double> error = forecast(order);
        if (error && *error > forecastMargin * tolerancePercent) {
            passedOver.push_back({*error, order});
        } else {
            workOut(order);
        }
    }
    if (!choice.isWithin()) {
        std::stable_sort(passedOver.begin(), passedOver.end(),
                         [](const PassedOver& one, const PassedOver& other) { return one.error < other.error; });
        for (const PassedOver& next : passedOver) {
            // Past the closest by more than the forecasts can be off, none can be closer.
            if (choice.best() && next.error > forecastMargin * choice.best()->errorPercent) {
                break;
            }
            workOut(next.order);
        }
    }
    if (!choice.best()) {
        std::rethrow_exception(failure);
    }
    return *choice.best();
}

}  // namespace qormath::pipeline
