#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

#include <qormath/lapack/finite.hpp>
#include <qormath/numerics/detail/sub_matrix_search.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>

namespace QorMathLA {

namespace numerics = qormath::numerics;

namespace {

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

}  // namespace

QorSVDAnalysis::QorSVDAnalysis(const Matrix<double>& gain, const Vector<double>& scaling, int size, int maxResults,
                               bool scaleRows, double maxConditionNumber)
    : scaledGain_(scaledGainOf(gain, scaling, scaleRows)),
      size_(std::min(scaledGain_.rows(), scaledGain_.cols())),
      maxResults_(std::max(maxResults, 0)),
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
    const numerics::RankedSelections found =
        numerics::searchSelections({scaledGain_.numericData(true), scaledGain_.rows(), scaledGain_.cols(), size_,
                                    maxResults_, maxConditionNumber_});
    const std::size_t length = 2 * static_cast<std::size_t>(size_);
    const std::size_t count = found.entries.size();
    if (count > static_cast<std::size_t>(std::numeric_limits<int>::max()) / length) {
        throw -1;
    }
    SharedArray<int> indices;
    indices.initialise(static_cast<int>(count * length), nullptr, false);
    Vector<SVDSubMatrix> results(static_cast<int>(count));
    int begin = 0;
    for (int r = 0; r < results.size(); ++r) {
        const numerics::RankedSelections::Entry& entry = found.entries[static_cast<std::size_t>(r)];
        std::copy_n(&found.indices[entry.slot * length], length, indices.data + begin);
        results[r] = SVDSubMatrix(indices, begin, size_, entry.measures.conditionNumber, entry.measures.rga);
        begin += static_cast<int>(length);
    }
    results_ = std::move(results);
}

}  // namespace QorMathLA
