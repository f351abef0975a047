// The published collections of algebraic Riccati equations, problem by problem.

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/arithmetic.hpp>

#include "support/failures.hpp"
#include "support/matrix_compare.hpp"
#include "support/riccati_checks.hpp"
#include "support/riccati_files.hpp"

namespace {

using namespace qormath::test;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using QorMathLA::zeroMatrix;

// The ratio that residuals are held to; see riccatiRatio.
constexpr double ratioLimit = 20.0;

TEST(PublishedRiccati, CollectionIsThere) {
    EXPECT_EQ(readRiccatiFolder(QORMATH_RICCATI_DATA).size(), 30u);
    const auto sameEquation = [](const RiccatiEquation& made, const std::string& file) {
        const RiccatiEquation read = readRiccati(std::filesystem::path(QORMATH_RICCATI_DATA) / (file + ".json"));
        const auto same = [](const Matrix<double>& one, const Matrix<double>& other) {
            return frobeniusNorm(differenceOf(one, other)) <= 4.0 * unitRoundoff * frobeniusNorm(other);
        };
        EXPECT_TRUE(same(made.a, read.a) && same(made.b, read.b) && same(made.q, read.q) && same(made.r, read.r) &&
                    same(made.s, read.s))
            << file;
        EXPECT_EQ(made.type, read.type);
    };
    sameEquation(carex21(1e-6), "carex_2_01");
    sameEquation(carex22(1e-8), "carex_2_02");
    sameEquation(carex23(1e6), "carex_2_03");
    sameEquation(carex24(1e-7), "carex_2_04");
    sameEquation(carex25(0.0), "carex_2_05");
    sameEquation(carex26(1e6), "carex_2_06");
    sameEquation(carex28(1.0), "carex_2_08_easy");
    sameEquation(carex31(20), "carex_3_01");
    sameEquation(carex32(64), "carex_3_02");
    sameEquation(carex41(21), "carex_4_01");
    sameEquation(carex43(30), "carex_4_03");
    sameEquation(darex21(1e6), "darex_2_01");
    sameEquation(darex22(1e6), "darex_2_02");
    sameEquation(darex23(1e6), "darex_2_03");
    sameEquation(darex25(1e8), "darex_2_05");
    sameEquation(darex41(100), "darex_4_01");
}

/// The collections in one test: a process for each problem would read all the files again.
const std::vector<RiccatiEquation>& allProblems() {
    static const std::vector<RiccatiEquation> problems = publishedRiccatiEquations(QORMATH_RICCATI_DATA);
    return problems;
}

double conditionOf(const Matrix<double>& r) {
    Vector<double> values;
    Matrix<double> unused;
    svdCopy(r, values, unused, 0, false);
    return values[values.size() - 1] > 0.0 ? values[0] / values[values.size() - 1] : 1.0;
}

void expectSolvedDirectlyOrRefused(const RiccatiEquation& e) {
    const int n = e.a.rows();
    Matrix<double> x = zeroMatrix(n, n);
    if (!e.noSolution.empty()) {
        expectMinusOne([&] { solveRiccati(e, x, false, riccatiSchur); });
        return;
    }
    solveRiccati(e, x, false, riccatiSchur);
    const RiccatiVerdict verdict = verdictOn(e, x);
    const double weightCondition = e.type == continuousSystem ? conditionOf(e.r) : 1.0;
    EXPECT_LE(riccatiRatio(verdict, x, e.type, weightCondition), ratioLimit);
    EXPECT_GT(verdict.distance, 0.0);
    EXPECT_TRUE(isSymmetric(x));
    if (e.x.rows() > 0) {
        EXPECT_LE(frobeniusNorm(differenceOf(x, e.x)),
                  solutionUncertainty(verdict, x, e.type, ratioLimit, weightCondition));
    }
}

TEST(PublishedRiccati, EquationsAreSolvedDirectlyOrRefused) {
    for (const RiccatiEquation& e : allProblems()) {
        SCOPED_TRACE(e.name);
        EXPECT_NO_THROW(expectSolvedDirectlyOrRefused(e));
    }
}

void expectSolvedByNewton(const RiccatiEquation& e) {
    const int n = e.a.rows();
    Matrix<double> direct = zeroMatrix(n, n);
    solveRiccati(e, direct, false, riccatiSchur);
    const double weightCondition = e.type == continuousSystem ? conditionOf(e.r) : 1.0;
    const auto expectSolved = [&](const Matrix<double>& start, bool useInitial, riccatiMethod method) {
        Matrix<double> x(start, true);
        solveRiccati(e, x, useInitial, method);
        const RiccatiVerdict verdict = verdictOn(e, x);
        EXPECT_LE(riccatiRatio(verdict, x, e.type, weightCondition), ratioLimit);
        EXPECT_GT(verdict.distance, 0.0);
        EXPECT_LE(frobeniusNorm(differenceOf(x, direct)),
                  2.0 * solutionUncertainty(verdict, x, e.type, ratioLimit, weightCondition));
    };
    expectSolved(direct, false, riccatiSchurNewton);
    expectSolved(direct * 2.0, true, riccatiNewton);
    if (e.type == discreteSystem) {
        expectSolved(direct, false, riccatiNewton);
    }
}

TEST(PublishedRiccati, EquationsAreSolvedByNewtonFromTheDirectSolutionAndFromTwiceThat) {
    int tried = 0;
    for (const RiccatiEquation& e : allProblems()) {
        if (e.noSolution.empty() && e.newtonLoses.empty()) {
            SCOPED_TRACE(e.name);
            EXPECT_NO_THROW(expectSolvedByNewton(e));
            ++tried;
        }
    }
    EXPECT_GE(tried, 60);
}

}  // namespace
