#include <algorithm>
#include <cstddef>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/matrix.hpp>
#include <qormath/lapack/blas.hpp>

namespace QorMathLA {

namespace {

using qormath::lapack::Op;

void require(bool fits, const char* operation) {
    if (!fits) {
        throw xmsg(DimensionMismatch, operation);
    }
}

Op opOf(const BasicMatrix<double>& matrix) {
    return matrix.transposed ? Op::transpose : Op::none;
}

// The number of elements that BLAS may touch: a released vector still has its range, but no elements.
int blasLength(const BasicVector<double>& left, const BasicVector<double>& right) {
    return left.data == nullptr || right.data == nullptr ? 0 : std::min(left.size(), right.size());
}

// BLAS counts a negative increment from the far end of the vector.
template <class V>
auto blasAddress(V& vector, int length) {
    const std::ptrdiff_t stride = vector.range.stride;
    return vector.numericData() + (stride < 0 && length > 0 ? (length - 1) * stride : 0);
}

Matrix<double> compactCopy(const BasicMatrix<double>& source) {
    return Matrix<double>(Matrix<double>(MatrixSoft<double>(source)), true);
}

Vector<double> compactCopy(const BasicVector<double>& source) {
    return Vector<double>(Vector<double>(VectorSoft<double>(source)), true);
}

// In index order also where the range runs downwards, which a compact copy does not see.
Vector<double> packed(const BasicVector<double>& source) {
    Vector<double> copy(source.size());
    const int length = blasLength(source, copy);
    qormath::lapack::copy(length, blasAddress(source, length), source.range.stride, copy.numericData(), 1);
    return copy;
}

void addMultiple(BasicVector<double>& left, double factor, const BasicVector<double>& right) {
    const int length = blasLength(left, right);
    qormath::lapack::axpy(length, factor, blasAddress(right, length), right.range.stride, blasAddress(left, length),
                          left.range.stride);
}

void addMatrices(BasicMatrix<double>& left, double factor, const BasicMatrix<double>& right, const char* operation) {
    require(left.rows() == right.rows(), operation);
    require(left.cols() == right.cols(), operation);
    auto target = left.begin();
    for (auto element = right.begin(); !element.finished() && !target.finished(); ++element, ++target) {
        *target += factor * *element;
    }
}

}  // namespace

void inPlace::multiply(BasicVector<double>& left, double factor) {
    for (double& element : left) {
        element *= factor;
    }
}

void inPlace::multiply(BasicMatrix<double>& left, double factor) {
    for (double& element : left) {
        element *= factor;
    }
}

void inPlace::divide(BasicVector<double>& left, double divisor) {
    if (divisor == 0.0) {
        throw xmsg(DivisionByZero, "Vector / Type");
    }
    for (double& element : left) {
        element /= divisor;
    }
}

void inPlace::divide(BasicVector<double>& left, const BasicVector<double>& divisors) {
    require(left.size() == divisors.size(), "Vector / Vector");
    auto target = left.begin();
    for (auto divisor = divisors.begin(); !divisor.finished() && !target.finished(); ++divisor, ++target) {
        *target /= *divisor;
    }
}

void inPlace::add(BasicVector<double>& left, const BasicVector<double>& right) {
    require(left.size() == right.size(), "Vector + Vector");
    addMultiple(left, 1.0, right);
}

void inPlace::subtract(BasicVector<double>& left, const BasicVector<double>& right) {
    require(left.size() == right.size(), "Vector - Vector");
    addMultiple(left, -1.0, right);
}

void inPlace::add(BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    addMatrices(left, 1.0, right, "Matrix + Matrix");
}

void inPlace::subtract(BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    addMatrices(left, -1.0, right, "Matrix - Matrix");
}

MatrixSoft<double> operator*(const BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    const int inner = left.cols();
    require(inner == right.rows(), "Matrix * Matrix");
    if (inner == 0) {
        return Matrix<double>();
    }
    if (!left.hasUnitStrides() || !right.hasUnitStrides()) {
        return compactCopy(left) * compactCopy(right);
    }
    Matrix<double> result(left.rows(), right.cols());
    qormath::lapack::gemm(opOf(left), opOf(right), left.rows(), right.cols(), inner, 1.0, left.numericData(false),
                          left.storedRows, right.numericData(false), right.storedRows, 0.0, result.numericData(true),
                          result.storedRows);
    return result;
}

void addProduct(MatrixSoft<double> target, double factor, const BasicMatrix<double>& left,
                const BasicMatrix<double>& right) {
    const int inner = left.cols();
    require(inner == right.rows(), "Matrix * Matrix");
    require(target.rows() == left.rows() && target.cols() == right.cols(), "Matrix + Matrix");
    if (inner > 0) {
        qormath::lapack::gemm(opOf(left), opOf(right), left.rows(), right.cols(), inner, factor,
                              left.numericData(false), left.storedRows, right.numericData(false), right.storedRows, 1.0,
                              target.numericData(true), target.storedRows);
    }
}

MatrixSoft<double> zeroMatrix(int rowCount, int colCount) {
    Matrix<double> result(rowCount, colCount);
    result.fill(0.0);
    return result;
}

MatrixSoft<double> product(const BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    if (left.cols() == 0 && right.rows() == 0) {
        return zeroMatrix(left.rows(), right.cols());
    }
    return left * right;
}

VectorSoft<double> operator*(const BasicMatrix<double>& left, const BasicVector<double>& right) {
    const int inner = left.cols();
    require(inner == right.size(), "Matrix * Vector");
    if (!left.hasUnitStrides()) {
        return compactCopy(left) * right;
    }
    Vector<double> result(left.rows());
    if (inner == 0) {
        result.fill(0.0);
    } else if (!left.transposed) {
        qormath::lapack::gemv(Op::none, left.rows(), inner, 1.0, left.numericData(false), left.storedRows,
                              blasAddress(right, inner), right.range.stride, 0.0, result.numericData(), 1);
    } else {
        const Vector<double> x = right.range.stride == 1 ? Vector<double>(VectorSoft<double>(right)) : packed(right);
        qormath::lapack::gemm(Op::transpose, Op::none, left.rows(), 1, inner, 1.0, left.numericData(false),
                              left.storedRows, x.numericData(), inner, 0.0, result.numericData(), result.size());
    }
    return result;
}

double operator*(const BasicVector<double>& left, const BasicVector<double>& right) {
    require(left.size() == right.size(), "Vector * Vector");
    const int length = blasLength(left, right);
    return qormath::lapack::dot(length, blasAddress(left, length), left.range.stride, blasAddress(right, length),
                                right.range.stride);
}

MatrixSoft<double> operator*(const BasicMatrix<double>& left, double factor) {
    return compactCopy(left) *= factor;
}

VectorSoft<double> operator*(const BasicVector<double>& left, double factor) {
    return compactCopy(left) *= factor;
}

MatrixSoft<double> operator+(const BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    return compactCopy(left) += right;
}

MatrixSoft<double> operator-(const BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    return compactCopy(left) -= right;
}

VectorSoft<double> operator+(const BasicVector<double>& left, const BasicVector<double>& right) {
    return compactCopy(left) += right;
}

VectorSoft<double> operator/(const BasicVector<double>& left, double divisor) {
    return compactCopy(left) /= divisor;
}

VectorSoft<double> operator/(const BasicVector<double>& left, const BasicVector<double>& divisors) {
    return compactCopy(left) /= divisors;
}

MatrixSoft<double> operator/(const BasicMatrix<double>& left, double divisor) {
    if (divisor == 0.0) {
        throw xmsg(DivisionByZero, "Matrix / Type");
    }
    Matrix<double> result = compactCopy(left);
    for (double& element : result) {
        element /= divisor;
    }
    return result;
}

template <>
void BasicVector<double>::assignElements(const BasicVector& source) {
    const int length = blasLength(*this, source);
    qormath::lapack::copy(length, blasAddress(source, length), source.range.stride, blasAddress(*this, length),
                          range.stride);
}

template <>
double BasicVector<double>::maxAbsIndex(int& index) const {
    double largest = 0.0;
    index = 0;
    int current = 0;
    for (const double element : *this) {
        const double magnitude = element < 0.0 ? -element : element;
        if (magnitude > largest) {
            largest = magnitude;
            index = current;
        }
        ++current;
    }
    return largest;
}

template <>
double BasicVector<double>::maxAbs() const {
    int index = 0;
    return maxAbsIndex(index);
}

template <>
double BasicVector<double>::sum() const {
    double total = 0.0;
    for (const double element : *this) {
        total += element;
    }
    return total;
}

template <>
int BasicVector<int>::sum() const {
    // Unsigned, for a total beyond 32 bits wraps around instead of being undefined.
    std::uint32_t total = 0;
    for (const int element : *this) {
        total += static_cast<std::uint32_t>(element);
    }
    return static_cast<int>(total);
}

template <>
double BasicVector<double>::sumAbs() const {
    double total = 0.0;
    for (const double element : *this) {
        total += element < 0.0 ? -element : element;
    }
    return total;
}

template <>
double BasicMatrix<double>::sumSquares() const {
    double total = 0.0;
    for (const double element : *this) {
        total += element * element;
    }
    return total;
}

template <>
double BasicMatrix<double>::maxAbs() const {
    double largest = 0.0;
    for (const double element : *this) {
        const double magnitude = element < 0.0 ? -element : element;
        if (!(largest > magnitude)) {
            largest = magnitude;
        }
    }
    return largest;
}

template <>
MatrixSoft<double> BasicMatrix<double>::scaleColumnsBy(const BasicVector<double>& factors) const {
    require(cols() == factors.size(), "Matrix scaleColumnsBy");
    Matrix<double> result = compactCopy(*this);
    for (int j = 0; j < result.cols(); ++j) {
        for (int i = 0; i < result.rows(); ++i) {
            result(i, j) *= factors[j];
        }
    }
    return result;
}

template <>
MatrixSoft<double> BasicMatrix<double>::scaleRowsBy(const BasicVector<double>& factors) const {
    require(rows() == factors.size(), "Matrix scaleRowsBy");
    Matrix<double> result = compactCopy(*this);
    for (int j = 0; j < result.cols(); ++j) {
        for (int i = 0; i < result.rows(); ++i) {
            result(i, j) *= factors[i];
        }
    }
    return result;
}

template <>
MatrixSoft<double> BasicMatrix<double>::appendToRight(const BasicMatrix& other) const {
    require(rows() == other.rows(), "Matrix appendToRight");
    const Range allRows(-1, -1, 1);
    const Matrix<double> result(rows(), cols() + other.cols());
    result(allRows, Range(0, cols() - 1, 1)) = MatrixSoft<double>(*this);
    if (cols() < result.cols()) {
        result(allRows, Range(cols(), result.cols() - 1, 1)) = MatrixSoft<double>(other);
    }
    return result;
}

template <>
MatrixSoft<double> BasicMatrix<double>::appendToBottom(const BasicMatrix& other) const {
    require(cols() == other.cols(), "Matrix appendToBottom");
    const Range allColumns(-1, -1, 1);
    const Matrix<double> result(rows() + other.rows(), cols());
    result(Range(0, rows() - 1, 1), allColumns) = MatrixSoft<double>(*this);
    if (rows() < result.rows()) {
        result(Range(rows(), result.rows() - 1, 1), allColumns) = MatrixSoft<double>(other);
    }
    return result;
}

template <>
MatrixSoft<double> BasicMatrix<double>::leftDivide(const BasicMatrix& b) const {
    require(rows() == b.rows(), "Matrix left division: %");
    constexpr double defaultTolerance = -1.0;
    if (rows() == cols()) {
        return product(pseudoInverse(*this, defaultTolerance), b);
    }
    const Matrix<double> at = compactCopy(transpose());
    return product(product(at, pseudoInverse(product(*this, at), defaultTolerance)), b);
}

}  // namespace QorMathLA
