#include <algorithm>
#include <cmath>
#include <optional>

#include <qormath/core/xmsg.hpp>
#include <qormath/pipeline/detail/order_study.hpp>

namespace qormath::pipeline {

namespace {

// Each order up to here is studied, and from there on every one that is larger by this part: 80 orders for 400 states
// where they are forecast, 20 where each has to be worked out.
constexpr int denseIfForecast = 40;
constexpr int denseIfWorkedOut = 8;
constexpr double stepIfForecast = 0.05;
constexpr double stepIfWorkedOut = 0.3;

std::optional<double> workedOut(int order, const Reduction& reduction, const Wanted& wanted) {
    try {
        return closestOf(candidatesOf(reduction, order, wanted)).errorPercent;
    } catch (int) {
        return {};
    } catch (const QorMathLA::xmsg&) {
        return {};
    }
}

}  // namespace

std::vector<int> ordersToStudy(int highest, const std::vector<int>& marked, bool isForecast) {
    const int dense = isForecast ? denseIfForecast : denseIfWorkedOut;
    const double step = isForecast ? stepIfForecast : stepIfWorkedOut;
    std::vector<int> orders;
    for (int order = 0; order < highest; order += order < dense ? 1 : static_cast<int>(std::ceil(order * step))) {
        orders.push_back(order);
    }
    orders.push_back(highest);
    for (const int order : marked) {
        if (order >= 0 && order <= highest) {
            orders.push_back(order);
        }
    }
    std::sort(orders.begin(), orders.end());
    orders.erase(std::unique(orders.begin(), orders.end()), orders.end());
    return orders;
}

std::vector<ReduceResult::OrderError> studyOrders(const std::vector<int>& stableOrders, const Reduction& reduction,
                                                  const Forecast& forecast, const Wanted& wanted,
                                                  const std::function<void(int done)>& progress) {
    std::vector<ReduceResult::OrderError> errors;
    int done = 0;
    for (const int order : stableOrders) {
        progress(done++);
        std::optional<double> error = forecast(order);
        if (!error) {
            error = workedOut(order, reduction, wanted);
        }
        if (error && std::isfinite(*error)) {
            errors.push_back({order, *error});
        }
    }
    return errors;
}

}  // namespace qormath::pipeline
