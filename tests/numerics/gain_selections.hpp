#pragma once

// Results of QorSVDAnalysis: written out, and found by measuring every selection.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <qormath/numerics/detail/sub_matrix_measures.hpp>
#include <qormath/numerics/qor_svd_analysis.hpp>

namespace qormath::test {

inline QorMathLA::Vector<double> ones(int length) {
    return QorMathLA::Vector<double>(length).filled(1.0);
}

inline std::vector<int> listed(const QorMathLA::Vector<int>& v) {
    std::vector<int> list;
    for (const int value : v) {
        list.push_back(value);
    }
    return list;
}

/// "rows 0 1 cols 2 3 condition 2 rga 1", with the shortest digits that tell the numbers apart.
inline std::string describe(const QorMathLA::SVDSubMatrix& result) {
    std::string text = "rows";
    for (const int row : result.getRowIndices()) {
        text += " " + std::to_string(row);
    }
    text += " cols";
    for (const int col : result.getColIndices()) {
        text += " " + std::to_string(col);
    }
    char numbers[80];
    std::snprintf(numbers, sizeof numbers, " condition %.17g rga %.17g", result.getConditionNumber(), result.getRGA());
    return text + numbers;
}

inline std::vector<std::string> described(const QorMathLA::Vector<QorMathLA::SVDSubMatrix>& results) {
    std::vector<std::string> texts;
    for (const QorMathLA::SVDSubMatrix& result : results) {
        texts.push_back(describe(result));
    }
    return texts;
}

/// Of a gain without scaling.
inline QorMathLA::Vector<QorMathLA::SVDSubMatrix> resultsOf(const QorMathLA::Matrix<double>& gain, int size,
                                                            int maxResults = 0, double limit = 0.0) {
    QorMathLA::QorSVDAnalysis analysis(gain, ones(gain.cols()), size, maxResults, false, limit);
    analysis.computeAnalysis();
    return analysis.getResults();
}

/// All ascending selections of size out of count, by the bits of a counter; count is below 32.
inline std::vector<QorMathLA::Vector<int>> selectionsOf(int count, int size) {
    std::vector<QorMathLA::Vector<int>> selections;
    for (std::uint32_t bits = 0; bits < 1U << static_cast<unsigned>(count); ++bits) {
        if (std::popcount(bits) == size) {
            QorMathLA::Vector<int> selection(size);
            int next = 0;
            for (int i = 0; i < count; ++i) {
                if ((bits >> static_cast<unsigned>(i) & 1U) != 0) {
                    selection[next++] = i;
                }
            }
            selections.push_back(selection);
        }
    }
    return selections;
}

/// What the analysis has to find without a limit, from measuring every selection and sorting the results.
inline std::vector<QorMathLA::SVDSubMatrix> measureAll(const QorMathLA::Matrix<double>& gain, int size) {
    numerics::SubMatrixMeter meter(size);
    std::vector<double> block(static_cast<std::size_t>(size) * static_cast<std::size_t>(size));
    std::vector<QorMathLA::SVDSubMatrix> results;
    const std::vector<QorMathLA::Vector<int>> colSelections = selectionsOf(gain.cols(), size);
    for (const QorMathLA::Vector<int>& rows : selectionsOf(gain.rows(), size)) {
        for (const QorMathLA::Vector<int>& cols : colSelections) {
            std::size_t next = 0;
            for (const int col : cols) {
                for (const int row : rows) {
                    block[next++] = gain(row, col);
                }
            }
            const numerics::SubMatrixMeasures measures = meter.measure(block.data());
            if (std::isfinite(measures.conditionNumber)) {
                results.emplace_back(rows, cols, measures.conditionNumber, measures.rga);
            }
        }
    }
    std::sort(results.begin(), results.end());
    return results;
}

/// The first of the sorted results, as a limit and a number of results leave them.
inline std::vector<QorMathLA::SVDSubMatrix> firstOf(std::vector<QorMathLA::SVDSubMatrix> results, int maxResults,
                                                    double limit) {
    if (limit > 0.0) {
        std::erase_if(results, [limit](const auto& result) { return result.getConditionNumber() > limit; });
    }
    if (maxResults > 0 && results.size() > static_cast<std::size_t>(maxResults)) {
        results.resize(static_cast<std::size_t>(maxResults));
    }
    return results;
}

}  // namespace qormath::test
