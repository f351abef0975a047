// Prints, as Markdown, how every method solves every published Riccati equation.

#include <cstdio>
#include <string>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/riccati_checks.hpp"
#include "support/riccati_files.hpp"

namespace {

using qormath::test::RiccatiEquation;
using qormath::test::RiccatiVerdict;
using qormath::test::solveRiccati;
using QorMathLA::Matrix;

/// The relative residual, and what is to be said of the closed loop if it is not stable.
std::string cell(const RiccatiEquation& equation, Matrix<double> x, bool useInitial, riccatiMethod method) {
    try {
        solveRiccati(equation, x, useInitial, method);
    } catch (int) {
        return "fails";
    }
    const RiccatiVerdict verdict = verdictOn(equation, x);
    char text[32];
    std::snprintf(text, sizeof text, "%.1e", verdict.relative);
    return std::string(text) + (verdict.distance > 0.0 ? "" : ", unstable");
}

void printRow(const RiccatiEquation& equation) {
    const int n = equation.a.rows();
    Matrix<double> start = QorMathLA::zeroMatrix(n, n);
    const std::string direct = cell(equation, start, false, riccatiSchur);
    const std::string refined = cell(equation, start, false, riccatiSchurNewton);
    std::string iterated = "no start";
    if (direct != "fails") {
        Matrix<double> solution = start;
        solveRiccati(equation, solution, false, riccatiSchur);
        iterated = cell(equation, Matrix<double>(solution * 2.0), true, riccatiNewton);
    }
    const std::string random =
        equation.type == discreteSystem ? cell(equation, start, false, riccatiNewton) : std::string("-");
    const std::string& remark = equation.noSolution.empty() ? equation.newtonLoses : equation.noSolution;
    const std::string marked = remark.empty() ? remark : (equation.noSolution.empty() ? "N: " : "D: ") + remark;
    std::printf("| `%s` | %d, %d | %s | %s | %s | %s | %s |\n", equation.name.c_str(), n, equation.b.cols(),
                direct.c_str(), refined.c_str(), iterated.c_str(), random.c_str(), marked.c_str());
}

}  // namespace

int main() {
    std::puts("| Problem | n, m | Direct | Direct, then Newton | Newton from 2 x | Newton from random | Why not |");
    std::puts("|---|---|---|---|---|---|---|");
    for (const RiccatiEquation& equation : qormath::test::publishedRiccatiEquations(QORMATH_RICCATI_DATA)) {
        printRow(equation);
    }
}
