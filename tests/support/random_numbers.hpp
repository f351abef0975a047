#pragma once

// Random numbers that are the same on every run and on every platform: the engine is fixed by the standard, and the
// transforms are written out, since the distributions of the standard library differ between its makers.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace qormath::test {

/// Number of elements of a packed matrix.
inline std::size_t cells(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

class NormalNumbers {
  public:
    explicit NormalNumbers(std::uint64_t seed) : engine_(seed) {}

    /// Uniform between 0 and 1, neither of which is drawn.
    double uniform() { return (static_cast<double>(engine_() >> 11) + 0.5) * 0x1p-53; }

    double uniform(double low, double high) { return low + (high - low) * uniform(); }

    /// An integer from low to high, both inclusive.
    int integer(int low, int high) {
        const auto choices = static_cast<std::uint64_t>(std::int64_t{high} - low + 1);
        return static_cast<int>(low + static_cast<std::int64_t>(engine_() % choices));
    }

    /// Standard normal distribution (Box and Muller).
    double normal() {
        constexpr double twoPi = 6.283185307179586;
        const double radius = std::sqrt(-2.0 * std::log(uniform()));
        return radius * std::cos(twoPi * uniform());
    }

    /// A packed matrix of standard normal elements.
    std::vector<double> matrix(int rows, int columns) {
        std::vector<double> elements(cells(rows, columns));
        std::generate(elements.begin(), elements.end(), [this] { return normal(); });
        return elements;
    }

  private:
    std::mt19937_64 engine_;
};

}  // namespace qormath::test
