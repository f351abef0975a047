#pragma once

/// @file
/// Walks over the elements of views.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include <qormath/core/range.hpp>

namespace QorMathLA {

namespace detail {

/// The end of a range, moved before its start where there is no block: the container of a released array may still
/// show positions that are gone.
template <class T>
std::int32_t lastWithElements(const T* block, const Range& range) {
    return block == nullptr && range.end >= range.start ? range.start - 1 : range.end;
}

}  // namespace detail

/// Walks a vector's elements upwards; finished once it has left the positions from first to last. A view whose range
/// runs downwards yields no elements.
template <class T>
class VectorIterator {
  public:
    using value_type = std::remove_const_t<T>;  ///< type of the elements
    using difference_type = std::ptrdiff_t;     ///< as the standard's iterators have it

    /// A walk over nothing.
    VectorIterator() = default;

    /// At the first of the range's positions in the block.
    VectorIterator(T* block, const Range& range)
        : block_(block),
          position_(range.start),
          first_(range.start),
          last_(detail::lastWithElements(block, range)),
          stride_(range.stride) {}

    /// True where no element is left.
    bool finished() const { return position_ < first_ || position_ > last_; }

    /// The element that the walk has come to.
    T& operator*() const { return block_[position_]; }

    ///@{
    /// Goes on to the next element.
    VectorIterator& operator++() {
        position_ += stride_;
        return *this;
    }

    void operator++(int) { ++*this; }
    ///@}

    /// True at the end of the walk.
    friend bool operator==(const VectorIterator& iterator, std::default_sentinel_t) { return iterator.finished(); }

  private:
    T* block_ = nullptr;
    std::ptrdiff_t position_ = 0;
    std::ptrdiff_t first_ = 0;
    std::ptrdiff_t last_ = -1;
    std::ptrdiff_t stride_ = 1;
};

/// Walks a matrix's elements in logical column-major order; finished once a stored row or column has left its range.
/// A view with a range that runs downwards yields no elements.
template <class T>
class ColumnIterator {
  public:
    using value_type = std::remove_const_t<T>;  ///< type of the elements
    using difference_type = std::ptrdiff_t;     ///< as the standard's iterators have it

    /// A walk over nothing.
    ColumnIterator() = default;

    /// At the first element of the view; rows is the leading dimension of the block.
    ColumnIterator(T* block, std::int32_t rows, bool transposed, const Range& rowRange, const Range& colRange)
        : block_(block),
          rowRange_(rowRange),
          colRange_(colRange),
          row_(rowRange.start),
          column_(colRange.start),
          rows_(rows),
          transposed_(transposed) {
        rowRange_.end = detail::lastWithElements(block, rowRange);
    }

    /// True where no element is left.
    bool finished() const {
        return row_ < rowRange_.start || row_ > rowRange_.end || column_ < colRange_.start || column_ > colRange_.end;
    }

    /// The element that the walk has come to.
    T& operator*() const { return block_[column_ * rows_ + row_]; }

    ///@{
    /// Goes on to the next element.
    ColumnIterator& operator++() {
        if (transposed_) {
            advance(column_, colRange_, row_, rowRange_);
        } else {
            advance(row_, rowRange_, column_, colRange_);
        }
        return *this;
    }

    void operator++(int) { ++*this; }
    ///@}

    /// True at the end of the walk.
    friend bool operator==(const ColumnIterator& iterator, std::default_sentinel_t) { return iterator.finished(); }

  private:
    static void advance(std::ptrdiff_t& inner, const Range& innerRange, std::ptrdiff_t& outer,
                        const Range& outerRange) {
        inner += innerRange.stride;
        if (inner < innerRange.start || inner > innerRange.end) {
            outer += outerRange.stride;
            inner = innerRange.start;
        }
    }

    T* block_ = nullptr;
    Range rowRange_;
    Range colRange_;
    std::ptrdiff_t row_ = 0;
    std::ptrdiff_t column_ = 0;
    std::ptrdiff_t rows_ = 0;
    bool transposed_ = false;
};

namespace detail {

/// Stores the elements of a walk one after the other, and T() where the walk ends before count: a range that runs
/// downwards has a size, but a walk finds nothing in it.
template <class Iterator, class T>
void storeWalk(Iterator walk, T* elements, int count) {
    for (int k = 0; k < count; ++k) {
        if (walk.finished()) {
            elements[k] = T();
        } else {
            elements[k] = *walk;
            ++walk;
        }
    }
}

/// Writes one walk into the other until the shorter ends.
template <class TargetIterator, class SourceIterator>
void writeWalk(TargetIterator target, SourceIterator source) {
    for (; !source.finished() && !target.finished(); ++source, ++target) {
        *target = *source;
    }
}

}  // namespace detail

}  // namespace QorMathLA
