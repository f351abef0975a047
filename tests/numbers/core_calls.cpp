#include <gtest/gtest.h>
#include <sstream>

#include <qormath/control/qor_math_control.hpp>
#include <qormath/core/scalar_functions.hpp>
#include <qormath/numerics/dense_gaussian_solver.hpp>

#include "numbers/calls.hpp"
#include "numbers/operands.hpp"

namespace qormath::test {
namespace {

using QorMathLA::ComplexMatrix;
using QorMathLA::Matrix;
using QorMathLA::Range;
using QorMathLA::Vector;
using enum Outcome;

Operands oneMatrix(int n) {
    return {{"a", anyMatrix(n, n + (n > 0), 11)}};
}

Operands squareMatrix(int n) {
    return {{"a", anyMatrix(n, n, 12)}};
}

Operands twoMatrices(int n) {
    return {{"left", anyMatrix(n, n, 13)}, {"right", anyMatrix(n, n, 14)}};
}

Operands oneVector(int n) {
    return {{"v", anyMatrix(n, 1, 15)}};
}

Operands twoVectors(int n) {
    return {{"left", anyMatrix(n, 1, 16)}, {"right", anyMatrix(n, 1, 17)}};
}

Operands matrixAndNumber(int n) {
    return {{"a", anyMatrix(n, n, 18)}, {"number", numberOf(2.0)}};
}

Operands matrixAndVector(int n) {
    return {{"a", anyMatrix(n, n, 19)}, {"v", anyMatrix(n, 1, 20)}};
}

Operands complexMatrices(int n) {
    return {{"left re", anyMatrix(n, n, 21)},
            {"left im", anyMatrix(n, n, 22)},
            {"right re", anyMatrix(n, n, 23)},
            {"right im", anyMatrix(n, n, 24)}};
}

ComplexMatrix<double> left(Operands& o) {
    return complexOf(o["left re"], o["left im"]);
}

ComplexMatrix<double> right(Operands& o) {
    return complexOf(o["right re"], o["right im"]);
}

const std::vector<Expected> bothMarked{{"left", marked}, {"right", marked}};
const std::vector<Expected> fourMarked{
    {"left re", marked}, {"left im", marked}, {"right re", marked}, {"right im", marked}};

std::vector<Call> productCalls() {
    return {
        {"Matrix * Matrix", twoMatrices, [](Operands& o, Results& r) { r.add(o["left"] * o["right"]); }, bothMarked},
        {"product", twoMatrices, [](Operands& o, Results& r) { r.add(product(o["left"], o["right"])); }, bothMarked},
        {"addProduct",
         [](int n) {
             Operands o = twoMatrices(n);
             o.list().push_back({"target", anyMatrix(n, n, 25)});
             o.list().push_back({"factor", numberOf(-1.5)});
             return o;
         },
         [](Operands& o, Results& r) {
             Matrix<double> target = o["target"];
             addProduct(target, o.number("factor"), o["left"], o["right"]);
             r.add(target);
         },
         {{"left", marked}, {"right", marked}, {"target", marked}, {"factor", marked}}},
        {"Matrix * Vector",
         matrixAndVector,
         [](Operands& o, Results& r) { r.add(o["a"] * o.vector("v")); },
         {{"a", marked}, {"v", marked}}},
        {"Vector * Vector", twoVectors, [](Operands& o, Results& r) { r.add(o.vector("left") * o.vector("right")); },
         bothMarked},
        {"Matrix * number",
         matrixAndNumber,
         [](Operands& o, Results& r) { r.add(o["a"] * o.number("number")); },
         {{"a", marked}, {"number", marked}}},
        {"Matrix *= number",
         matrixAndNumber,
         [](Operands& o, Results& r) {
             Matrix<double> a = o["a"];
             a *= o.number("number");
             r.add(a);
         },
         {{"a", marked}, {"number", marked}}},
        {"Matrix / number",
         matrixAndNumber,
         [](Operands& o, Results& r) { r.add(o["a"] / o.number("number")); },
         {{"a", marked}, {"number", marked, finite}}},
        {"Vector * number",
         [](int n) {
             return Operands{{"v", anyMatrix(n, 1, 26)}, {"number", numberOf(2.0)}};
         },
         [](Operands& o, Results& r) {
             Vector<double> v = o.vector("v");
             v *= o.number("number");
             r.add(v, o.vector("v") * o.number("number"));
         },
         {{"v", marked}, {"number", marked}}},
        {"Vector / number",
         [](int n) {
             return Operands{{"v", anyMatrix(n, 1, 27)}, {"number", numberOf(2.0)}};
         },
         [](Operands& o, Results& r) {
             Vector<double> v = o.vector("v");
             v /= o.number("number");
             r.add(v, o.vector("v") / o.number("number"));
         },
         {{"v", marked}, {"number", marked, finite}}},
        {"Vector / Vector",
         twoVectors,
         [](Operands& o, Results& r) {
             Vector<double> v = o.vector("left");
             v /= o.vector("right");
             r.add(v, o.vector("left") / o.vector("right"));
         },
         {{"left", marked}, {"right", marked, finite}}},
    };
}

std::vector<Call> sumCalls() {
    return {
        {"Matrix + Matrix", twoMatrices,
         [](Operands& o, Results& r) {
             Matrix<double> a = o["left"];
             a += o["right"];
             r.add(a, o["left"] + o["right"]);
         },
         bothMarked},
        {"Matrix - Matrix", twoMatrices,
         [](Operands& o, Results& r) {
             Matrix<double> a = o["left"];
             a -= o["right"];
             r.add(a, o["left"] - o["right"]);
         },
         bothMarked},
        {"Vector + Vector", twoVectors,
         [](Operands& o, Results& r) {
             Vector<double> v = o.vector("left");
             v += o.vector("right");
             r.add(v, o.vector("left") + o.vector("right"));
         },
         bothMarked},
        {"Vector -= Vector", twoVectors,
         [](Operands& o, Results& r) {
             Vector<double> v = o.vector("left");
             v -= o.vector("right");
             r.add(v);
         },
         bothMarked},
        {"sum, sumAbs, filled",
         oneVector,
         [](Operands& o, Results& r) {
             const Vector<double> v = o.vector("v");
             r.add(v.sum(), v.sumAbs(), v.filled(v.sum()));
         },
         {{"v", marked}}},
        {"Vector maxAbs, maxAbsIndex",
         oneVector,
         [](Operands& o, Results& r) {
             const Vector<double> v = o.vector("v");
             int index = -1;
             r.add(v.maxAbs(), v.maxAbsIndex(index));
             EXPECT_TRUE(index >= 0 && (index < v.size() || v.size() == 0));
         },
         {{"v", finite, marked}}},
        {"Matrix maxAbs",
         squareMatrix,
         [](Operands& o, Results& r) { r.add(o["a"].maxAbs()); },
         {{"a", marked}},
         finite,
         finite,
         {0, 1, 2, 5, 40},
         // A NaN is replaced by the element after it.
         [](const Damage& d) -> std::optional<Outcome> {
             const bool isLast = d.row == d.size - 1 && d.col == d.size - 1;
             return std::isnan(d.value) && !d.isWhole() && !isLast ? std::optional(finite) : std::nullopt;
         }},
        {"Matrix sumSquares", oneMatrix, [](Operands& o, Results& r) { r.add(o["a"].sumSquares()); }, {{"a", marked}}},
    };
}

std::vector<Call> containerCalls() {
    return {
        {"Matrix fill and assign a number",
         [](int) {
             return Operands{{"number", numberOf(3.0)}};
         },
         [](Operands& o, Results& r) {
             Matrix<double> a = anyMatrix(3, 4, 28);
             a.column(0).fill(o.number("number"));
             a.row(0) = o.number("number");
             r.add(a);
             a = o.number("number");
             r.add(a);
         },
         {{"number", marked}}},
        {"Matrix copies, views and transposes",
         squareMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> copy = o["a"];
             copy.transposeInPlace();
             const Matrix<double> joined =
                 copy.appendToRight(copy.transpose())
                     .appendToBottom(copy(Range(-1, -1, 1), Range(-1, -1, 1)).appendToRight(copy));
             std::ostringstream text;
             joined.print(text, 12);
             text << copy;
             r.add(joined);
         },
         {{"a", marked}}},
        {"scaleColumnsBy, scaleRowsBy",
         matrixAndVector,
         [](Operands& o, Results& r) {
             r.add(o["a"].scaleColumnsBy(o.vector("v")), o["a"].scaleRowsBy(o.vector("v")));
         },
         {{"a", marked}, {"v", marked}}},
        {"scalar abs, sign",
         [](int) {
             return Operands{{"x", numberOf(-2.0)}, {"y", numberOf(3.0)}};
         },
         [](Operands& o, Results& r) {
             r.add(QorMathLA::abs(o.number("x")), QorMathLA::sign(o.number("x"), o.number("y")));
         },
         {{"x", marked}, {"y", same, same, finite}}},
        {"pythag",
         [](int) {
             return Operands{{"x", numberOf(-2.0)}, {"y", numberOf(3.0)}};
         },
         [](Operands& o, Results& r) { r.add(QorMathLA::pythag(o.number("x"), o.number("y"))); },
         {{"x", marked}, {"y", marked}}},
    };
}

std::vector<Call> factorisationCalls() {
    return {
        {"Matrix svd",
         oneMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> u = o["a"];
             Matrix<double> v;
             Vector<double> s;
             u.svd(s, v, 30, true);
             r.add(u, v);
         },
         {{"a", xmsg11}}},
        {"Matrix svd without vectors",
         oneMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> u = o["a"];
             Matrix<double> v;
             Vector<double> s;
             u.svd(s, v, 30, false);
             for (int k = 0; k < u.rows(); ++k) {
                 r.add(s[k]);
             }
         },
         {{"a", xmsg11}}},
        {"svdCopy",
         oneMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> v;
             Vector<double> s;
             r.add(svdCopy(o["a"], s, v, 30, true), v);
         },
         {{"a", xmsg11}}},
        {"pseudoInverse",
         [](int n) {
             return Operands{{"a", anyMatrix(n + 1, n, 29)}, {"tolerance", numberOf(1e-10)}};
         },
         [](Operands& o, Results& r) { r.add(pseudoInverse(o["a"], o.number("tolerance"))); },
         {{"a", xmsg11}, {"tolerance", finite}}},
        {"Matrix leftDivide",
         [](int n) {
             return Operands{{"a", anyMatrix(n, n, 30)}, {"b", anyMatrix(n, 2, 31)}};
         },
         [](Operands& o, Results& r) { r.add(o["a"].leftDivide(o["b"])); },
         {{"a", xmsg11}, {"b", marked}}},
        {"Matrix leftDivide, not square",
         [](int n) {
             return Operands{{"a", anyMatrix(n, n + 1, 32)}, {"b", anyMatrix(n, 2, 33)}};
         },
         [](Operands& o, Results& r) { r.add(o["a"].leftDivide(o["b"])); },
         {{"a", xmsg11}, {"b", marked}}},
        {"Matrix balance",
         squareMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> a = o["a"];
             r.add(a.balance());
         },
         {{"a", xmsg11}}},
        {"Matrix hessenberg",
         squareMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> a = o["a"];
             r.add(a.hessenberg());
         },
         {{"a", marked}}},
        {"Matrix hessenbergEigenvalues",
         squareMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> a = o["a"];
             Vector<double> re;
             Vector<double> im;
             a.hessenbergEigenvalues(re, im, 30);
             r.add(re, im);
         },
         {{"a", xmsg11}},
         finite,
         finite,
         {0, 1, 2, 5, 40},
         [](const Damage& d) -> std::optional<Outcome> {
             // Nothing below the subdiagonal is read.
             return d.row > d.col + 1 ? std::optional(same) : std::nullopt;
         }},
        {"Matrix eigenvalues",
         squareMatrix,
         [](Operands& o, Results& r) {
             Matrix<double> a = o["a"];
             Vector<double> re;
             Vector<double> im;
             a.eigenvalues(re, im, 30);
             r.add(re, im);
         },
         {{"a", xmsg11}}},
        {"DenseGaussianSolver",
         [](int n) {
             return Operands{{"a", anyMatrix(n, n, 34)}, {"b", anyMatrix(n, 2, 35)}};
         },
         [](Operands& o, Results& r) {
             QorMathLA::DenseGaussianSolver solver(o["a"]);
             solver.initialize();
             solver.factorize();
             r.add(solver.solve(o["b"]));
         },
         {{"a", minusOne}, {"b", marked}}},
    };
}

std::vector<Call> complexCalls() {
    return {
        {"ComplexMatrix * ComplexMatrix", complexMatrices, [](Operands& o, Results& r) { r.add(left(o) * right(o)); },
         fourMarked},
        {"ComplexMatrix + ComplexMatrix", complexMatrices,
         [](Operands& o, Results& r) {
             ComplexMatrix<double> sum = left(o);
             sum += right(o);
             r.add(sum, left(o) + right(o));
         },
         fourMarked},
        {"ComplexMatrix - ComplexMatrix", complexMatrices,
         [](Operands& o, Results& r) {
             ComplexMatrix<double> difference = left(o);
             difference -= right(o);
             r.add(difference, left(o) - right(o));
         },
         fourMarked},
        {"ComplexMatrix *= number",
         [](int n) {
             return Operands{{"re", anyMatrix(n, n, 36)},
                             {"im", anyMatrix(n, n, 37)},
                             {"factor re", numberOf(2.0)},
                             {"factor im", numberOf(-0.5)}};
         },
         [](Operands& o, Results& r) {
             ComplexMatrix<double> a = complexOf(o["re"], o["im"]);
             a *= std::complex<double>(o.number("factor re"), o.number("factor im"));
             r.add(a);
         },
         {{"re", marked}, {"im", marked}, {"factor re", marked}, {"factor im", marked}}},
        {"ComplexVector * ComplexVector", complexMatrices,
         [](Operands& o, Results& r) {
             for (int k = 0; k < left(o).rows(); ++k) {
                 r.add(left(o).row(k) * right(o).row(k));
             }
         },
         fourMarked},
        {"convertComplexMatrix, convertComplexVector",
         [](int n) {
             return Operands{{"re", anyMatrix(n, n, 38)}, {"im", anyMatrix(n, n, 39)}};
         },
         [](Operands& o, Results& r) {
             ComplexMatrix<double> a = complexOf(o["re"], o["im"]);
             Matrix<_MKL_Complex16> pairs;
             QorMathControl::convertComplexMatrix(a, pairs, false);
             ComplexMatrix<double> back;
             QorMathControl::convertComplexMatrix(back, pairs, true);
             r.add(back);
             for (int k = 0; k < a.cols(); ++k) {
                 QorMathLA::ComplexVector<double> column(a.column(k));
                 Vector<_MKL_Complex16> pairColumn;
                 QorMathControl::convertComplexVector(column, pairColumn, false);
                 QorMathControl::convertComplexVector(column, pairColumn, true);
                 r.add(column);
             }
         },
         {{"re", marked}, {"im", marked}}},
    };
}

}  // namespace

std::vector<Call> coreCalls() {
    std::vector<Call> calls;
    for (const auto& group : {productCalls(), sumCalls(), containerCalls(), factorisationCalls(), complexCalls()}) {
        calls.insert(calls.end(), group.begin(), group.end());
    }
    return calls;
}

}  // namespace qormath::test
