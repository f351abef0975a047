#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include <qormath/pipeline/unit_factors.hpp>

namespace qormath {

namespace {

using QorMathLA::Matrix;
using QorMathLA::Vector;

// Logarithms settle to rounding; a factor that is off by this is right to thirteen digits.
constexpr double settled = 1e-13;
// A chain of pairs that share few inputs settles slowly.
constexpr int mostSteps = 10000;

/// The factors of rows and columns as logarithms, each improved in turn: the least squares of one kind, with the other
/// as it is, are means.
class LogarithmicFit {
  public:
    explicit LogarithmicFit(const Matrix<double>& gain)
        : rows_(static_cast<std::size_t>(gain.rows()), 0.0), cols_(static_cast<std::size_t>(gain.cols()), 0.0) {
        for (int j = 0; j < gain.cols(); ++j) {
            for (int i = 0; i < gain.rows(); ++i) {
                const double element = gain(i, j);
                if (!std::isfinite(element)) {
                    throw -1;
                }
                if (element != 0.0) {
                    pairs_.push_back(
                        {static_cast<std::size_t>(i), static_cast<std::size_t>(j), std::log(std::abs(element))});
                }
            }
        }
    }

    /// One step of each: all rows for the columns as they are, then all columns. The largest change of a column.
    double improve() {
        balance(rows_, cols_, &Pair::row, &Pair::col);
        const std::vector<double> former = cols_;
        balance(cols_, rows_, &Pair::col, &Pair::row);
        double largestChange = 0.0;
        for (std::size_t j = 0; j < cols_.size(); ++j) {
            largestChange = std::max(largestChange, std::abs(cols_[j] - former[j]));
        }
        return largestChange;
    }

    const std::vector<double>& columns() const { return cols_; }

  private:
    struct Pair {
        std::size_t row, col;
        double logarithm;
    };

    /// Gives each line what brings its mean logarithm to 0; 0 to a line without gains.
    void balance(std::vector<double>& lines, const std::vector<double>& others, std::size_t Pair::*line,
                 std::size_t Pair::*other) const {
        std::vector<double> sums(lines.size(), 0.0);
        std::vector<int> counts(lines.size(), 0);
        for (const Pair& pair : pairs_) {
            sums[pair.*line] += pair.logarithm + others[pair.*other];
            ++counts[pair.*line];
        }
        for (std::size_t k = 0; k < lines.size(); ++k) {
            lines[k] = counts[k] == 0 ? 0.0 : -sums[k] / counts[k];
        }
    }

    std::vector<Pair> pairs_;
    std::vector<double> rows_, cols_;
};

}  // namespace

Vector<double> unitFactors(const Matrix<double>& gain) {
    LogarithmicFit fit(gain);
    for (int step = 0; step < mostSteps && fit.improve() > settled; ++step) {
    }
    // Gains as far apart as numbers can be would have factors that no number holds.
    static const double smallest = std::log(std::numeric_limits<double>::min());
    static const double largest = std::log(std::numeric_limits<double>::max());
    Vector<double> factors(gain.cols());
    for (int j = 0; j < gain.cols(); ++j) {
        factors[j] = std::exp(std::clamp(fit.columns()[static_cast<std::size_t>(j)], smallest, largest));
    }
    return factors;
}

}  // namespace qormath
