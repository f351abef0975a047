// The kernels of in_place_product.cpp, which includes this once for each kind of processor, in a namespace of its own:
// what allows the instructions of a processor has to stand at each function, and a template cannot choose it.
//
// Before it come QORMATH_KERNEL, which allows them, and three constants: lanes, the numbers of a vector, and
// mostVectors and mostColumns, the size of a tile of the result. The sums of a tile, a column of as many vectors and a
// factor are to fit the registers.

/// Numbers side by side, wherever they stand.
typedef double Numbers __attribute__((vector_size(8 * lanes), aligned(8), may_alias));

constexpr int mostRows = mostVectors * lanes;

/// c := left right; left has the rows of the tile side by side, term by term.
template <int columns, int vectors>
QORMATH_KERNEL void multiplyTile(int terms, const double* left, const double* right, std::ptrdiff_t ldRight, double* c,
                                 std::ptrdiff_t ldc) {
    Numbers sums[columns][vectors];
    QORMATH_UNROLL
    for (int j = 0; j < columns; ++j) {
        QORMATH_UNROLL
        for (int i = 0; i < vectors; ++i) {
            sums[j][i] = Numbers{};
        }
    }
    for (int term = 0; term < terms; ++term, left += vectors * lanes) {
        Numbers elements[vectors];
        QORMATH_UNROLL
        for (int i = 0; i < vectors; ++i) {
            elements[i] = *reinterpret_cast<const Numbers*>(left + i * lanes);
        }
        QORMATH_UNROLL
        for (int j = 0; j < columns; ++j) {
            const double factor = right[term + j * ldRight];
            QORMATH_UNROLL
            for (int i = 0; i < vectors; ++i) {
                sums[j][i] += elements[i] * factor;
            }
        }
    }
    QORMATH_UNROLL
    for (int j = 0; j < columns; ++j) {
        QORMATH_UNROLL
        for (int i = 0; i < vectors; ++i) {
            *reinterpret_cast<Numbers*>(c + j * ldc + i * lanes) = sums[j][i];
        }
    }
}

/// The same for a number of columns that only the caller knows.
template <int columns, int vectors>
QORMATH_KERNEL void multiplyTileOf(int wanted, int terms, const double* left, const double* right,
                                   std::ptrdiff_t ldRight, double* c, std::ptrdiff_t ldc) {
    if constexpr (columns > 1) {
        if (wanted < columns) {
            return multiplyTileOf<columns - 1, vectors>(wanted, terms, left, right, ldRight, c, ldc);
        }
    }
    multiplyTile<columns, vectors>(terms, left, right, ldRight, c, ldc);
}

/// Rows of c, no more than the vectors hold: c := left right with right of terms by columns.
template <int vectors>
QORMATH_KERNEL void multiplyRows(int rows, int columns, int terms, const double* left, const double* right,
                                 std::ptrdiff_t ldRight, double* c, std::ptrdiff_t ldc) {
    constexpr int height = vectors * lanes;
    if constexpr (vectors > 1) {
        if (rows <= height - lanes) {
            return multiplyRows<vectors - 1>(rows, columns, terms, left, right, ldRight, c, ldc);
        }
    }
    for (int column = 0; column < columns;) {
        // Even shares: 10 are 5 and 5.
        const int shares = (columns - column + mostColumns - 1) / mostColumns;
        const int width = (columns - column + shares - 1) / shares;
        const double* const factors = right + column * ldRight;
        double* const target = c + column * ldc;
        if (rows == height) {
            multiplyTileOf<mostColumns, vectors>(width, terms, left, factors, ldRight, target, ldc);
        } else {
            double tile[mostColumns * height];
            multiplyTileOf<mostColumns, vectors>(width, terms, left, factors, ldRight, tile, height);
            for (int j = 0; j < width; ++j) {
                std::copy_n(tile + j * height, rows, target + j * ldc);
            }
        }
        column += width;
    }
}

/// The rows that a tile of so many has in its vectors.
constexpr int paddedRows(int rows) {
    return (rows + lanes - 1) / lanes * lanes;
}

/// Rows of x side by side, column by column, filled up to whole vectors.
QORMATH_KERNEL void packRows(int rows, int columns, const double* x, std::ptrdiff_t ldx, double* target) {
    if (rows == mostRows) {
        for (int column = 0; column < columns; ++column, target += mostRows) {
            for (int i = 0; i < mostRows; i += lanes) {
                *reinterpret_cast<Numbers*>(target + i) = *reinterpret_cast<const Numbers*>(x + column * ldx + i);
            }
        }
        return;
    }
    const int padded = paddedRows(rows);
    for (int column = 0; column < columns; ++column, target += padded) {
        std::copy_n(x + column * ldx, rows, target);
        std::fill(target + rows, target + padded, 0.0);
    }
}

/// x := x v, so many rows of x at a time as a tile has.
QORMATH_KERNEL void multiplyFromRight(int rows, int order, double* x, std::ptrdiff_t ldx, const double* v,
                                      std::ptrdiff_t ldv, double* copy) {
    for (int row = 0; row < rows; row += mostRows) {
        const int height = std::min(mostRows, rows - row);
        packRows(height, order, x + row, ldx, copy);
        multiplyRows<mostVectors>(height, order, order, copy, v, ldv, x + row, ldx);
    }
}

/// x := v' x, so many columns of x at a time as a tile has, with all tiles of v' side by side.
QORMATH_KERNEL void multiplyFromLeft(int order, int columns, double* x, std::ptrdiff_t ldx, const double* v,
                                     std::ptrdiff_t ldv, double* copy) {
    double* const ofColumns = copy + static_cast<std::ptrdiff_t>(paddedRows(order)) * order;
    double* target = copy;
    for (int row = 0; row < order; row += mostRows) {
        const int height = std::min(mostRows, order - row);
        for (int term = 0; term < order; ++term) {
            for (int i = 0; i < paddedRows(height); ++i) {
                *target++ = i < height ? v[term + (row + i) * ldv] : 0.0;
            }
        }
    }
    for (int column = 0; column < columns; column += mostColumns) {
        const int width = std::min(mostColumns, columns - column);
        double* const part = x + column * ldx;
        for (int j = 0; j < width; ++j) {
            std::copy_n(part + j * ldx, order, ofColumns + static_cast<std::ptrdiff_t>(j) * order);
        }
        for (int row = 0; row < order; row += mostRows) {
            multiplyRows<mostVectors>(std::min(mostRows, order - row), width, order,
                                      copy + static_cast<std::ptrdiff_t>(row) * order, ofColumns, order, part + row,
                                      ldx);
        }
    }
}
