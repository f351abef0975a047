#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include <qormath/core/arithmetic.hpp>
#include <qormath/core/detail/small_product.hpp>
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
    return Matrix<double>::copyOf(source);
}

Vector<double> compactCopy(const BasicVector<double>& source) {
    return Vector<double>::copyOf(source);
}

// The distance from a logical element to the next of its column.
std::ptrdiff_t stepOf(const BasicMatrix<double>& matrix) {
    return matrix.transposed ? matrix.storedRows : 1;
}

detail::SmallOperand smallOperand(const BasicMatrix<double>& matrix) {
    const std::ptrdiff_t stored = matrix.storedRows;
    return matrix.transposed ? detail::SmallOperand{matrix.numericData(false), stored, 1}
                             : detail::SmallOperand{matrix.numericData(false), 1, stored};
}

bool isSmall(int size) {
    return size >= 1 && size <= detail::largestSmallOrder;
}

/// Calls work(target, element, targetStep, elementStep, length) for each column of two plain matrices of one shape, in
/// walking order.
template <class Target, class Work>
void forColumns(Target& target, const BasicMatrix<double>& source, Work work) {
    const int columns = target.cols();
    const int length = target.rows();
    const std::ptrdiff_t targetStep = stepOf(target);
    const std::ptrdiff_t sourceStep = stepOf(source);
    for (int j = 0; j < columns; ++j) {
        work(&target(0, j), &source(0, j), targetStep, sourceStep, length);
    }
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

// The largest modulus where all elements are finite and not all zero, in which case their order is of no matter.
bool largestOrdinary(const BasicMatrix<double>& matrix, double& largest) {
    if (!matrix.isPlain()) {
        return false;
    }
    constexpr int lanes = 8;
    std::array<double, lanes> moduli{};
    std::array<double, lanes> zeros{};  // NaN once infinity or NaN has come by
    const auto look = [&](std::size_t lane, double element) {
        const double modulus = std::fabs(element);
        moduli[lane] = modulus > moduli[lane] ? modulus : moduli[lane];
        zeros[lane] += 0.0 * element;
    };
    const int length = matrix.rowRange.size();
    for (std::ptrdiff_t column = matrix.colRange.start; column <= matrix.colRange.end; ++column) {
        const double* const elements = matrix.array.data + column * matrix.storedRows + matrix.rowRange.start;
        int k = 0;
        for (; length - k >= lanes; k += lanes) {
            for (std::size_t lane = 0; lane < lanes; ++lane) {
                look(lane, elements[static_cast<std::size_t>(k) + lane]);
            }
        }
        for (; k < length; ++k) {
            look(0, elements[k]);
        }
    }
    largest = *std::max_element(moduli.begin(), moduli.end());
    return largest > 0.0 && std::all_of(zeros.begin(), zeros.end(), [](double zero) { return zero == 0.0; });
}

// left + Sign * right of one element; Sign is 1 or -1.
template <int Sign>
double summed(double left, double right) {
    return Sign > 0 ? left + right : left - right;
}

template <int Sign>
void addMatrices(BasicMatrix<double>& left, const BasicMatrix<double>& right, const char* operation) {
    require(left.rows() == right.rows(), operation);
    require(left.cols() == right.cols(), operation);
    if (left.isPlain() && right.isPlain()) {
        forColumns(left, right,
                   [](double* target, const double* element, std::ptrdiff_t targetStep, std::ptrdiff_t elementStep,
                      std::ptrdiff_t length) {
                       if (targetStep == 1 && elementStep == 1) {
                           for (std::ptrdiff_t i = 0; i < length; ++i) {
                               target[i] = summed<Sign>(target[i], element[i]);
                           }
                           return;
                       }
                       for (std::ptrdiff_t i = 0; i < length; ++i) {
                           target[i * targetStep] = summed<Sign>(target[i * targetStep], element[i * elementStep]);
                       }
                   });
        return;
    }
    auto target = left.begin();
    for (auto element = right.begin(); !element.finished() && !target.finished(); ++element, ++target) {
        *target = summed<Sign>(*target, *element);
    }
}

// The counts of a plain matrix, without the questions that Range::size has to ask: they cost as much as the sum of two
// matrices of order 4.
int plainRows(const BasicMatrix<double>& matrix) {
    const Range& range = matrix.transposed ? matrix.colRange : matrix.rowRange;
    return range.end - range.start + 1;
}

int plainCols(const BasicMatrix<double>& matrix) {
    const Range& range = matrix.transposed ? matrix.rowRange : matrix.colRange;
    return range.end - range.start + 1;
}

/// target = left + Sign * right for elements that follow each other; the target is a new block, so that nothing
/// overlaps it. Not inlined, for compilers then forget that, and add one element at a time.
template <int Sign>
[[gnu::noinline]] void sumColumn(double* __restrict target, const double* left, const double* right,
                                 std::ptrdiff_t length) {
    for (std::ptrdiff_t i = 0; i < length; ++i) {
        target[i] = summed<Sign>(left[i], right[i]);
    }
}

/// left + Sign * right of two plain matrices of one shape. The sum goes straight into the result, which has one column
/// after the other, so that columns of both operands that do too are one loop.
template <int Sign>
MatrixSoft<double> sumOfPlain(const BasicMatrix<double>& left, const BasicMatrix<double>& right, int rowCount,
                              int colCount) {
    MatrixSoft<double> result(rowCount, colCount);
    double* target = result.array.data;
    const double* a = left.numericData(false);
    const double* b = right.numericData(false);
    const bool untransposed = !left.transposed && !right.transposed;
    if (untransposed && left.storedRows == rowCount && right.storedRows == rowCount) {
        sumColumn<Sign>(target, a, b, std::ptrdiff_t{rowCount} * colCount);
        return result;
    }
    const std::ptrdiff_t leftStep = stepOf(left);
    const std::ptrdiff_t rightStep = stepOf(right);
    const std::ptrdiff_t leftColumn = left.transposed ? 1 : left.storedRows;
    const std::ptrdiff_t rightColumn = right.transposed ? 1 : right.storedRows;
    for (int j = 0; j < colCount; ++j, target += rowCount, a += leftColumn, b += rightColumn) {
        if (untransposed) {
            sumColumn<Sign>(target, a, b, rowCount);
        } else {
            for (std::ptrdiff_t i = 0; i < rowCount; ++i) {
                target[i] = summed<Sign>(a[i * leftStep], b[i * rightStep]);
            }
        }
    }
    return result;
}

template <int Sign>
MatrixSoft<double> sumOf(const BasicMatrix<double>& left, const BasicMatrix<double>& right, const char* operation) {
    if (left.isPlain() && right.isPlain()) {
        const int rowCount = plainRows(left);
        const int colCount = plainCols(left);
        require(rowCount == plainRows(right) && colCount == plainCols(right), operation);
        return sumOfPlain<Sign>(left, right, rowCount, colCount);
    }
    require(left.rows() == right.rows(), operation);
    require(left.cols() == right.cols(), operation);
    Matrix<double> result = compactCopy(left);
    addMatrices<Sign>(result, right, operation);
    return result;
}

/// left * right of two plain matrices of at most largestSmallOrder. A function of its own, for its result then arises
/// where the caller wants it: compilers copy one of several that a function may return.
MatrixSoft<double> productOfSmall(const BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    const int rowCount = plainRows(left);
    const int colCount = plainCols(right);
    const int inner = plainCols(left);
    require(inner == plainRows(right), "Matrix * Matrix");
    MatrixSoft<double> result(rowCount, colCount);
    detail::smallProduct(rowCount, colCount, inner, smallOperand(left), smallOperand(right), result.array.data);
    return result;
}

/// Applies work to every element of the view, in walking order.
template <class Work>
void forElements(BasicMatrix<double>& matrix, Work work) {
    if (!matrix.isPlain()) {
        for (double& element : matrix) {
            work(element);
        }
        return;
    }
    for (std::ptrdiff_t j = matrix.colRange.start; j <= matrix.colRange.end; ++j) {
        double* const column = matrix.array.data + j * matrix.storedRows + matrix.rowRange.start;
        for (std::ptrdiff_t i = 0; i < matrix.rowRange.size(); ++i) {
            work(column[i]);
        }
    }
}

}  // namespace

void inPlace::multiply(BasicVector<double>& left, double factor) {
    for (double& element : left) {
        element *= factor;
    }
}

void inPlace::multiply(BasicMatrix<double>& left, double factor) {
    forElements(left, [factor](double& element) { element *= factor; });
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
    addMatrices<1>(left, right, "Matrix + Matrix");
}

void inPlace::subtract(BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    addMatrices<-1>(left, right, "Matrix - Matrix");
}

MatrixSoft<double> operator*(const BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    if (left.isPlain() && right.isPlain() && isSmall(plainRows(left)) && isSmall(plainCols(left)) &&
        isSmall(plainCols(right))) {
        return productOfSmall(left, right);
    }
    const int inner = left.cols();
    require(inner == right.rows(), "Matrix * Matrix");
    if (inner == 0) {
        return Matrix<double>();
    }
    if (!left.hasUnitStrides() || !right.hasUnitStrides()) {
        return compactCopy(left) * compactCopy(right);
    }
    const int rowCount = left.rows();
    const int colCount = right.cols();
    MatrixSoft<double> result(rowCount, colCount);
    qormath::lapack::gemm(opOf(left), opOf(right), rowCount, colCount, inner, 1.0, left.numericData(false),
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
    if (std::int64_t{rowCount} * colCount > std::numeric_limits<int>::max()) {
        throw std::bad_alloc();  // the matrix would come with a block that is too small for its zeros
    }
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
    const int rowCount = left.rows();
    Vector<double> result(rowCount);
    if (inner == 0) {
        result.fill(0.0);
    } else if (isSmall(rowCount) && isSmall(inner)) {
        const detail::SmallOperand x{right.numericData(), right.range.stride, 0};
        detail::smallProduct(rowCount, 1, inner, smallOperand(left), x, result.data);
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
    return sumOf<1>(left, right, "Matrix + Matrix");
}

MatrixSoft<double> operator-(const BasicMatrix<double>& left, const BasicMatrix<double>& right) {
    return sumOf<-1>(left, right, "Matrix - Matrix");
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
    forElements(result, [divisor](double& element) { element /= divisor; });
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
    if (largestOrdinary(*this, largest)) {
        return largest;
    }
    largest = 0.0;
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
    const int rowCount = result.rows();
    for (int j = 0; j < result.cols(); ++j) {
        const double factor = factors[j];
        for (int i = 0; i < rowCount; ++i) {
            result(i, j) *= factor;
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
