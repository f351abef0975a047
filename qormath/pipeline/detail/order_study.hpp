#pragma once

#include <functional>
#include <optional>
#include <vector>

#include <qormath/pipeline/detail/order_search.hpp>
#include <qormath/pipeline/reduce.hpp>

namespace qormath::pipeline {

/// Orders from 0 to highest, rising, whose errors make a curve: each of the first ones, from there on wider and wider
/// apart, so that their number is bounded in all practical plants; and those that are marked in it, where they are not
/// above highest. Fewer of them if each is to be worked out instead of forecast.
std::vector<int> ordersToStudy(int highest, const std::vector<int>& marked, bool isForecast);

/// The smallest error of the ways to each of the orders. An order at which a numerical step fails is left out, and so
/// is an error that is not a finite number.
std::vector<ReduceResult::OrderError> studyOrders(const std::vector<int>& stableOrders, const Reduction& reduction,
                                                  const Forecast& forecast, const Wanted& wanted,
                                                  const std::function<void(int done)>& progress);

}  // namespace qormath::pipeline
