#pragma once

/// @file
/// Vectors: values, and handles on blocks.

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <type_traits>

#include <qormath/core/element_kind.hpp>
#include <qormath/core/iterators.hpp>
#include <qormath/core/range.hpp>
#include <qormath/core/shared_array.hpp>
#include <qormath/export.h>

namespace QorMathLA {

template <class T>
class QORMATH_API VectorSoft;
template <class T>
class QORMATH_API BasicMatrix;
template <class T>
class QORMATH_API BasicVector;

/// The elements of a complex vector as pairs of doubles, in a new compact block; see complex_matrix.hpp.
QORMATH_API VectorSoft<_MKL_Complex16> pairsOf(const BasicVector<std::complex<double>>& source);

/// What Vector and VectorSoft have in common: a share of a block, and the range of it that this object shows. The two
/// differ in what copying means; see there. No index and no selection is checked against a bound.
template <class T>
class QORMATH_API BasicVector : public SharedArray<T> {
  public:
    using value_type = T;  ///< type of the elements

    /// The number of elements shown; never the size of the block.
    int size() const { return range.size(); }

    /// Element number index of the view.
    T& operator[](int index) { return this->data[position(index)]; }

    /// @overload
    const T& operator[](int index) const { return this->data[position(index)]; }

    /// The part of this view that the selection, relative to the view, tells; a negative start selects everything.
    /// Throws the int -1 if the two strides differ.
    VectorSoft<T> operator()(const Range& selection) const;

    /// Address of the first element shown; null if there is no block.
    T* numericData() { return this->data == nullptr ? nullptr : this->data + range.start; }

    /// @overload
    const T* numericData() const { return this->data == nullptr ? nullptr : this->data + range.start; }

    /// Sets every element of the view, and thus of the block that it shows.
    void fill(const T& value);

    /// A compact new vector of the same length with all elements set to value.
    VectorSoft<T> filled(const T& value) const;

    /// The start of a walk over the elements of the view, in index order.
    VectorIterator<T> begin() { return {this->data, range}; }

    /// @overload
    VectorIterator<const T> begin() const { return {this->data, range}; }

    /// The end of every walk.
    std::default_sentinel_t end() const { return {}; }

    /// Largest absolute value, NaN left out; index receives the position of the first element that has it, 0 where no
    /// element is above zero. For double.
    double maxAbsIndex(int& index) const;

    /// Largest absolute value, NaN left out. For double.
    double maxAbs() const;

    /// Sum in index order. For double and for int.
    T sum() const;

    /// Sum of the absolute values in index order. For double.
    double sumAbs() const;

    Range range;               ///< positions in the block that this vector shows
    std::int32_t elementKind;  ///< tag of the element type, vectorElementKind

  protected:
    /// @cond for the two derived classes alone
    BasicVector() noexcept : elementKind(vectorElementKind<T>()) {}
    BasicVector(const SharedArray<T>& block, const Range& shown, std::int32_t kind) noexcept
        : SharedArray<T>(block), range(shown), elementKind(kind) {}

    // Copies share the block. There are no moves: an object that was moved from would show elements it does not hold.
    BasicVector(const BasicVector&) = default;
    BasicVector& operator=(const BasicVector&) = default;
    ~BasicVector() = default;
    /// @endcond

    /// Takes the other's place as a holder, with the same view, and leaves the other empty. The kind is not taken.
    void takeOver(BasicVector& other) noexcept {
        SharedArray<T>::operator=(std::move(static_cast<SharedArray<T>&>(other)));
        range = other.range;
        other.range = Range();
    }

    /// Writes the elements of source into those shown here, until the shorter of the two ends.
    void assignElements(const BasicVector& source);

  private:
    std::ptrdiff_t position(int index) const { return range.start + static_cast<std::ptrdiff_t>(index) * range.stride; }

    friend class Vector<T>;
    friend class VectorSoft<T>;
};

/// A vector that owns its elements by value: copying copies them compactly. Built or assigned from a VectorSoft it
/// shares the block instead; so a result leaves a function without a copy of its elements.
template <class T>
class QORMATH_API Vector : public BasicVector<T> {
  public:
    /// The empty vector.
    Vector() noexcept = default;

    /// A vector of length elements: those at source without a copy if adopt is set and source is not null, otherwise
    /// copies of them, or unset elements if source is null. A length below 1 gives the empty vector.
    explicit Vector(int length, const T* source = nullptr, bool adopt = false) {
        this->initialise(length, source, adopt);
        this->range = Range(0, this->count - 1, 1);
    }

    /// A compact copy; with deep false a further holder of the block, with the same view of it.
    Vector(const Vector& other, bool deep = true) : BasicVector<T>() {
        if (deep) {
            copyCompactly(other);
        } else {
            BasicVector<T>::operator=(other);
        }
        this->elementKind = other.elementKind;
    }

    /// A copy whose cost is saved where nobody can tell: where other alone holds its block and shows all of it.
    Vector(Vector&& other) : BasicVector<T>() {
        takeOrCopy(other);
        this->elementKind = other.elementKind;
    }

    /// Shares the block.
    Vector(const VectorSoft<T>& other) : BasicVector<T>(other) {}

    /// Takes the place of a view that is about to go.
    Vector(VectorSoft<T>&& other) noexcept : BasicVector<T>() {
        this->takeOver(other);
        this->elementKind = other.elementKind;
    }

    /// For _MKL_Complex16: the elements of a complex vector, in index order, in a new compact block.
    template <std::derived_from<BasicVector<std::complex<double>>> Source>
    requires std::same_as<T, _MKL_Complex16> Vector(const Source& source) : Vector(pairsOf(source)) {}

    ~Vector() = default;

    /// A compact copy in a new block; the own elementKind stays. Assigning a vector to itself is safe.
    Vector& operator=(const Vector& other) {
        copyCompactly(other);
        return *this;
    }

    /// A copy whose cost is saved where nobody can tell, as for the constructor.
    Vector& operator=(Vector&& other) {
        if (this != &other) {
            takeOrCopy(other);
        }
        return *this;
    }

    /// Becomes a further holder of the block; keeps the own elementKind.
    Vector& operator=(const VectorSoft<T>& other) {
        this->shareFrom(other);
        this->range = other.range;
        return *this;
    }

    /// Takes the place of a view that is about to go; keeps the own elementKind.
    Vector& operator=(VectorSoft<T>&& other) noexcept {
        this->takeOver(other);
        return *this;
    }

    /// Sets every element of the view.
    Vector& operator=(const T& value) {
        this->fill(value);
        return *this;
    }

    /// A compact copy of any view.
    static Vector copyOf(const BasicVector<T>& source) {
        Vector result;
        result.copyCompactly(source);
        result.elementKind = source.elementKind;
        return result;
    }

  private:
    bool isWhole() const {
        return this->count > 0 && this->data != nullptr && this->range.start == 0 && this->range.stride == 1 &&
               this->range.end == this->count - 1;
    }

    void copyCompactly(const BasicVector<T>& source);
    void takeOrCopy(Vector& source);
};

/// A handle on part of somebody's block: the type of views and results. Copying shares; assigning writes the elements
/// through the view and leaves the handle where it is.
template <class T>
class QORMATH_API VectorSoft : public BasicVector<T> {
  public:
    ///@{
    /// A further holder of the block, with the same view of it.
    VectorSoft(const VectorSoft&) = default;
    VectorSoft(const Vector<T>& other) : BasicVector<T>(other) {}

    /// Takes the place of a vector that is about to go, as the local one that a function returns.
    VectorSoft(Vector<T>&& other) noexcept : BasicVector<T>() {
        this->takeOver(other);
        this->elementKind = other.elementKind;
    }
    explicit VectorSoft(const BasicVector<T>& other) : BasicVector<T>(other) {}
    ///@}

    ~VectorSoft() = default;

    // Without a move assignment an rvalue is written element by element too: v(part) = w(part) is never a rebind.
    ///@{
    /// Writes the elements of source into those shown here, until the shorter of the two ends.
    VectorSoft& operator=(const VectorSoft& source) {
        this->assignElements(source);
        return *this;
    }

    VectorSoft& operator=(const Vector<T>& source) {
        this->assignElements(source);
        return *this;
    }
    ///@}

    /// Sets every element of the view.
    VectorSoft& operator=(const T& value) {
        this->fill(value);
        return *this;
    }

  private:
    VectorSoft(const SharedArray<T>& block, const Range& shown, std::int32_t kind) noexcept
        : BasicVector<T>(block, shown, kind) {}

    friend class BasicMatrix<T>;
};

template <class T>
VectorSoft<T> BasicVector<T>::operator()(const Range& selection) const {
    if (range.stride != selection.stride) {
        throw -1;
    }
    VectorSoft<T> view(*this);
    if (selection.start >= 0) {
        view.range.start = range.start + selection.start;
        view.range.end = selection.end - selection.start + view.range.start;
    }
    return view;
}

template <class T>
void BasicVector<T>::fill(const T& value) {
    for (T& element : *this) {
        element = value;
    }
}

template <class T>
VectorSoft<T> BasicVector<T>::filled(const T& value) const {
    Vector<T> result(size());
    result.fill(value);
    return result;
}

template <class T>
void BasicVector<T>::assignElements(const BasicVector& source) {
    detail::writeWalk(begin(), source.begin());
}

template <class T>
void Vector<T>::copyCompactly(const BasicVector<T>& source) {
    // A released array may show a stale count; it holds nothing.
    const int length = source.data == nullptr ? 0 : source.size();
    SharedArray<T> copy;
    copy.initialise(length, nullptr, false);
    if (length == source.count && this->elementKind < firstKindCopiedByElement && std::is_trivially_copyable_v<T>) {
        std::copy_n(source.data, length, copy.data);
    } else {
        detail::storeWalk(source.begin(), copy.data, length);
    }
    static_cast<SharedArray<T>&>(*this) = std::move(copy);
    this->range = Range(0, this->count - 1, 1);
}

template <class T>
void Vector<T>::takeOrCopy(Vector& source) {
    if (source.isWhole() && source.isSoleHolder()) {
        static_cast<SharedArray<T>&>(*this) = std::move(static_cast<SharedArray<T>&>(source));
        this->range = source.range;
        source.range = Range();
    } else {
        copyCompactly(source);
    }
}

/// @cond what is described with the templates
// A vector of doubles goes through BLAS; the reductions stand for the element types that they make sense for.
template <>
QORMATH_API void BasicVector<double>::assignElements(const BasicVector& source);
template <>
QORMATH_API double BasicVector<double>::maxAbsIndex(int& index) const;
template <>
QORMATH_API double BasicVector<double>::maxAbs() const;
template <>
QORMATH_API double BasicVector<double>::sum() const;
template <>
QORMATH_API int BasicVector<int>::sum() const;
template <>
QORMATH_API double BasicVector<double>::sumAbs() const;
/// @endcond

extern template class BasicVector<int>;
extern template class BasicVector<float>;
extern template class BasicVector<double>;
extern template class BasicVector<bool>;
extern template class BasicVector<std::string>;
extern template class BasicVector<_MKL_Complex16>;
extern template class BasicVector<std::complex<double>>;
extern template class Vector<int>;
extern template class Vector<float>;
extern template class Vector<double>;
extern template class Vector<bool>;
extern template class Vector<std::string>;
extern template class Vector<_MKL_Complex16>;
extern template class Vector<std::complex<double>>;
extern template class VectorSoft<int>;
extern template class VectorSoft<float>;
extern template class VectorSoft<double>;
extern template class VectorSoft<bool>;
extern template class VectorSoft<std::string>;
extern template class VectorSoft<_MKL_Complex16>;
extern template class VectorSoft<std::complex<double>>;
// Vectors of containers, instantiated where the element types are complete.
extern template class BasicVector<Vector<double>>;
extern template class Vector<Vector<double>>;
extern template class VectorSoft<Vector<double>>;

}  // namespace QorMathLA
