// Ranks the outputs that two inputs can control, and says what the answer rests on.
//
// The plant is the textbook example of four outputs and two inputs of S. Skogestad, I. Postlethwaite, "Multivariable
// Feedback Control" (1996), on choosing outputs: the largest gains are those of the first two outputs, but the two are
// moved by both inputs nearly alike. The first output with the third, or the fourth, is the better choice. The third
// and the fourth are one and the same measurement, and the two of them no choice at all.

#include <cstdio>

#include <qormath/numerics/qor_svd_analysis.hpp>

namespace {

using QorMathLA::Matrix;
using QorMathLA::QorSVDAnalysis;
using QorMathLA::SVDSubMatrix;
using QorMathLA::Vector;

int rankOutputs() {
    const double columns[] = {10.0, 10.0, 2.0, 2.0, 10.0, 9.0, 1.0, 1.0};
    const Matrix<double> gain(4, 2, columns);
    const Vector<double> unitScaling(Vector<double>(2).filled(1.0));

    const int size = 2;
    const int allResults = 0;
    const bool scaleRows = false;
    const double noLimit = 0.0;
    QorSVDAnalysis analysis(gain, unitScaling, size, allResults, scaleRows, noLimit);
    analysis.computeAnalysis();

    for (const SVDSubMatrix& selection : analysis.getResults()) {
        const Vector<int> rows = selection.getRowIndices();
        std::printf("outputs %d and %d: condition number %.1f, largest relative gain %.1f\n", rows[0] + 1, rows[1] + 1,
                    selection.getConditionNumber(), selection.getRGA());
    }
    return 0;
}

}  // namespace

int main() {
    try {
        return rankOutputs();
    } catch (int) {
        std::fprintf(stderr, "there are too many selections\n");
        return 1;
    }
}
