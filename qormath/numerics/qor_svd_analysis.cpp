#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <qormath/lapack/finite.hpp>
#include <qormath/numerics/detail/sub_matrix_measures.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>

namespace QorMathLA {

namespace {

constexpr std::uint64_t candidateBudget = 10'000'000;

void divideRowsByTheirLargestElements(Matrix<double>& gain) {
    for (int i = 0; i < gain.rows(); ++i) {
        VectorSoft<double> row = gain.row(i);
        const double largest = row.maxAbs();
        if (largest > 0.0) {
            for (double& element : row) {
                element /= largest;
            }
        }
    }
}

Matrix<double> scaledGainOf(const Matrix<double>& gain, const Vector<double>& scaling, bool scaleRows) {
    if (gain.rows() < 1 || gain.cols() < 1) {
        return {};
    }
    if (scaling.size() != gain.cols()) {
        throw -1;
    }
    Matrix<double> scaled(gain);
    for (int j = 0; j < scaled.cols(); ++j) {
        for (double& element : scaled.column(j)) {
            element *= scaling[j];
        }
    }
    if (!qormath::lapack::allFinite(scaled.rows(), scaled.cols(), scaled.numericData(true), scaled.storedRows)) {
        throw -1;
    }
    if (scaleRows) {
        divideRowsByTheirLargestElements(scaled);
    }
    return scaled;
}

/// n over k, or the largest number if that is beyond it.
std::uint64_t combinations(int n, int k) {
    constexpr std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t count = 1;
    for (int t = 1; t <= std::min(k, n - k); ++t) {
        const auto factor = static_cast<std::uint64_t>(n - t + 1);
        if (count > limit / factor) {
            return limit;
        }
        count = count * factor / static_cast<std::uint64_t>(t);
    }
    return count;
}

/// The next ascending selection from 0 .. n-1 in the order of words; false after the last one.
bool nextSelection(std::vector<int>& selection, int n) {
    const int k = static_cast<int>(selection.size());
    for (int t = k - 1; t >= 0; --t) {
        if (selection[static_cast<std::size_t>(t)] < n - k + t) {
            int value = selection[static_cast<std::size_t>(t)];
            for (; t < k; ++t) {
                selection[static_cast<std::size_t>(t)] = ++value;
            }
            return true;
        }
    }
    return false;
}

}  // namespace

QorSVDAnalysis::QorSVDAnalysis(const Matrix<double>& gain, const Vector<double>& scaling, int size, int maxResults,
                               bool scaleRows, double maxConditionNumber)
    : scaledGain_(scaledGainOf(gain, scaling, scaleRows)),
      size_(std::min(scaledGain_.rows(), scaledGain_.cols())),
      maxResults_(maxResults),
      maxConditionNumber_(maxConditionNumber > 0.0 ? maxConditionNumber : std::numeric_limits<double>::infinity()) {
    if (size > 0) {
        size_ = std::min(size, size_);
    }
}

void QorSVDAnalysis::computeAnalysis() {
    results_ = Vector<SVDSubMatrix>();
    if (size_ < 1) {
        return;
    }
    const int k = size_;
    const std::uint64_t rowSelections = combinations(scaledGain_.rows(), k);
    const std::uint64_t colSelections = combinations(scaledGain_.cols(), k);
    if (rowSelections > candidateBudget / colSelections) {
        throw -1;
    }
    std::vector<int> rows(static_cast<std::size_t>(k));
    for (int t = 0; t < k; ++t) {
        rows[static_cast<std::size_t>(t)] = t;
    }
    const std::vector<int> first = rows;
    qormath::numerics::SubMatrixMeter meter(k);
    std::vector<double> block(static_cast<std::size_t>(k) * static_cast<std::size_t>(k));
    std::vector<SVDSubMatrix> found;
    do {
        std::vector<int> cols = first;
        do {
            std::size_t next = 0;
            for (const int col : cols) {
                for (const int row : rows) {
                    block[next++] = scaledGain_(row, col);
                }
            }
            const auto measures = meter.measure(block.data());
            if (std::isfinite(measures.conditionNumber) && measures.conditionNumber <= maxConditionNumber_) {
                found.emplace_back(Vector<int>(k, rows.data()), Vector<int>(k, cols.data()), measures.conditionNumber,
                                   measures.rga);
            }
        } while (nextSelection(cols, scaledGain_.cols()));
    } while (nextSelection(rows, scaledGain_.rows()));
    std::sort(found.begin(), found.end());
    if (maxResults_ > 0 && found.size() > static_cast<std::size_t>(maxResults_)) {
        found.resize(static_cast<std::size_t>(maxResults_));
    }
    results_ = Vector<SVDSubMatrix>(static_cast<int>(found.size()), found.data());
}

}  // namespace QorMathLA
