#include <algorithm>
#include <cstddef>
#include <utility>

#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/singular_factors.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

// Squares of elements within these, and sums of them, are numbers.
constexpr double smallestSafe = 0x1p-400;
constexpr double largestSafe = 0x1p400;

// Columns that the blocked reflectors of LAPACK take at a time, at most.
constexpr std::size_t reflectorColumns = 64;

// What ormbr asks for beside the columns: room for the triangular factors of the blocks.
constexpr std::size_t reflectorRoom = 65 * 64;

std::size_t square(int n) {
    return static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
}

template <class Method>
int withBestLength(std::vector<double>& work, const Method& method) {
    work.assign(1, 0.0);
    const int info = method(-1);
    if (info != 0) {
        return info;
    }
    work.resize(static_cast<std::size_t>(std::max(1.0, work[0])));
    return method(static_cast<int>(work.size()));
}

}  // namespace

bool SingularFactors::decompose(int n, std::vector<double> x, Route route) {
    n_ = n;
    const double largest = largestElement(n, n, x.data(), n);
    if (route == Route::asAsked && largest >= smallestSafe && largest <= largestSafe) {
        reflectors_ = x;
        if (decomposeBidiagonal()) {
            return true;
        }
    }
    return decomposeAtOnce(std::move(x));
}

bool SingularFactors::decomposeBidiagonal() {
    const auto order = static_cast<std::size_t>(n_);
    whole_ = false;
    tauq_.resize(order);
    taup_.resize(order);
    values_.resize(order);
    u_.resize(square(n_));
    vt_.resize(square(n_));
    std::vector<double> e(order);
    std::vector<double> work(3 * square(n_) + 4 * order + reflectorColumns * order);
    std::vector<int> indices(8 * order);
    return lapack::gebrd(n_, reflectors_.data(), n_, values_.data(), e.data(), tauq_.data(), taup_.data(), work.data(),
                         static_cast<int>(work.size())) == 0 &&
           lapack::bdsdc(n_, values_.data(), e.data(), u_.data(), n_, vt_.data(), n_, work.data(), indices.data()) == 0;
}

bool SingularFactors::decomposeAtOnce(std::vector<double> x) {
    whole_ = true;
    values_.assign(static_cast<std::size_t>(n_), 0.0);
    u_.assign(square(n_), 0.0);
    vt_.assign(square(n_), 0.0);
    std::vector<double> copy = x;
    std::vector<int> indices(static_cast<std::size_t>(n_) * 8);
    std::vector<double> work;
    const auto divide = [&](int length) {
        return lapack::gesdd('A', n_, n_, copy.data(), n_, values_.data(), u_.data(), n_, vt_.data(), n_, work.data(),
                             length, indices.data());
    };
    const auto iterate = [&](int length) {
        return lapack::gesvd('A', 'A', n_, n_, copy.data(), n_, values_.data(), u_.data(), n_, vt_.data(), n_,
                             work.data(), length);
    };
    int info = withBestLength(work, divide);
    if (info > 0) {
        copy = std::move(x);
        info = withBestLength(work, iterate);
    }
    return info == 0;
}

std::vector<double> SingularFactors::turned(char which, int k, const std::vector<double>& tau,
                                            std::vector<double> vectors) const {
    if (!whole_) {
        std::vector<double> work(static_cast<std::size_t>(k) * reflectorColumns + reflectorRoom);
        lapack::ormbr(which, n_, k, reflectors_.data(), n_, tau.data(), vectors.data(), n_, work.data(),
                      static_cast<int>(work.size()));
    }
    return vectors;
}

std::vector<double> SingularFactors::left(int k) const {
    const auto count = static_cast<std::size_t>(n_) * static_cast<std::size_t>(k);
    return turned('Q', k, tauq_, std::vector<double>(u_.begin(), u_.begin() + static_cast<std::ptrdiff_t>(count)));
}

std::vector<double> SingularFactors::right(int k) const {
    std::vector<double> vectors(static_cast<std::size_t>(n_) * static_cast<std::size_t>(k));
    for (int row = 0; row < n_; ++row) {
        for (int column = 0; column < k; ++column) {
            *at(vectors.data(), n_, row, column) = *at(vt_.data(), n_, column, row);
        }
    }
    return turned('P', k, taup_, std::move(vectors));
}

}  // namespace qormath::control_utility
