#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <qormath/core/detail/bounded_text.hpp>
#include <qormath/host/detail/svd_results.hpp>
#include <qormath/host/host_api.h>
#include <qormath/numerics/qor_svd_analysis.hpp>

namespace {

using QorMathLA::Matrix;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;

constexpr auto function = "SVDAnalysis";

void requireArray(const char* what, const void* array, int count) {
    if (count > 0) {
        qormath::core::requirePointer(function, what, array);
    }
}

int elementCount(int nRows, int nCols) {
    if (nRows < 0 || nCols < 0) {
        qormath::core::stopProcess(function, "the gain matrix has %d rows and %d columns, the limit is 0", nRows,
                                   nCols);
    }
    constexpr std::int64_t limit = std::numeric_limits<std::int32_t>::max();
    const std::int64_t elements = std::int64_t{nRows} * nCols;
    if (elements > limit) {
        qormath::core::stopProcess(function, "the gain matrix has %lld elements, the limit is %lld",
                                   static_cast<long long>(elements), static_cast<long long>(limit));
    }
    return static_cast<int>(elements);
}

}  // namespace

namespace qormath::host {

void writeScaledGain(const Matrix<double>& scaledGain, int count, double* target) {
    if (count > 0) {
        std::copy_n(scaledGain.numericData(true), count, target);
    }
}

void sortResults(Vector<SVDSubMatrix>& results) {
    if (results.size() > 0) {
        std::sort(results.numericData(), results.numericData() + results.size());
    }
}

void writeResults(const Vector<SVDSubMatrix>& results, int maxResults, const ResultArrays& arrays) {
    const int shown = std::min(maxResults, results.size());
    requireArray("the array of column indices", arrays.colIndices, shown);
    requireArray("the array of row indices", arrays.rowIndices, shown);
    requireArray("the array of condition numbers", arrays.conditionNumbers, shown);
    requireArray("the array of RGA values", arrays.rgaValues, shown);
    std::size_t next = 0;  // one position for both arrays of indices and all results
    for (int i = 0; i < shown; ++i) {
        const Vector<int> rows = results[i].getRowIndices();
        const Vector<int> cols = results[i].getColIndices();
        arrays.conditionNumbers[i] = results[i].getConditionNumber();
        arrays.rgaValues[i] = results[i].getRGA();
        for (int t = 0; t < rows.size(); ++t, ++next) {
            arrays.colIndices[next] = cols[t];
            arrays.rowIndices[next] = rows[t];
        }
    }
}

}  // namespace qormath::host

extern "C" void SVDAnalysis(int nCols, int nRows, double* gain, double* scaledGain, double* scaling, int paramB,
                            int paramA, int flagValue, double value, int* colIndices, int* rowIndices,
                            double* conditionNumbers, double* rgaValues, int* resultCount, int maxResults) {
    using namespace qormath::host;
    const int elements = elementCount(nRows, nCols);
    requireArray("the gain matrix", gain, elements);
    requireArray("the scaled gain matrix", scaledGain, elements);
    requireArray("the scaling", scaling, nCols);
    qormath::core::requirePointer(function, "the result count", resultCount);

    const Matrix<double> gainMatrix(nRows, nCols, gain, true);
    const Vector<double> scalingVector(nCols, scaling, true);
    QorMathLA::QorSVDAnalysis analysis(gainMatrix, scalingVector, paramA, paramB, flagValue == 1, value);
    analysis.computeAnalysis();
    writeScaledGain(analysis.getScaledGainMatrix(), elements, scaledGain);
    Vector<SVDSubMatrix> results = analysis.getResults();
    sortResults(results);
    writeResults(results, maxResults, {colIndices, rowIndices, conditionNumbers, rgaValues});
    *resultCount = results.size();
}
