#include <qormath/conditioning/detail/precision.hpp>
#include <qormath/conditioning/detail/schur_blocks.hpp>

using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;

namespace qormath::conditioning {

Vector<int> schurBlockFlags(const Matrix<double>& t) {
    const int n = t.rows();
    Vector<int> flags(n);
    flags.fill(0);
    int i = 0;
    while (i < n - 1) {
        if (t(i + 1, i) != 0.0) {
            flags[i] = 1;
            flags[i + 1] = 2;
            i += 2;
        } else {
            ++i;
        }
    }
    return flags;
}

EigenvaluePair eigenvaluesOfBlock(const Matrix<double>& t, int first) {
    const Range rows(first, first + 1, 1);
    Matrix<double> block(t(rows, rows), true);
    Vector<double> re;
    Vector<double> im;
    block.eigenvalues(re, im, eigenvalueIterations);
    return {{re[0], im[0]}, {re[1], im[1]}};
}

Vector<std::complex<double>> eigenvaluesOfSchurForm(const Matrix<double>& t) {
    const int n = t.rows();
    const Vector<int> flags = schurBlockFlags(t);
    Vector<std::complex<double>> eigenvalues(n);
    for (int i = 0; i < n; ++i) {
        if (flags[i] == 0) {
            eigenvalues[i] = {t(i, i), 0.0};
        } else if (flags[i] == 1) {
            const EigenvaluePair pair = eigenvaluesOfBlock(t, i);
            eigenvalues[i] = pair.first;
            eigenvalues[i + 1] = pair.second;
        }
    }
    return eigenvalues;
}

}  // namespace qormath::conditioning
