#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace qormath::decompositions {

/// Bounds for the norms of powers from those of a few, by A^(i + j) = A^i A^j.
class PowerBounds {
  public:
    PowerBounds() { logNorms_.fill(std::numeric_limits<double>::infinity()); }

    /// The powers are set in rising order.
    void set(int power, double norm) {
        logNorms_[static_cast<std::size_t>(power)] = std::log(norm);
        largest_ = power;
    }

    /// A number whose k-th power is no less than the norm of the matrix's for all k from first on. Far beyond it, one
    /// more factor of the largest known power is taken off at a time.
    double root(int first) const {
        std::vector<double> logs(static_cast<std::size_t>(first + largest_));
        double result = at(largest_) / largest_;
        for (int k = 1; k < first + largest_; ++k) {
            double& bound = logs[static_cast<std::size_t>(k)];
            bound = std::numeric_limits<double>::infinity();
            for (int power = 1; power <= std::min(k, largest_); ++power) {
                bound = std::min(bound, logs[static_cast<std::size_t>(k - power)] + at(power));
            }
            if (k >= first) {
                result = std::max(result, bound / k);
            }
        }
        return std::exp(result);
    }

  private:
    double at(int power) const { return logNorms_[static_cast<std::size_t>(power)]; }

    std::array<double, 13> logNorms_{};
    int largest_ = 0;
};

}  // namespace qormath::decompositions
