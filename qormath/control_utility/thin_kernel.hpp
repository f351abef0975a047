// The kernel of thin_products.cpp, which includes this once for each kind of processor, in a namespace of its own: what
// allows the instructions of a processor has to stand at each function, and a template cannot choose it.
//
// Before it come QORMATH_KERNEL, which allows them, and two constants: lanes, the numbers of a vector, and mostColumns,
// the columns of c that are summed side by side. With two vectors of rows the sums are to fit the registers.

/// Numbers side by side, wherever they stand.
typedef double Numbers __attribute__((vector_size(8 * lanes), aligned(8), may_alias));

/// Columns of a between two visits of the same rows of c. Each is a stream of its own from the memory.
constexpr int panelWidth = 24;

/// How far below the rows in work a column is asked for: four lines of 64 bytes.
constexpr std::ptrdiff_t rowsAhead = 32;

/// The sum for as many vectors of rows of c.
template <int columns, int vectors>
QORMATH_KERNEL void addRows(int terms, const Operands& o) {
    // Each panel is summed by itself: one sum that goes on over all of them would gather more rounding.
    Numbers sums[columns][vectors];
    QORMATH_UNROLL
    for (int j = 0; j < columns; ++j) {
        QORMATH_UNROLL
        for (int i = 0; i < vectors; ++i) {
            sums[j][i] = Numbers{};
        }
    }
    for (int term = 0; term < terms; ++term) {
        const double* const a = o.a + term * o.lda;
        const double* const b = o.b + term * o.ldb;
        __builtin_prefetch(a + o.ahead);
        Numbers elements[vectors];
        QORMATH_UNROLL
        for (int i = 0; i < vectors; ++i) {
            elements[i] = *reinterpret_cast<const Numbers*>(a + i * lanes);
        }
        QORMATH_UNROLL
        for (int j = 0; j < columns; ++j) {
            QORMATH_UNROLL
            for (int i = 0; i < vectors; ++i) {
                sums[j][i] += elements[i] * b[j];
            }
        }
    }
    QORMATH_UNROLL
    for (int j = 0; j < columns; ++j) {
        QORMATH_UNROLL
        for (int i = 0; i < vectors; ++i) {
            *reinterpret_cast<Numbers*>(o.c + j * o.ldc + i * lanes) += sums[j][i];
        }
    }
}

/// The same for a number of columns that only the caller knows.
template <int columns, int vectors>
QORMATH_KERNEL void addRowsOf(int wanted, int terms, const Operands& o) {
    if constexpr (columns > 1) {
        if (wanted < columns) {
            return addRowsOf<columns - 1, vectors>(wanted, terms, o);
        }
    }
    addRows<columns, vectors>(terms, o);
}

/// The same for all columns of c.
template <int vectors>
QORMATH_KERNEL void addRowsOfAllColumns(int n, int terms, Operands o) {
    for (int rest = n; rest > 0;) {
        // Even shares: 6 are 3 and 3.
        const int shares = (rest + mostColumns - 1) / mostColumns;
        const int columns = (rest + shares - 1) / shares;
        addRowsOf<mostColumns, vectors>(columns, terms, o);
        rest -= columns;
        o.b += columns;
        o.c += columns * o.ldc;
    }
}

/// One row.
QORMATH_KERNEL void addRow(int n, int terms, const Operands& o) {
    for (int j = 0; j < n; ++j) {
        double sum = 0.0;
        for (int term = 0; term < terms; ++term) {
            sum += o.a[term * o.lda] * o.b[term * o.ldb + j];
        }
        o.c[j * o.ldc] += sum;
    }
}

QORMATH_KERNEL void addProduct(int m, int n, int k, const Operands& all) {
    for (int first = 0; first < k; first += panelWidth) {
        const int width = std::min(panelWidth, k - first);
        Operands o = all;
        o.a += first * o.lda;
        o.b += first * o.ldb;
        std::ptrdiff_t row = 0;
        for (; row + 2 * lanes <= m; row += 2 * lanes, o.a += 2 * lanes, o.c += 2 * lanes) {
            o.ahead = std::min<std::ptrdiff_t>(rowsAhead, m - 1 - row);
            addRowsOfAllColumns<2>(n, width, o);
        }
        o.ahead = 0;
        for (; row + lanes <= m; row += lanes, o.a += lanes, o.c += lanes) {
            addRowsOfAllColumns<1>(n, width, o);
        }
        for (; row < m; ++row, ++o.a, ++o.c) {
            addRow(n, width, o);
        }
    }
}
