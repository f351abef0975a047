#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <qormath/control_utility/in_place_product.hpp>
#include <qormath/control_utility/quasi_triangular.hpp>
#include <qormath/control_utility/schur_reordering.hpp>
#include <qormath/lapack/lapack.hpp>

namespace qormath::control_utility {

namespace {

using lapack::Op;

// Up to this order single swaps over the whole form are as fast as windows (measured: equal near 130).
constexpr int plainOrder = 128;
// Rows of marked blocks that travel together, and the height of the window they travel in. Twice the group is the
// ratio of fewest flops for each swap; the window's two matrices stay in the second-level cache.
constexpr int groupRows = 32;
constexpr int windowRows = 2 * groupRows;

std::vector<char> marksOfWholeBlocks(const char* selected, int n, const double* t, int ldt) {
    std::vector<char> marks(static_cast<std::size_t>(n), 0);
    for (int row = 0; row < n;) {
        const int size = startsPair(n, t, ldt, row) ? 2 : 1;
        const bool marked = selected[row] != 0 || (size == 2 && selected[row + 1] != 0);
        std::fill_n(marks.begin() + row, size, static_cast<char>(marked));
        row += size;
    }
    return marks;
}

/// Moves the marked blocks to the top by single swaps; top is the number of rows that have arrived there.
int moveMarkedToTop(const char* marks, int n, double* t, int ldt, double* q, int ldq, double* work, int& top) {
    top = 0;
    for (int row = 0; row < n;) {
        const int size = startsPair(n, t, ldt, row) ? 2 : 1;
        if (marks[row]) {
            if (row > top) {
                int first = row + 1;
                int last = top + 1;
                const int info = lapack::trexc(n, t, ldt, q, ldq, first, last, work);
                if (info != 0) {
                    return info;
                }
            }
            top += size;
        }
        row += size;
    }
    return 0;
}

/// Sorts the diagonal blocks of a form by the ranks of their rows, by single swaps over all of it.
int sortPlainly(int* ranks, int n, double* t, int ldt, double* q, int ldq, double* work) {
    for (int top = 0; top < n;) {
        const int best = static_cast<int>(std::min_element(ranks + top, ranks + n) - ranks);
        const int size = startsPair(n, t, ldt, best) ? 2 : 1;
        if (best > top) {
            int first = best + 1;
            int last = top + 1;
            const int info = lapack::trexc(n, t, ldt, q, ldq, first, last, work);
            if (info != 0) {
                return info;
            }
            std::rotate(ranks + top, ranks + best, ranks + best + size);
        }
        top += size;
    }
    return 0;
}

/// The blocked reordering of one form: its matrices, the marks, and the window's own workspace.
class WindowedReordering {
  public:
    WindowedReordering(std::vector<char> marks, int n, double* t, int ldt, int rowsOfQ, double* q, int ldq)
        : marks_(std::move(marks)),
          n_(n),
          t_(t),
          ldt_(ldt),
          rowsOfQ_(rowsOfQ),
          q_(q),
          ldq_(ldq),
          // A window grows by one row where its edge would cut a pair.
          window_(square(windowRows + 1)),
          rotation_(square(windowRows + 1)),
          // Nothing may fail between the window and the rest of the form.
          products_(inPlaceWorkLength(windowRows + 1)),
          work_(static_cast<std::size_t>(windowRows + 1)) {}

    /// Moves the marked blocks to the top; leading is the number of rows that have arrived there.
    int run(int& leading) {
        leading = 0;
        while (true) {
            while (leading < n_ && mark(leading)) {
                ++leading;
            }
            int rows = 0;
            const int end = endOfGroup(leading, rows);
            if (rows == 0) {
                return 0;
            }
            const int info = moveGroup(leading, end);
            if (info != 0) {
                return info;
            }
            leading += rows;
        }
    }

    /// Sorts the blocks by the ranks of their rows, whatever the marks: the lowest ranks that make a group go to the
    /// top and are sorted there, then the next ones below them.
    int sort(std::vector<int> ranks) {
        for (int top = 0; top < n_;) {
            const int highest = highestRankOfGroup({ranks.begin() + top, ranks.end()});
            const auto isMarked = [highest](int rank) { return rank <= highest; };
            std::transform(ranks.begin(), ranks.end(), marks_.begin(), isMarked);
            int rows = 0;
            int info = moveGroup(top, endOfGroup(top, rows));
            if (info != 0) {
                return info;
            }
            std::stable_partition(ranks.begin() + top, ranks.end(), isMarked);
            info = reorderWindow(top, top + rows, [&](int size, double* window, double* rotation) {
                return sortPlainly(ranks.data() + top, size, window, size, rotation, size, work_.data());
            });
            if (info != 0) {
                return info;
            }
            top += rows;
        }
        return 0;
    }

  private:
    static std::size_t square(int order) { return static_cast<std::size_t>(order) * static_cast<std::size_t>(order); }

    bool mark(int row) const { return marks_[static_cast<std::size_t>(row)] != 0; }

    /// One past the last row of the next group of marked blocks at or below begin; rows is the group's size.
    int endOfGroup(int begin, int& rows) const {
        rows = 0;
        int end = begin;
        for (int row = begin; row < n_ && rows < groupRows;) {
            const int size = startsPair(n_, t_, ldt_, row) ? 2 : 1;
            if (mark(row)) {
                rows += size;
                end = row + size;
            }
            row += size;
        }
        return end;
    }

    /// Moves the marked blocks of rows begin to end - 1 up to row begin, window by window from the bottom.
    int moveGroup(int begin, int end) {
        while (true) {
            int top = std::max(begin, end - windowRows);
            if (top > begin && startsPair(n_, t_, ldt_, top - 1)) {
                --top;
            }
            int first = top;
            while (first < end && mark(first)) {
                ++first;
            }
            const int info = moveMarkedInWindow(first, end);
            if (info != 0 || top == begin) {
                return info;
            }
            end = top + static_cast<int>(std::count_if(marks_.begin() + top, marks_.begin() + end,
                                                       [](char marked) { return marked != 0; }));
        }
    }

    /// The highest rank of as many of the lowest ones as make a group.
    static int highestRankOfGroup(std::vector<int> ranks) {
        const auto last = ranks.begin() + std::min(groupRows, static_cast<int>(ranks.size())) - 1;
        std::nth_element(ranks.begin(), last, ranks.end());
        // The next group begins with a pair that would be cut.
        const bool cutsPair = std::find(last + 1, ranks.end(), *last) != ranks.end();
        return cutsPair ? *last - 1 : *last;
    }

    int moveMarkedInWindow(int begin, int end) {
        const int size = end - begin;
        const auto windowMarks = marks_.begin() + begin;
        if (std::find(windowMarks, windowMarks + size, char{1}) == windowMarks + size) {
            return 0;
        }
        return reorderWindow(begin, end, [&](int, double* window, double* rotation) {
            int top = 0;
            const int info =
                moveMarkedToTop(marks_.data() + begin, size, window, size, rotation, size, work_.data(), top);
            if (info == 0) {
                std::fill_n(windowMarks, top, char{1});
                std::fill(windowMarks + top, windowMarks + size, char{0});
            }
            return info;
        });
    }

    /// Has rows begin to end - 1 reordered by order(size, window, rotation), which returns 0 or an error, and takes the
    /// rest of t, and q, along.
    template <typename Order>
    int reorderWindow(int begin, int end, const Order& order) {
        const int size = end - begin;
        double* const corner = t_ + begin + static_cast<std::ptrdiff_t>(begin) * ldt_;
        lapack::lacpy(size, size, corner, ldt_, window_.data(), size);
        lapack::laset(size, size, 0.0, 1.0, rotation_.data(), size);
        const int info = order(size, window_.data(), rotation_.data());
        // What has been swapped before a failure is written back too, so that t and q remain one Schur form.
        lapack::lacpy(size, size, window_.data(), size, corner, ldt_);
        const double* const rotation = rotation_.data();
        multiplyInPlaceFromRight(begin, size, at(t_, ldt_, 0, begin), ldt_, rotation, size, products_);
        if (rowsOfQ_ > 0) {
            multiplyInPlaceFromRight(rowsOfQ_, size, at(q_, ldq_, 0, begin), ldq_, rotation, size, products_);
        }
        if (end < n_) {
            multiplyInPlaceFromLeft(size, n_ - end, at(t_, ldt_, begin, end), ldt_, rotation, size, products_);
        }
        return info;
    }

    std::vector<char> marks_;
    int n_;
    double* t_;
    int ldt_;
    int rowsOfQ_;
    double* q_;
    int ldq_;
    std::vector<double> window_;
    std::vector<double> rotation_;
    std::vector<double> products_;
    std::vector<double> work_;
};

int reorderInWindows(const char* selected, int n, double* t, int ldt, int rowsOfQ, double* q, int ldq, double* wr,
                     double* wi, int& leading) {
    WindowedReordering reordering(marksOfWholeBlocks(selected, n, t, ldt), n, t, ldt, rowsOfQ, q, ldq);
    const int info = reordering.run(leading);
    eigenvaluesOfSchurDiagonal(n, t, ldt, wr, wi);
    return info;
}

}  // namespace

void eigenvaluesOfSchurDiagonal(int n, const double* t, int ldt, double* wr, double* wi) {
    for (int row = 0; row < n;) {
        const double* const corner = t + row + static_cast<std::ptrdiff_t>(row) * ldt;
        wr[row] = corner[0];
        wi[row] = 0.0;
        if (startsPair(n, t, ldt, row)) {
            // Two roots, since the product of the two elements may overflow or underflow.
            wi[row] = std::sqrt(std::abs(corner[1])) * std::sqrt(std::abs(corner[ldt]));
            wr[row + 1] = corner[ldt + 1];
            wi[row + 1] = -wi[row];
            ++row;
        }
        ++row;
    }
}

int reorderSchurFormPlain(const char* selected, int n, double* t, int ldt, double* q, int ldq, double* wr, double* wi,
                          int& leading) {
    const std::vector<char> marks = marksOfWholeBlocks(selected, n, t, ldt);
    std::vector<double> work(static_cast<std::size_t>(n));
    const int info = moveMarkedToTop(marks.data(), n, t, ldt, q, ldq, work.data(), leading);
    eigenvaluesOfSchurDiagonal(n, t, ldt, wr, wi);
    return info;
}

int reorderSchurForm(const char* selected, int n, double* t, int ldt, double* q, int ldq, double* wr, double* wi,
                     int& leading) {
    if (n <= plainOrder) {
        return reorderSchurFormPlain(selected, n, t, ldt, q, ldq, wr, wi, leading);
    }
    return reorderInWindows(selected, n, t, ldt, n, q, ldq, wr, wi, leading);
}

int reorderSchurFormWithRows(const char* selected, int n, double* t, int ldt, int rows, double* z, int ldz, double* wr,
                             double* wi, int& leading) {
    if (n > plainOrder) {
        return reorderInWindows(selected, n, t, ldt, rows, z, ldz, wr, wi, leading);
    }
    const auto order = static_cast<std::size_t>(n);
    const auto count = static_cast<std::size_t>(rows);
    std::vector<double> p(order * order);
    std::vector<double> old(count * order);
    lapack::laset(n, n, 0.0, 1.0, p.data(), n);
    lapack::lacpy(rows, n, z, ldz, old.data(), rows);
    const int info = reorderSchurFormPlain(selected, n, t, ldt, p.data(), n, wr, wi, leading);
    lapack::gemm(Op::none, Op::none, rows, n, n, 1.0, old.data(), rows, p.data(), n, 0.0, z, ldz);
    return info;
}

int sortSchurForm(const int* ranks, int n, double* t, int ldt, double* q, int ldq) {
    std::vector<int> moving(ranks, ranks + n);
    if (n > plainOrder) {
        return WindowedReordering(std::vector<char>(moving.size()), n, t, ldt, n, q, ldq).sort(std::move(moving));
    }
    std::vector<double> work(moving.size());
    return sortPlainly(moving.data(), n, t, ldt, q, ldq, work.data());
}

}  // namespace qormath::control_utility
