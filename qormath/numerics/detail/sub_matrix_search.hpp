#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <qormath/numerics/detail/sub_matrix_measures.hpp>

namespace qormath::numerics {

/// What a search has found, best first in the order of SVDSubMatrix.
struct RankedSelections {
    struct Entry {
        SubMatrixMeasures measures;
        std::size_t slot;  ///< its indices are the order rows and order columns from position 2 order slot on
    };
    std::vector<Entry> entries;
    std::vector<int> indices;
};

/// The order of two entries is that of SVDSubMatrix.
bool comesBefore(const RankedSelections::Entry& a, const RankedSelections::Entry& b, const std::vector<int>& indices,
                 int order);

/// How many k of n there are; the largest number if that is beyond it.
std::uint64_t combinations(int n, int k);

/// The question that a search answers about a matrix: column-major without gaps, finite, of rows by cols.
struct SelectionProblem {
    const double* gain;
    int rows;
    int cols;
    int order;       ///< from 1 to the smaller dimension
    int maxResults;  ///< 0 for all
    double limit;    ///< of the condition number, infinite for none
};

/// The work that a search may do before it gives up; see QorSVDAnalysis for what it comes to. A block of order i that
/// is looked at costs 1 + i^3 / 64, which is about what the time goes by.
inline constexpr std::uint64_t searchBudget = 100'000'000;

/// All selections of the problem that are no worse than its limit, or the first maxResults of them. Throws the int -1
/// once the work is beyond the budget, or before it is begun where nothing can be left out.
RankedSelections searchSelections(const SelectionProblem& problem, std::uint64_t budget = searchBudget);

}  // namespace qormath::numerics
