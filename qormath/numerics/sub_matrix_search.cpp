// Branch and bound over selections. A k by k sub-matrix S is made of k columns of the matrix, the outer selection C,
// and then of k rows, one after the other in ascending order. (Where there are fewer rows than columns, the matrix is
// transposed for the search.) Let I be the rows chosen so far. Singular values interlace: leaving out rows or columns
// of a matrix lets no singular value grow. Hence
//
//     sigma_max(S) >= sigma_max(A(I, C))
//     sigma_min(S) <= sigma_i(A(I, C)), i the number of rows in I, and sigma_min(S) <= sigma_k(A(:, C)),
//
// and all completions of I are left out once these bound the condition number above the worst that is of use still: the
// limit, or the worst of the results once all places are taken. R. A. Horn, C. R. Johnson, "Topics in Matrix Analysis",
// section 3.1; the manner of the search is that of Y. Cao, V. Kariwala, "Bidirectional branch and bound for controlled
// variable selection: Part I", Computers and Chemical Engineering 32 (2008).
//
// The bounds are squares, from Gram matrices of A(I, C), of which each loses half of the digits; so they carry their
// rounding errors along: a selection is left out where it is worse beyond doubt, and measured everywhere else. Equal
// condition numbers are never decided by a bound.

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include <qormath/numerics/detail/sub_matrix_search.hpp>

namespace qormath::numerics {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double epsilon = std::numeric_limits<double>::epsilon();

/// Beyond this order the eigenvalues of a Gram matrix cost more than they save.
constexpr int largestBoundedOrder = 16;

/// Sums of squares of elements, of a matrix with a largest element of about 1, below which a Gram matrix tells nothing:
/// rotations square its elements once more, and those squares are to be well within the range of numbers.
constexpr double smallestTrustedSquare = 1e-140;

std::size_t index(int i) {
    return static_cast<std::size_t>(i);
}

/// a b, or the largest number if that is beyond it.
std::uint64_t product(std::uint64_t a, std::uint64_t b) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    return b != 0 && a > largest / b ? largest : a * b;
}

/// A result takes some 100 bytes, from here to the caller's copy.
constexpr std::uint64_t costOfResult = 19;

/// An outer selection is held until its turn comes, and has a Gram matrix over all rows.
constexpr std::uint64_t costOfOuterSelection = 63;

std::uint64_t costOf(int order) {
    const auto n = static_cast<std::uint64_t>(order);
    return 1 + n * n * n / 64;
}

class Search {
  public:
    Search(const SelectionProblem& problem, std::uint64_t budget);

    RankedSelections run();

  private:
    struct OuterSelection {
        std::vector<int> members;
        double largestSquare;   // sigma_max(S)^2 is at least this
        double smallestSquare;  // sigma_min(S)^2 is at most this
        double promise;         // the squared reciprocal condition number of all its columns
    };

    void takeCopy();
    void requireAffordableEnumeration() const;
    void spend(std::uint64_t cost);

    void listOuterSelections(std::vector<int>& members, int first);
    OuterSelection bounded(const std::vector<int>& members);
    void searchRowsFor(const OuterSelection& outer);
    void extend(const OuterSelection& outer, int count, int first);
    bool isHopeless(const OuterSelection& outer, int count);
    void consider(const OuterSelection& outer);
    void keep(const SubMatrixMeasures& measures, const std::vector<int>& rows, const std::vector<int>& cols);
    bool isFull() const { return problem_.maxResults > 0 && found_.entries.size() == index(problem_.maxResults); }

    bool isBeyondUse(double largestSquare, double smallestSquare) const;
    double useful() const;
    double element(int row, int col) const { return matrix_[index(col) * index(rows_) + index(row)]; }

    SelectionProblem problem_;
    std::uint64_t budget_;
    std::uint64_t spent_ = 0;
    int k_;
    bool isTransposed_;  // the selections of rows here are those of columns of the problem
    int rows_, cols_;
    std::vector<double> matrix_;      // times a power of 2 that makes its largest element about 1
    std::vector<bool> isZeroColumn_;  // which makes every selection singular
    std::vector<double> sumOfLeast_;  // of each column: the sum of its k smallest squares
    double relativeError_;            // of the eigenvalues of a Gram matrix, beside the largest of them

    std::vector<OuterSelection> outers_;
    std::vector<double> products_;  // rows_ by rows_, A(:, C) A(:, C)', of the outer selection at work
    std::vector<double> gram_;
    std::vector<int> usableRows_;  // those that are not zero in the outer selection at work
    std::vector<int> chosenRows_;

    SubMatrixMeter meter_;
    std::vector<double> block_;
    RankedSelections found_;
    std::size_t freeSlot_ = 0;
};

Search::Search(const SelectionProblem& problem, std::uint64_t budget)
    : problem_(problem),
      budget_(budget),
      k_(problem.order),
      isTransposed_(problem.rows < problem.cols),
      rows_(std::max(problem.rows, problem.cols)),
      cols_(std::min(problem.rows, problem.cols)),
      matrix_(index(rows_) * index(cols_)),
      relativeError_(64.0 * k_ * k_ * epsilon),
      gram_(index(k_) * index(k_)),
      chosenRows_(index(k_)),
      meter_(k_),
      block_(index(k_) * index(k_)) {
    products_.resize(index(rows_) * index(rows_));
    takeCopy();
    std::vector<double> squares(index(rows_));
    for (int j = 0; j < cols_; ++j) {
        const double* const column = &matrix_[index(j) * index(rows_)];
        isZeroColumn_.push_back(std::all_of(column, column + rows_, [](double x) { return x == 0.0; }));
        std::transform(column, column + rows_, squares.begin(), [](double x) { return x * x; });
        std::ranges::sort(squares);
        sumOfLeast_.push_back(std::accumulate(squares.begin(), squares.begin() + k_, 0.0));
    }
}

void Search::takeCopy() {
    double largest = 0.0;
    for (std::size_t p = 0; p < matrix_.size(); ++p) {
        largest = std::max(largest, std::abs(problem_.gain[p]));
    }
    const int exponent = largest == 0.0 ? 0 : std::ilogb(largest);
    for (int j = 0; j < problem_.cols; ++j) {
        for (int i = 0; i < problem_.rows; ++i) {
            const double value = std::scalbn(problem_.gain[index(j) * index(problem_.rows) + index(i)], -exponent);
            matrix_[isTransposed_ ? index(i) * index(rows_) + index(j) : index(j) * index(rows_) + index(i)] = value;
        }
    }
}

RankedSelections Search::run() {
    requireAffordableEnumeration();
    std::vector<int> members;
    listOuterSelections(members, 0);
    // The best conditioned columns first: among them are the selections that show how little the others are worth.
    std::ranges::stable_sort(outers_, std::ranges::greater(), &OuterSelection::promise);
    for (const OuterSelection& outer : outers_) {
        if (!isBeyondUse(outer.largestSquare, outer.smallestSquare)) {
            searchRowsFor(outer);
        }
    }
    std::ranges::sort(found_.entries, [this](const RankedSelections::Entry& a, const RankedSelections::Entry& b) {
        return comesBefore(a, b, found_.indices, k_);
    });
    return std::move(found_);
}

/// Without a limit, and with a place for each candidate, nothing can be left out.
void Search::requireAffordableEnumeration() const {
    const std::uint64_t candidates = product(combinations(rows_, k_), combinations(cols_, k_));
    const bool hasPlacesForAll =
        problem_.maxResults == 0 || static_cast<std::uint64_t>(problem_.maxResults) >= candidates;
    if (problem_.limit == infinity && hasPlacesForAll && product(candidates, costOf(k_) + costOfResult) > budget_) {
        throw -1;
    }
}

void Search::spend(std::uint64_t cost) {
    if (cost > budget_ - spent_) {
        throw -1;
    }
    spent_ += cost;
}

void Search::listOuterSelections(std::vector<int>& members, int first) {
    const int count = static_cast<int>(members.size());
    if (count > 0) {
        OuterSelection outer = bounded(members);
        if (isBeyondUse(outer.largestSquare, outer.smallestSquare)) {
            return;
        }
        if (count == k_) {
            outers_.push_back(std::move(outer));
            return;
        }
    }
    for (int col = first; col <= cols_ - (k_ - count); ++col) {
        if (isZeroColumn_[index(col)]) {
            continue;
        }
        members.push_back(col);
        listOuterSelections(members, col + 1);
        members.pop_back();
    }
}

Search::OuterSelection Search::bounded(const std::vector<int>& members) {
    const int count = static_cast<int>(members.size());
    spend(costOfOuterSelection + costOf(count));
    OuterSelection outer{members, 0.0, infinity, 0.0};
    for (const int col : members) {
        outer.largestSquare = std::max(outer.largestSquare, sumOfLeast_[index(col)]);
    }
    if (count > largestBoundedOrder) {
        return outer;
    }
    for (int q = 0; q < count; ++q) {
        for (int p = 0; p < count; ++p) {
            const double* const left = &matrix_[index(members[index(p)]) * index(rows_)];
            const double* const right = &matrix_[index(members[index(q)]) * index(rows_)];
            gram_[index(q) * index(count) + index(p)] = std::inner_product(left, left + rows_, right, 0.0);
        }
    }
    const EigenvalueRange range = symmetricEigenvalueRange(gram_.data(), count);
    if (range.largest > smallestTrustedSquare) {
        outer.smallestSquare = std::max(range.smallest, 0.0) + relativeError_ * range.largest;
        outer.promise = outer.smallestSquare / range.largest;
    }
    return outer;
}

void Search::searchRowsFor(const OuterSelection& outer) {
    std::fill(products_.begin(), products_.end(), 0.0);
    for (const int col : outer.members) {
        for (int j = 0; j < rows_; ++j) {
            for (int i = 0; i < rows_; ++i) {
                products_[index(j) * index(rows_) + index(i)] += element(i, col) * element(j, col);
            }
        }
    }
    usableRows_.clear();
    for (int row = 0; row < rows_; ++row) {
        if (std::ranges::any_of(outer.members, [&](int col) { return element(row, col) != 0.0; })) {
            usableRows_.push_back(row);
        }
    }
    extend(outer, 0, 0);
}

/// Adds rows to the first count that are chosen, all of them usable ones from number first on.
void Search::extend(const OuterSelection& outer, int count, int first) {
    const int end = static_cast<int>(usableRows_.size()) - (k_ - count - 1);
    for (int next = first; next < end; ++next) {
        chosenRows_[index(count)] = usableRows_[index(next)];
        if (count + 1 == k_) {
            consider(outer);
        } else if (!isHopeless(outer, count + 1)) {
            extend(outer, count + 1, next + 1);
        }
    }
}

bool Search::isHopeless(const OuterSelection& outer, int count) {
    spend(costOf(count));
    if (useful() == infinity || count > largestBoundedOrder) {
        return false;
    }
    for (int q = 0; q < count; ++q) {
        for (int p = 0; p < count; ++p) {
            gram_[index(q) * index(count) + index(p)] =
                products_[index(chosenRows_[index(q)]) * index(rows_) + index(chosenRows_[index(p)])];
        }
    }
    const EigenvalueRange range = symmetricEigenvalueRange(gram_.data(), count);
    const double smallest = std::max(range.smallest, 0.0) + relativeError_ * range.largest;
    return isBeyondUse(range.largest * (1.0 - relativeError_), std::min(smallest, outer.smallestSquare));
}

/// True if no selection with these bounds can be a result.
bool Search::isBeyondUse(double largestSquare, double smallestSquare) const {
    const double worst = useful();
    if (worst == infinity || largestSquare < smallestTrustedSquare) {
        return false;
    }
    // Measured condition numbers have relative errors of this times themselves.
    const double ofMeasure = 64.0 * k_ * k_ * k_ * epsilon;
    const double doubtless = worst * (1.0 + 1e-9 + ofMeasure * worst);
    return largestSquare > doubtless * doubtless * smallestSquare;
}

/// The largest condition number that a further result may have.
double Search::useful() const {
    return isFull() ? std::min(problem_.limit, found_.entries.front().measures.conditionNumber) : problem_.limit;
}

void Search::consider(const OuterSelection& outer) {
    spend(costOf(k_));
    const std::vector<int>& rows = isTransposed_ ? outer.members : chosenRows_;
    const std::vector<int>& cols = isTransposed_ ? chosenRows_ : outer.members;
    std::size_t next = 0;
    for (const int col : cols) {
        for (const int row : rows) {
            block_[next++] = problem_.gain[index(col) * index(problem_.rows) + index(row)];
        }
    }
    const SubMatrixMeasures measures = meter_.measure(block_.data());
    if (measures.conditionNumber < infinity && measures.conditionNumber <= useful()) {
        keep(measures, rows, cols);
    }
}

/// Gives the selection a place, if need be that of the worst result, unless it is worse than that.
void Search::keep(const SubMatrixMeasures& measures, const std::vector<int>& rows, const std::vector<int>& cols) {
    const auto worstLast = [this](const RankedSelections::Entry& a, const RankedSelections::Entry& b) {
        return comesBefore(a, b, found_.indices, k_);
    };
    const std::size_t length = 2 * index(k_);
    if (freeSlot_ * length == found_.indices.size()) {
        spend(costOfResult);
        found_.indices.resize(found_.indices.size() + length);
    }
    const auto place = found_.indices.begin() + static_cast<std::ptrdiff_t>(freeSlot_ * length);
    std::ranges::copy(cols, std::ranges::copy(rows, place).out);
    const RankedSelections::Entry entry{measures, freeSlot_};
    if (!isFull()) {
        found_.entries.push_back(entry);
        freeSlot_ = found_.entries.size();
        if (problem_.maxResults > 0) {
            std::ranges::push_heap(found_.entries, worstLast);
        }
    } else if (worstLast(entry, found_.entries.front())) {
        std::ranges::pop_heap(found_.entries, worstLast);
        freeSlot_ = found_.entries.back().slot;
        found_.entries.back() = entry;
        std::ranges::push_heap(found_.entries, worstLast);
    }
}

}  // namespace

bool comesBefore(const RankedSelections::Entry& a, const RankedSelections::Entry& b, const std::vector<int>& indices,
                 int order) {
    if (a.measures.conditionNumber != b.measures.conditionNumber) {
        return a.measures.conditionNumber < b.measures.conditionNumber;
    }
    if (a.measures.rga != b.measures.rga) {
        return a.measures.rga < b.measures.rga;
    }
    // Rows and columns stand one after the other and all lists are of one length, so that they are compared as one.
    const std::size_t length = 2 * index(order);
    const int* const mine = indices.data() + a.slot * length;
    const int* const others = indices.data() + b.slot * length;
    return std::lexicographical_compare(mine, mine + length, others, others + length);
}

std::uint64_t combinations(int n, int k) {
    std::uint64_t count = 1;
    for (int t = 1; t <= std::min(k, n - k); ++t) {
        // Of count * (n - t + 1) / t, which is whole, the part that count shares with t goes first.
        const auto divisor = static_cast<std::uint64_t>(t);
        const std::uint64_t shared = std::gcd(count, divisor);
        count = product(count / shared, static_cast<std::uint64_t>(n - t + 1) / (divisor / shared));
    }
    return count;
}

RankedSelections searchSelections(const SelectionProblem& problem, std::uint64_t budget) {
    return Search(problem, budget).run();
}

}  // namespace qormath::numerics
