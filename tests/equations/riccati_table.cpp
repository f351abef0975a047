// Prints, as Markdown, how every method solves every published Riccati equation.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

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

/// The letters that stand for reasons in the table, in the order of their first use.
class Remarks {
  public:
    char letterOf(const std::string& reason) {
        const auto known = std::find(reasons_.begin(), reasons_.end(), reason);
        const auto place = known - reasons_.begin();
        if (known == reasons_.end()) {
            reasons_.push_back(reason);
        }
        return static_cast<char>('a' + place);
    }

    void print() const {
        for (std::size_t k = 0; k < reasons_.size(); ++k) {
            std::printf("- %c: %s\n", static_cast<char>('a' + k), reasons_[k].c_str());
        }
    }

  private:
    std::vector<std::string> reasons_;
};

void printRow(const RiccatiEquation& equation, Remarks& remarks) {
    const int n = equation.a.rows();
    Matrix<double> start = QorMathLA::zeroMatrix(n, n);
    const std::string direct = cell(equation, start, false, riccatiSchur);
    const std::string refined = cell(equation, start, false, riccatiSchurNewton);
    std::string iterated = "-";
    if (direct != "fails") {
        Matrix<double> solution = start;
        solveRiccati(equation, solution, false, riccatiSchur);
        iterated = cell(equation, Matrix<double>(solution * 2.0), true, riccatiNewton);
    }
    const std::string random =
        equation.type == discreteSystem ? cell(equation, start, false, riccatiNewton) : std::string("-");
    const std::string& reason = equation.noSolution.empty() ? equation.newtonLoses : equation.noSolution;
    const std::string letter = reason.empty() ? std::string() : std::string(1, remarks.letterOf(reason));
    std::printf("| `%s` | %d, %d | %s | %s | %s | %s | %s |\n", equation.name.c_str(), n, equation.b.cols(),
                direct.c_str(), refined.c_str(), iterated.c_str(), random.c_str(), letter.c_str());
}

}  // namespace

int main() {
    std::puts("| Problem | n, m | Direct | Direct, Newton | Newton from 2 x | Newton from random | |");
    std::puts("|---|---|---|---|---|---|---|");
    Remarks remarks;
    for (const RiccatiEquation& equation : qormath::test::publishedRiccatiEquations(QORMATH_RICCATI_DATA)) {
        printRow(equation, remarks);
    }
    std::puts("");
    remarks.print();
}
