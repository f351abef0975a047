#include <array>

#include <qormath/core/detail/small_product.hpp>

namespace QorMathLA::detail {

namespace {

/// Columns of c with a number of rows that the compiler knows, so that they stay in registers. The left operand has its
/// columns one after the other.
template <int Rows>
void columns(int n, int k, const double* left, std::ptrdiff_t leftStep, const SmallOperand& right, double* c) {
    for (int j = 0; j < n; ++j) {
        std::array<double, Rows> sum{};
        const double* factor = right.data + j * right.colStep;
        const double* column = left;
        for (int l = 0; l < k; ++l, factor += right.rowStep, column += leftStep) {
            for (std::size_t i = 0; i < Rows; ++i) {
                sum[i] += column[i] * *factor;
            }
        }
        for (std::size_t i = 0; i < Rows; ++i) {
            c[static_cast<std::size_t>(j) * Rows + i] = sum[i];
        }
    }
}

using Columns = void (*)(int, int, const double*, std::ptrdiff_t, const SmallOperand&, double*);
constexpr std::array<Columns, largestSmallOrder> byRows = {columns<1>, columns<2>, columns<3>, columns<4>,
                                                           columns<5>, columns<6>, columns<7>, columns<8>};

}  // namespace

void smallProduct(int m, int n, int k, const SmallOperand& left, const SmallOperand& right, double* c) {
    const Columns kernel = byRows[static_cast<std::size_t>(m - 1)];
    if (left.rowStep == 1) {
        kernel(n, k, left.data, left.colStep, right, c);
        return;
    }
    std::array<double, largestSmallOrder * largestSmallOrder> packed;
    for (int l = 0; l < k; ++l) {
        for (int i = 0; i < m; ++i) {
            packed[static_cast<std::size_t>(l * m + i)] = left.data[i * left.rowStep + l * left.colStep];
        }
    }
    kernel(n, k, packed.data(), m, right, c);
}

}  // namespace QorMathLA::detail
