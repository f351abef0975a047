// Schur forms, functions of matrices, matrix equations.

#include <qormath/control/qor_math_control.hpp>

#include "numbers/calls.hpp"
#include "numbers/operands.hpp"

namespace qormath::test {
namespace {

using QorMathLA::ComplexMatrix;
using QorMathLA::Matrix;
using QorMathLA::Vector;
using enum Outcome;

Call schurCall(const std::string& name, schurOrder order) {
    return {"SchurDecomposition, " + name,
            [](int n) {
                return Operands{{"a", anyMatrix(n, n, 41)}};
            },
            [order](Operands& o, Results& r) {
                Matrix<double> t;
                Matrix<double> q;
                Vector<double> wr;
                Vector<double> wi;
                QorMathControl::SchurDecomposition(o["a"], t, q, wr, wi, order);
                r.add(t, q, wr, wi);
            },
            {{"a", minusOne}}};
}

Operands riccatiOperands(int n, const Matrix<double>& a) {
    return {{"x", weightMatrix(n, 42)}, {"a", a},
            {"b", anyMatrix(n, 2, 43)}, {"q", weightMatrix(n, 44)},
            {"r", weightMatrix(2, 45)}, {"s", anyMatrix(n, 2, 46) * 0.1}};
}

Call riccatiCall(bool discrete, riccatiMethod method, bool useInitial, const std::string& name,
                 std::vector<Expected> expected) {
    return {std::string(discrete ? "DiscreteRiccati, " : "ContinuousRiccati, ") + name,
            [discrete](int n) { return riccatiOperands(n, discrete ? discreteMatrix(n) : continuousMatrix(n)); },
            [discrete, method, useInitial](Operands& o, Results& r) {
                Matrix<double> x = o["x"];
                if (discrete) {
                    QorMathControl::DiscreteRiccati(x, o["a"], o["b"], o["q"], o["r"], o["s"], useInitial, method);
                } else {
                    QorMathControl::ContinuousRiccati(x, o["a"], o["b"], o["q"], o["r"], o["s"], useInitial, method);
                }
                r.add(x);
            },
            std::move(expected)};
}

}  // namespace

std::vector<Call> decompositionCalls() {
    std::vector<Call> calls{schurCall("unordered", schurUnordered), schurCall("stable first", schurULDiscrete),
                            schurCall("unstable first", schurLRContinuous),
                            schurCall("by modulus", schurDescendingModulus),
                            schurCall("by real part", schurAscendingReal)};
    const std::vector<Call> others{
        {"ReorderBlockDiagonalsOfSchurForm",
         [](int n) {
             return Operands{{"t", anyMatrix(n, n, 47)}};
         },
         [](Operands& o, Results& r) {
             Matrix<double> q;
             int count = 3;
             QorMathControl::ReorderBlockDiagonalsOfSchurForm(o["t"], q, count, discreteSystem, schurULDiscrete);
             r.add(q.rows(), q.cols(), count);
         },
         {{"t", same}}},
        {"ComplexSchurDecomposition",
         [](int n) {
             return Operands{{"a", anyMatrix(n, n, 48)}};
         },
         [](Operands& o, Results& r) {
             ComplexMatrix<double> t;
             ComplexMatrix<double> z;
             QorMathLA::ComplexVector<double> w;
             QorMathControl::ComplexSchurDecomposition(o["a"], t, z, w);
             r.add(t, z, w);
         },
         {{"a", minusOne}}},
        {"BlockSpectralDecompostion",
         [](int n) {
             return Operands{{"a", anyMatrix(n, n, 49)},
                             {"b", anyMatrix(n, 2, 50)},
                             {"c", anyMatrix(2, n, 51)},
                             {"d", anyMatrix(2, 2, 52)}};
         },
         [](Operands& o, Results& r) {
             Matrix<double> a = o["a"];
             Matrix<double> b = o["b"];
             Matrix<double> c = o["c"];
             QorMathControl::BlockSpectralDecompostion(a, b, c, o["d"], continuousSystem);
             r.add(a, b, c);
         },
         {{"a", minusOne}, {"b", marked}, {"c", marked}, {"d", same}}},
        {"FromSchurToBlockDiagonalForm",
         [](int n) {
             return Operands{{"t", anyMatrix(n, n, 53)}};
         },
         [](Operands& o, Results&) {
             Matrix<double> q;
             int count = 0;
             Vector<int> blocks;
             QorMathControl::FromSchurToBlockDiagonalForm(o["t"], q, count, blocks);
         },
         {{"t", minusOne}},
         minusOne,
         minusOne},
        {"ExpM",
         [](int n) {
             return Operands{{"a", anyMatrix(n, n, 54)}, {"t", numberOf(0.5)}};
         },
         [](Operands& o, Results& r) { r.add(QorMathControl::ExpM(o["a"], o.number("t"))); },
         {{"a", marked}, {"t", marked}},
         xmsg10,
         finite,
         {0, 2, 5, 40}},
        {"ExpM, 1 by 1",
         [](int) {
             return Operands{{"a", numberOf(-2.0)}, {"t", numberOf(0.5)}};
         },
         [](Operands& o, Results& r) { r.add(QorMathControl::ExpM(o["a"], o.number("t"))); },
         {{"a", marked, marked, finite}, {"t", marked, finite, marked}},
         finite,
         finite,
         {1}},
        {"ExpM, complex",
         [](int n) {
             return Operands{{"re", anyMatrix(n, n, 55)}, {"im", anyMatrix(n, n, 56)}};
         },
         [](Operands& o, Results& r) { r.add(QorMathControl::ExpM(complexOf(o["re"], o["im"]))); },
         {{"re", marked}, {"im", marked}}},
        {"LogM",
         [](int n) {
             return Operands{{"a", discreteMatrix(n)}};
         },
         [](Operands& o, Results& r) { r.add(QorMathControl::LogM(o["a"])); },
         {{"a", minusOne}}},
    };
    calls.insert(calls.end(), others.begin(), others.end());
    return calls;
}

std::vector<Call> equationCalls() {
    return {
        {"SylvesterEquation",
         [](int n) {
             return Operands{
                 {"a", continuousMatrix(n, 57)}, {"b", continuousMatrix(n, 58)}, {"c", anyMatrix(n, n, 59)}};
         },
         [](Operands& o, Results& r) {
             Matrix<double> x;
             QorMathControl::SylvesterEquation(x, o["a"], o["b"], o["c"]);
             r.add(x);
         },
         {{"a", minusOne}, {"b", minusOne}, {"c", marked}}},
        {"ContinuousLyapunov",
         [](int n) {
             return Operands{{"a", continuousMatrix(n)}, {"q", weightMatrix(n)}};
         },
         [](Operands& o, Results& r) {
             Matrix<double> x;
             QorMathControl::ContinuousLyapunov(x, o["a"], o["q"]);
             r.add(x);
         },
         {{"a", minusOne}, {"q", marked}}},
        {"DiscreteLyapunov",
         [](int n) {
             return Operands{{"a", discreteMatrix(n)}, {"q", weightMatrix(n)}};
         },
         [](Operands& o, Results& r) {
             Matrix<double> x;
             QorMathControl::DiscreteLyapunov(x, o["a"], o["q"]);
             r.add(x);
         },
         {{"a", minusOne}, {"q", marked}}},
        riccatiCall(false, riccatiSchur, false, "direct",
                    {{"x", same}, {"a", minusOne}, {"b", minusOne}, {"q", minusOne}, {"r", minusOne}, {"s", minusOne}}),
        riccatiCall(false, riccatiSchurNewton, false, "direct and Newton",
                    {{"x", same}, {"a", minusOne}, {"b", minusOne}, {"q", minusOne}, {"r", xmsg11}, {"s", minusOne}}),
        riccatiCall(
            false, riccatiNewton, true, "Newton",
            {{"x", minusOne}, {"a", minusOne}, {"b", minusOne}, {"q", minusOne}, {"r", xmsg11}, {"s", minusOne}}),
        riccatiCall(true, riccatiSchur, false, "direct",
                    {{"x", same}, {"a", minusOne}, {"b", minusOne}, {"q", minusOne}, {"r", minusOne}, {"s", minusOne}}),
        // The discrete iteration gives the best x that it has seen; without a residual that is the start.
        riccatiCall(true, riccatiSchurNewton, false, "direct and Newton",
                    {{"x", same}, {"a", finite}, {"b", xmsg11}, {"q", finite}, {"r", xmsg11}, {"s", finite}}),
        riccatiCall(true, riccatiNewton, true, "Newton",
                    {{"x", xmsg11}, {"a", finite}, {"b", xmsg11}, {"q", finite}, {"r", xmsg11}, {"s", finite}}),
    };
}

}  // namespace qormath::test
