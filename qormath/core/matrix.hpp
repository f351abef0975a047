#pragma once

/// @file
/// Matrices: values, and handles on blocks.

#include <algorithm>
#include <complex>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <iterator>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include <qormath/core/element_kind.hpp>
#include <qormath/core/iterators.hpp>
#include <qormath/core/mkl_complex16.hpp>
#include <qormath/core/range.hpp>
#include <qormath/core/shared_array.hpp>
#include <qormath/core/vector.hpp>
#include <qormath/core/xmsg.hpp>
#include <qormath/export.h>

namespace QorMathLA {

template <class T>
class QORMATH_API MatrixSoft;
template <class T>
class QORMATH_API BasicMatrix;

/// The elements of a complex matrix as pairs of doubles, in a new compact block; see complex_matrix.hpp.
QORMATH_API MatrixSoft<_MKL_Complex16> pairsOf(const BasicMatrix<std::complex<double>>& source);

/// What Matrix and MatrixSoft have in common: a share of a column-major block, the ranges of stored rows and columns
/// that this object shows, and whether the logical matrix is the transpose of them. The two differ in what copying
/// means; see there. No index and no selection is checked against a bound. Row and column views take a stride of 1 in
/// both ranges for granted.
template <class T>
class QORMATH_API BasicMatrix {
  public:
    using value_type = T;  ///< type of the elements

    /// Logical row count.
    int rows() const { return transposed ? colRange.size() : rowRange.size(); }

    /// Logical column count.
    int cols() const { return transposed ? rowRange.size() : colRange.size(); }

    /// The number of elements in the whole block.
    int blockSize() const { return array.count; }

    /// Logical element (i, j).
    T& operator()(int i, int j) { return array.data[position(i, j)]; }

    /// @overload
    const T& operator()(int i, int j) const { return array.data[position(i, j)]; }

    /// The sub-matrix of logical rows and columns; selections are relative to the view, and a negative start selects
    /// everything. Throws the int -1 if a stride differs from that of the view.
    MatrixSoft<T> operator()(const Range& rowSelection, const Range& colSelection) const;

    /// Logical row i, as a view of the same block.
    VectorSoft<T> row(int i) const;

    /// Logical column j, as a view of the same block.
    VectorSoft<T> column(int j) const;

    /// Row, or column, number index, from position offset: at most length elements, or all to its end if length is
    /// below 1.
    VectorSoft<T> slice(int index, bool byColumn, int offset, int length = 0) const;

    /// The transpose, as a view of the same block.
    MatrixSoft<T> transpose() const;

    /// Address of the first stored element of the view, null if there is no block. With check set a transposed matrix
    /// throws xmsg 9 "Matrix: get data for Fortran call", for a routine that has no transposition argument would
    /// misread it.
    T* numericData(bool check) {
        requireUntransposed(check);
        return array.data == nullptr ? nullptr : array.data + firstPosition();
    }

    /// @overload
    const T* numericData(bool check) const {
        requireUntransposed(check);
        return array.data == nullptr ? nullptr : array.data + firstPosition();
    }

    /// Leading dimension of the block; with check set, the stored column count for a transposed matrix.
    int leadingDimension(bool check) const { return check && transposed ? storedCols : storedRows; }

    /// True when both ranges have a stride of 1, which row and column views and the numeric routines take for granted.
    bool hasUnitStrides() const { return rowRange.stride == 1 && colRange.stride == 1; }

    /// True when the view has elements, all of which a walk in steps of 1 reaches: where loops over addresses stand for
    /// walks.
    bool isPlain() const {
        return array.data != nullptr && hasUnitStrides() && rowRange.end >= rowRange.start &&
               colRange.end >= colRange.start;
    }

    /// Sets every element of the view, and thus of the block that it shows.
    void fill(const T& value);

    /// The start of a walk over the elements of the view, in logical column-major order.
    ColumnIterator<T> begin() { return {array.data, storedRows, transposed, rowRange, colRange}; }

    /// @overload
    ColumnIterator<const T> begin() const { return {array.data, storedRows, transposed, rowRange, colRange}; }

    /// The end of every walk.
    std::default_sentinel_t end() const { return {}; }

    // ------------------------------------------------------------ for double only, see arithmetic.hpp

    /// Writes each logical row: every element through a field of the given width, a tab after it, and a newline after
    /// the last one. A matrix without rows writes nothing.
    void print(std::ostream& stream, int width) const;

    /// A copy whose column j is multiplied by factors[j]. xmsg 5 "Matrix scaleColumnsBy" if the sizes differ.
    MatrixSoft<T> scaleColumnsBy(const BasicVector<T>& factors) const;

    /// A copy whose row i is multiplied by factors[i]. xmsg 5 "Matrix scaleRowsBy" if the sizes differ.
    MatrixSoft<T> scaleRowsBy(const BasicVector<T>& factors) const;

    /// This matrix with other to its right. xmsg 5 "Matrix appendToRight" if the row counts differ.
    MatrixSoft<T> appendToRight(const BasicMatrix& other) const;

    /// This matrix with other below it. xmsg 5 "Matrix appendToBottom" if the column counts differ.
    MatrixSoft<T> appendToBottom(const BasicMatrix& other) const;

    /// X with this X = b, through the pseudo-inverse, so that a singular matrix is no failure. For a matrix that is
    /// not square the minimum-norm right inverse A' (A A')^+ is taken, whatever the shape; it is no least-squares
    /// solution for a tall one. xmsg 5 "Matrix left division: %" if the row counts differ.
    MatrixSoft<T> leftDivide(const BasicMatrix& b) const;

    /// Sum of the squares of the elements, in walking order, without a square root.
    double sumSquares() const;

    /// Largest absolute element. A NaN replaces the running value, and the next element replaces the NaN.
    double maxAbs() const;

    // ------------------------------------------------------------ for double only, see dense_factorisations.cpp

    // Each of these throws xmsg 9 for a transposed matrix and the int -1 for a view of another stride than 1, before
    // any element is changed. NaN and infinity are reported as a failure of the iteration that they would have met.

    /// Singular value decomposition A = U S V' of an m by n matrix, in place (LAPACK's gesvd): the first min(m, n)
    /// columns become the left singular vectors. s becomes a vector of n elements of which the first min(m, n) are
    /// the singular values, in descending order; v the n by n matrix V of right singular vectors (not transposed) if
    /// wantVectors is set, else it stays. maxIterations has no effect on the LAPACK route.
    /// Throws xmsg 11 "Matrix SVD" if the iteration fails; m, s and v are then undetermined.
    void svd(Vector<T>& s, Matrix<T>& v, int maxIterations, bool wantVectors);

    /// Scales a square matrix by a diagonal similarity, in place, without permuting it (LAPACK's gebal, job S). The
    /// scaling is not kept, so this is a step for eigenvalues. Throws xmsg 11 "Matrix balance", also for a matrix
    /// that is not square.
    BasicMatrix& balance();

    /// Reduces a square matrix to upper Hessenberg form, in place (LAPACK's gehrd); the reflectors stay below the
    /// subdiagonal. Throws xmsg 11 "Matrix Hessenburg reduction" for a matrix that is not square.
    BasicMatrix& hessenberg();

    /// The eigenvalues of an upper Hessenberg matrix (LAPACK's hseqr); what stands below the subdiagonal is not read.
    /// They come unsorted, a complex pair side by side with the positive imaginary part first. The matrix is destroyed;
    /// maxIterations has no effect on the LAPACK route. Throws xmsg 11 "Hessenburg Matrix eigenvalues", also for a
    /// matrix that is not square.
    BasicMatrix& hessenbergEigenvalues(Vector<T>& re, Vector<T>& im, int maxIterations);

    /// The eigenvalues of a square matrix: balance, hessenberg, hessenbergEigenvalues. The matrix is destroyed.
    BasicMatrix& eigenvalues(Vector<T>& re, Vector<T>& im, int maxIterations);

    std::int32_t storedRows = 0;  ///< rows of the block, the leading dimension of every view of it
    std::int32_t storedCols = 0;  ///< columns of the block
    bool transposed = false;      ///< the logical matrix is the transpose of the stored view
    Range rowRange;               ///< stored rows that this object shows
    Range colRange;               ///< stored columns that this object shows
    SharedArray<T> array;         ///< the block
    std::int32_t elementKind;     ///< tag of the element type, matrixElementKind

  protected:
    /// @cond for the two derived classes alone
    BasicMatrix() noexcept : elementKind(matrixElementKind<T>()) {}
    // Copies share the block. There are no moves: an object that was moved from would show elements it does not hold.
    BasicMatrix(const BasicMatrix&) = default;
    BasicMatrix& operator=(const BasicMatrix&) = default;
    ~BasicMatrix() = default;

    // All of a new block, of unset elements or of those at source.
    BasicMatrix(int rowCount, int colCount, const T* source, bool adopt)
        : storedRows(rowCount),
          storedCols(colCount),
          rowRange(0, rowCount - 1, 1),
          colRange(0, colCount - 1, 1),
          elementKind(matrixElementKind<T>()) {
        // Unsigned, for a product beyond 32 bits wraps around instead of being undefined.
        const std::uint32_t elements = static_cast<std::uint32_t>(rowCount) * static_cast<std::uint32_t>(colCount);
        array.initialise(static_cast<std::int32_t>(elements), source, adopt);
    }

    // In the place of an object that is about to go, which is left empty.
    struct InPlaceOf {
        BasicMatrix& other;
    };

    BasicMatrix(InPlaceOf place) noexcept
        : storedRows(std::exchange(place.other.storedRows, 0)),
          storedCols(std::exchange(place.other.storedCols, 0)),
          transposed(std::exchange(place.other.transposed, false)),
          rowRange(std::exchange(place.other.rowRange, Range())),
          colRange(std::exchange(place.other.colRange, Range())),
          array(std::move(place.other.array)),
          elementKind(place.other.elementKind) {}
    /// @endcond

    /// Takes the other's place as a holder, with the same view, and leaves the other empty. The kind is not taken.
    void takeOver(BasicMatrix& other) noexcept {
        array = std::move(other.array);
        storedRows = std::exchange(other.storedRows, 0);
        storedCols = std::exchange(other.storedCols, 0);
        transposed = std::exchange(other.transposed, false);
        rowRange = std::exchange(other.rowRange, Range());
        colRange = std::exchange(other.colRange, Range());
    }

  private:
    std::ptrdiff_t firstPosition() const {
        return static_cast<std::ptrdiff_t>(colRange.start) * storedRows + rowRange.start;
    }

    std::ptrdiff_t position(int i, int j) const {
        const std::ptrdiff_t storedRow = rowRange.start + static_cast<std::ptrdiff_t>(transposed ? j : i);
        const std::ptrdiff_t storedCol = colRange.start + static_cast<std::ptrdiff_t>(transposed ? i : j);
        return storedCol * storedRows + storedRow;
    }

    void requireUntransposed(bool check) const {
        if (check && transposed) {
            throw xmsg(TransposedDataAccess, "Matrix: get data for Fortran call");
        }
    }

    VectorSoft<T> vectorView(std::ptrdiff_t start, std::ptrdiff_t last, std::int32_t stride) const;
    VectorSoft<T> contiguousView(int index, int offset, int length) const;
    VectorSoft<T> stridedView(int index, int offset, int length) const;
};

/// A matrix that owns its elements by value: copying copies them compactly. Built or assigned from a MatrixSoft it
/// shares the block instead; so a result leaves a function without a copy of its elements.
template <class T>
class QORMATH_API Matrix : public BasicMatrix<T> {
  public:
    /// The empty 0 by 0 matrix.
    Matrix() noexcept = default;

    /// A rowCount by colCount matrix: of the elements at source without a copy if adopt is set and source is not null,
    /// otherwise of copies of them, or of unset elements if source is null. Source is column-major. The product of the
    /// counts has to fit 32 bits.
    Matrix(int rowCount, int colCount, const T* source = nullptr, bool adopt = false)
        : BasicMatrix<T>(rowCount, colCount, source, adopt) {}

    /// A compact copy; with deep false a further holder of the block, with the same view of it.
    Matrix(const Matrix& other, bool deep = true) : BasicMatrix<T>() {
        if (deep) {
            copyCompactly(other);
        } else {
            BasicMatrix<T>::operator=(other);
        }
        this->elementKind = other.elementKind;
    }

    /// A copy whose cost is saved where nobody can tell: where other alone holds its block and shows all of it.
    Matrix(Matrix&& other) : BasicMatrix<T>() {
        takeOrCopy(other);
        this->elementKind = other.elementKind;
    }

    /// Shares the block.
    Matrix(const MatrixSoft<T>& other) : BasicMatrix<T>(other) {}

    /// Takes the place of a view that is about to go.
    Matrix(MatrixSoft<T>&& other) noexcept : BasicMatrix<T>(typename BasicMatrix<T>::InPlaceOf{other}) {}

    /// A compact copy of any view.
    static Matrix copyOf(const BasicMatrix<T>& source) {
        Matrix result;
        result.copyCompactly(source);
        result.elementKind = source.elementKind;
        return result;
    }

    /// For _MKL_Complex16: the elements of a complex matrix, in walking order, in a new compact block.
    template <std::derived_from<BasicMatrix<std::complex<double>>> Source>
    requires std::same_as<T, _MKL_Complex16> Matrix(const Source& source) : Matrix(pairsOf(source)) {}

    ~Matrix() = default;

    /// A compact copy in a new block; the own elementKind stays. Assigning a matrix to itself is safe.
    Matrix& operator=(const Matrix& other) {
        copyCompactly(other);
        return *this;
    }

    /// A copy whose cost is saved where nobody can tell, as for the constructor.
    Matrix& operator=(Matrix&& other) {
        if (this != &other) {
            takeOrCopy(other);
        }
        return *this;
    }

    /// Becomes a further holder of the block; keeps the own elementKind.
    Matrix& operator=(const MatrixSoft<T>& other) {
        const std::int32_t ownKind = this->elementKind;
        BasicMatrix<T>::operator=(other);
        this->elementKind = ownKind;
        return *this;
    }

    /// Takes the place of a view that is about to go; keeps the own elementKind.
    Matrix& operator=(MatrixSoft<T>&& other) noexcept {
        this->takeOver(other);
        return *this;
    }

    /// Sets every element of the view.
    Matrix& operator=(const T& value) {
        this->fill(value);
        return *this;
    }

    /// Becomes the transpose. A transposed view only drops its flag; otherwise the elements move to a new block.
    void transposeInPlace();

    /// Becomes the identity of order n, or of its own logical row count if n is -1, in a new block. For the numeric
    /// element types.
    void setIdentity(int n = -1);

    /// The identity of order n, or of the own logical row count if n is -1.
    MatrixSoft<T> identity(int n = -1) const;

    /// Becomes a rowCount by colCount matrix of the same pseudo-random numbers between 0 and 10 at every call. It
    /// seeds the C library's generator. For double.
    void randomize(int rowCount, int colCount);

  private:
    bool isWhole() const {
        return this->array.count > 0 && this->array.data != nullptr && !this->transposed && this->rowRange.start == 0 &&
               this->rowRange.stride == 1 && this->rowRange.end == this->storedRows - 1 && this->colRange.start == 0 &&
               this->colRange.stride == 1 && this->colRange.end == this->storedCols - 1;
    }

    void setWhole(int rowCount, int colCount) {
        this->storedRows = rowCount;
        this->storedCols = colCount;
        this->transposed = false;
        this->rowRange = Range(0, rowCount - 1, 1);
        this->colRange = Range(0, colCount - 1, 1);
    }

    void copyCompactly(const BasicMatrix<T>& source);
    void takeOrCopy(Matrix& source);
};

/// A handle on part of somebody's block: the type of views and results. Copying shares; assigning writes the elements
/// through the view, both operands in logical column-major order until the shorter ends, and leaves the handle where
/// it is.
template <class T>
class QORMATH_API MatrixSoft : public BasicMatrix<T> {
  public:
    /// A handle on a new block of rowCount by colCount unset elements, for a function that fills and returns it.
    MatrixSoft(int rowCount, int colCount) : BasicMatrix<T>(rowCount, colCount, nullptr, false) {}

    ///@{
    /// A further holder of the block, with the same view of it.
    MatrixSoft(const MatrixSoft&) = default;
    MatrixSoft(const Matrix<T>& other) : BasicMatrix<T>(other) {}

    /// Takes the place of a matrix that is about to go, as the local one that a function returns.
    MatrixSoft(Matrix<T>&& other) noexcept : BasicMatrix<T>(typename BasicMatrix<T>::InPlaceOf{other}) {}
    explicit MatrixSoft(const BasicMatrix<T>& other) : BasicMatrix<T>(other) {}
    ///@}

    ~MatrixSoft() = default;

    // Without a move assignment an rvalue is written element by element too: m(part) = w(part) is never a rebind.
    ///@{
    /// Writes the elements of source into those shown here, until the shorter of the two ends.
    MatrixSoft& operator=(const MatrixSoft& source) {
        assignElements(source);
        return *this;
    }

    MatrixSoft& operator=(const Matrix<T>& source) {
        assignElements(source);
        return *this;
    }
    ///@}

    /// Sets every element of the view.
    MatrixSoft& operator=(const T& value) {
        this->fill(value);
        return *this;
    }

  private:
    void assignElements(const BasicMatrix<T>& source);
};

template <class T>
MatrixSoft<T> BasicMatrix<T>::operator()(const Range& rowSelection, const Range& colSelection) const {
    const auto select = [](Range& shown, const Range& selection) {
        if (shown.stride != selection.stride) {
            throw -1;
        }
        if (selection.start >= 0) {
            shown.start += selection.start;
            shown.end = selection.end - selection.start + shown.start;
        }
    };
    MatrixSoft<T> view(*this);
    select(view.rowRange, transposed ? colSelection : rowSelection);
    select(view.colRange, transposed ? rowSelection : colSelection);
    return view;
}

template <class T>
VectorSoft<T> BasicMatrix<T>::vectorView(std::ptrdiff_t start, std::ptrdiff_t last, std::int32_t stride) const {
    return {array, Range(static_cast<std::int32_t>(start), static_cast<std::int32_t>(last), stride), elementKind};
}

/// Part of stored column number index of the view.
template <class T>
VectorSoft<T> BasicMatrix<T>::contiguousView(int index, int offset, int length) const {
    const std::ptrdiff_t start =
        (static_cast<std::ptrdiff_t>(colRange.start) + index) * storedRows + rowRange.start + offset;
    const int limit = length < 1 ? rowRange.size() - offset : std::min(length, rowRange.size());
    return vectorView(start, start + limit - 1, 1);
}

/// Part of stored row number index of the view.
template <class T>
VectorSoft<T> BasicMatrix<T>::stridedView(int index, int offset, int length) const {
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(rowRange.start) + index;
    const std::ptrdiff_t firstColumn = static_cast<std::ptrdiff_t>(colRange.start) + offset;
    const std::ptrdiff_t rowLast = static_cast<std::ptrdiff_t>(colRange.end) * storedRows + row;
    const std::ptrdiff_t last = length < 1 ? rowLast : std::min(rowLast, (firstColumn + length - 1) * storedRows + row);
    return vectorView(firstColumn * storedRows + row, last, storedRows == 0 ? 1 : storedRows);
}

template <class T>
VectorSoft<T> BasicMatrix<T>::row(int i) const {
    return transposed ? contiguousView(i, 0, 0) : stridedView(i, 0, 0);
}

template <class T>
VectorSoft<T> BasicMatrix<T>::column(int j) const {
    return transposed ? stridedView(j, 0, 0) : contiguousView(j, 0, 0);
}

template <class T>
VectorSoft<T> BasicMatrix<T>::slice(int index, bool byColumn, int offset, int length) const {
    return byColumn != transposed ? contiguousView(index, offset, length) : stridedView(index, offset, length);
}

template <class T>
MatrixSoft<T> BasicMatrix<T>::transpose() const {
    MatrixSoft<T> view(*this);
    view.transposed = !transposed;
    return view;
}

template <class T>
void BasicMatrix<T>::fill(const T& value) {
    if (!isPlain()) {
        for (T& element : *this) {
            element = value;
        }
        return;
    }
    for (std::ptrdiff_t j = colRange.start; j <= colRange.end; ++j) {
        std::fill_n(array.data + j * storedRows + rowRange.start, rowRange.size(), value);
    }
}

template <class T>
void Matrix<T>::copyCompactly(const BasicMatrix<T>& source) {
    const int rowCount = source.rows();
    const int colCount = source.cols();
    const bool holdsNothing = source.array.data == nullptr;
    SharedArray<T> copy;
    const std::int64_t elements = holdsNothing ? 0 : std::int64_t{rowCount} * colCount;
    if (elements > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    copy.initialise(static_cast<std::int32_t>(elements), nullptr, false);
    const bool showsWholeBlock = !source.transposed && rowCount == source.storedRows && colCount == source.storedCols;
    if (showsWholeBlock && this->elementKind < firstKindCopiedByElement && std::is_trivially_copyable_v<T>) {
        std::copy_n(source.array.data, copy.count, copy.data);
    } else if (!source.transposed && source.hasUnitStrides()) {
        for (std::ptrdiff_t j = 0; copy.count > 0 && j < colCount; ++j) {
            std::copy_n(source.numericData(false) + j * source.storedRows, rowCount, copy.data + j * rowCount);
        }
    } else {
        detail::storeWalk(source.begin(), copy.data, copy.count);
    }
    this->array = std::move(copy);
    setWhole(rowCount, colCount);
}

template <class T>
void Matrix<T>::takeOrCopy(Matrix& source) {
    if (source.isWhole() && source.array.isSoleHolder()) {
        this->array = std::move(source.array);
        setWhole(source.storedRows, source.storedCols);
        source.setWhole(0, 0);
    } else {
        copyCompactly(source);
    }
}

template <class T>
void Matrix<T>::transposeInPlace() {
    if (this->transposed) {
        this->transposed = false;
        return;
    }
    *this = Matrix(this->transpose());
}

template <class T>
void MatrixSoft<T>::assignElements(const BasicMatrix<T>& source) {
    if (!this->isPlain() || !source.isPlain() || this->rows() != source.rows() || this->cols() != source.cols()) {
        detail::writeWalk(this->begin(), source.begin());
        return;
    }
    // In walking order too: the two views may overlap.
    const int rowCount = this->rows();
    const int colCount = this->cols();
    const std::ptrdiff_t targetStep = this->transposed ? this->storedRows : 1;
    const std::ptrdiff_t sourceStep = source.transposed ? source.storedRows : 1;
    for (int j = 0; j < colCount; ++j) {
        T* const target = &(*this)(0, j);
        const T* const element = &source(0, j);
        if (targetStep == 1 && sourceStep == 1) {
            for (std::ptrdiff_t i = 0; i < rowCount; ++i) {
                target[i] = element[i];
            }
        } else {
            for (std::ptrdiff_t i = 0; i < rowCount; ++i) {
                target[i * targetStep] = element[i * sourceStep];
            }
        }
    }
}

/// @cond what is described with the templates
// Members that stand for some element types only.
template <>
QORMATH_API void Matrix<int>::setIdentity(int n);
template <>
QORMATH_API void Matrix<long>::setIdentity(int n);
template <>
QORMATH_API void Matrix<double>::setIdentity(int n);
template <>
QORMATH_API void Matrix<_MKL_Complex16>::setIdentity(int n);
template <>
QORMATH_API void Matrix<std::complex<double>>::setIdentity(int n);
template <>
QORMATH_API MatrixSoft<int> Matrix<int>::identity(int n) const;
template <>
QORMATH_API MatrixSoft<long> Matrix<long>::identity(int n) const;
template <>
QORMATH_API MatrixSoft<double> Matrix<double>::identity(int n) const;
template <>
QORMATH_API MatrixSoft<_MKL_Complex16> Matrix<_MKL_Complex16>::identity(int n) const;
template <>
QORMATH_API MatrixSoft<std::complex<double>> Matrix<std::complex<double>>::identity(int n) const;
template <>
QORMATH_API void Matrix<double>::randomize(int rowCount, int colCount);
template <>
QORMATH_API void BasicMatrix<double>::print(std::ostream& stream, int width) const;
template <>
QORMATH_API MatrixSoft<double> BasicMatrix<double>::scaleColumnsBy(const BasicVector<double>& factors) const;
template <>
QORMATH_API MatrixSoft<double> BasicMatrix<double>::scaleRowsBy(const BasicVector<double>& factors) const;
template <>
QORMATH_API MatrixSoft<double> BasicMatrix<double>::appendToRight(const BasicMatrix& other) const;
template <>
QORMATH_API MatrixSoft<double> BasicMatrix<double>::appendToBottom(const BasicMatrix& other) const;
template <>
QORMATH_API MatrixSoft<double> BasicMatrix<double>::leftDivide(const BasicMatrix& b) const;
template <>
QORMATH_API double BasicMatrix<double>::sumSquares() const;
template <>
QORMATH_API double BasicMatrix<double>::maxAbs() const;
template <>
QORMATH_API void BasicMatrix<double>::svd(Vector<double>& s, Matrix<double>& v, int maxIterations, bool wantVectors);
template <>
QORMATH_API BasicMatrix<double>& BasicMatrix<double>::balance();
template <>
QORMATH_API BasicMatrix<double>& BasicMatrix<double>::hessenberg();
template <>
QORMATH_API BasicMatrix<double>& BasicMatrix<double>::hessenbergEigenvalues(Vector<double>& re, Vector<double>& im,
                                                                            int maxIterations);
template <>
QORMATH_API BasicMatrix<double>& BasicMatrix<double>::eigenvalues(Vector<double>& re, Vector<double>& im,
                                                                  int maxIterations);
/// @endcond

extern template class BasicMatrix<int>;
extern template class BasicMatrix<double>;
extern template class BasicMatrix<long>;
extern template class BasicMatrix<_MKL_Complex16>;
extern template class BasicMatrix<std::complex<double>>;
extern template class BasicMatrix<Vector<double>>;
extern template class Matrix<int>;
extern template class Matrix<double>;
extern template class Matrix<long>;
extern template class Matrix<_MKL_Complex16>;
extern template class Matrix<std::complex<double>>;
extern template class Matrix<Vector<double>>;
extern template class MatrixSoft<int>;
extern template class MatrixSoft<double>;
extern template class MatrixSoft<long>;
extern template class MatrixSoft<_MKL_Complex16>;
extern template class MatrixSoft<std::complex<double>>;
extern template class MatrixSoft<Vector<double>>;
// Matrix<double> is complete here, so vectors of them can stand.
extern template class BasicVector<Matrix<double>>;
extern template class Vector<Matrix<double>>;
extern template class VectorSoft<Matrix<double>>;

/// Writes the matrix with print and a width of 10.
QORMATH_API std::ostream& operator<<(std::ostream& stream, const BasicMatrix<double>& matrix);

}  // namespace QorMathLA

#include <qormath/core/arithmetic.hpp>
