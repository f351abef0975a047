#pragma once

/// @file
/// The counted block behind every container.

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <qormath/core/lock_word.hpp>
#include <qormath/core/mkl_complex16.hpp>
#include <qormath/export.h>
#include <qormath/memory/large_pages.hpp>

namespace QorMathLA {

/// A reference-counted block of elements that any number of containers, in any number of threads, look into.
///
/// A live block is three allocations: the elements, the count word and the lock word. All holders keep the same three
/// pointers. An adopted array wraps memory of the caller: it has neither word, and nobody frees it. There is no
/// copy-on-write: a write through one holder is seen by all.
///
/// Two threads may at the same time make and drop holders of one block through different objects, since the count
/// word is changed under the lock word only. Neither the elements nor the fields of one object are guarded.
template <class T>
class QORMATH_API SharedArray {
  public:
    /// Holds nothing.
    SharedArray() noexcept = default;

    /// A further holder of the other's block.
    SharedArray(const SharedArray& other) noexcept { hold(other); }

    /// Takes the other's place as a holder and leaves the other empty.
    SharedArray(SharedArray&& other) noexcept { takeFrom(other); }

    /// Lets go of the own block and becomes a further holder of the other's.
    SharedArray& operator=(const SharedArray& other) noexcept {
        shareFrom(other);
        return *this;
    }

    /// Lets go of the own block, takes the other's place as a holder and leaves the other empty.
    SharedArray& operator=(SharedArray&& other) noexcept {
        if (this != &other) {
            release();
            takeFrom(other);
        }
        return *this;
    }

    ~SharedArray() { release(); }

    /// Makes an array that holds nothing hold newCount elements: those at source without a copy if adopt is set and
    /// source is not null, otherwise a new block, into which source is copied unless it is null. A newCount below 1
    /// gives the empty array. Throws std::bad_alloc or std::bad_array_new_length, and is then left as it was.
    void initialise(std::int32_t newCount, const T* source, bool adopt);

    /// Lets go of the own block and becomes a further holder of the other's.
    void shareFrom(const SharedArray& other) noexcept;

    /// Stops holding; the last holder frees the block. count keeps its value.
    void release() noexcept {
        if (refCount == nullptr) {
            lock();
            unlock();
            return;
        }
        if (detail::isLastToDrop(refCount, lockWord)) {
            freeBlock();
        }
        data = nullptr;
        refCount = nullptr;
        lockWord = nullptr;
    }

    /// True if this is the one holder of a block of its own. It then stays so until it is copied itself.
    bool isSoleHolder() const noexcept {
        lock();
        const bool sole = refCount != nullptr && *refCount == 1;
        unlock();
        return sole;
    }

    /// Takes the block's lock word, which guards the count of its holders.
    void lock() const noexcept {
        if (lockWord != nullptr) {
            takeLockWord(lockWord);
        }
    }

    /// Frees the block's lock word.
    void unlock() const noexcept {
        if (lockWord != nullptr) {
            giveLockWord(lockWord);
        }
    }

    std::int32_t count = 0;             ///< elements in the whole block; may be stale where data is null
    T* data = nullptr;                  ///< first element, or null
    std::int32_t* refCount = nullptr;   ///< holders; negative when the elements are not the array's to free
    std::uint32_t* lockWord = nullptr;  ///< 0, or the identifier of the thread that holds the lock

  private:
    /// Becomes a further holder of the other's block; this array holds nothing, and all its fields but count are null.
    void hold(const SharedArray& other) noexcept {
        if (other.count > 0 && other.data != nullptr) {
            lockWord = other.lockWord;
            count = other.count;
            data = other.data;
            refCount = other.refCount;
            if (lockWord != nullptr || refCount != nullptr) {
                detail::countHolder(refCount, lockWord);
            }
        } else {
            other.lock();
            count = 0;
            other.unlock();
        }
    }

    /// What the last holder does, who has the lock or is alone.
    void freeBlock() noexcept;

    void takeFrom(SharedArray& other) noexcept {
        count = std::exchange(other.count, 0);
        data = std::exchange(other.data, nullptr);
        refCount = std::exchange(other.refCount, nullptr);
        lockWord = std::exchange(other.lockWord, nullptr);
    }
};

template <class T>
void SharedArray<T>::initialise(std::int32_t newCount, const T* source, bool adopt) {
    if (newCount < 1) {
        count = 0;
        data = nullptr;
        refCount = nullptr;
        lockWord = nullptr;
        return;
    }
    if (adopt && source != nullptr) {
        count = newCount;
        data = const_cast<T*>(source);
        refCount = nullptr;
        lockWord = nullptr;
        return;
    }
    auto newLockWord = std::make_unique<std::uint32_t>(0);
    auto newRefCount = std::make_unique<std::int32_t>();
    // Not make_unique: elements of arithmetic type stay unset.
    std::unique_ptr<T[]> elements(new T[static_cast<std::size_t>(newCount)]);
    // Constructors have touched their elements by now, for which advice comes too late.
    if constexpr (std::is_trivially_default_constructible_v<T>) {
        const std::size_t bytes = static_cast<std::size_t>(newCount) * sizeof(T);
        if (bytes >= detail::largePage) {
            detail::adviseLargePages(elements.get(), bytes);
        }
    }
    *newRefCount = 1;
    if (source != nullptr) {
        for (std::int32_t index = 0; index < newCount; ++index) {
            elements[static_cast<std::size_t>(index)] = source[index];
        }
    }
    count = newCount;
    data = elements.release();
    refCount = newRefCount.release();
    lockWord = newLockWord.release();
}

template <class T>
void SharedArray<T>::shareFrom(const SharedArray& other) noexcept {
    if (this == &other) {
        return;
    }
    release();
    // An adopted array leaves release as it was.
    data = nullptr;
    lockWord = nullptr;
    hold(other);
}

template <class T>
void SharedArray<T>::freeBlock() noexcept {
    if (*refCount >= 0) {
        delete[] data;
    }
    freeHolderWords(refCount, lockWord);
}

// Marked at the first sight of them: Clang settles the visibility of an instantiation when it first meets its name.
template <class T>
class QORMATH_API Vector;
template <class T>
class QORMATH_API Matrix;

extern template class SharedArray<int>;
extern template class SharedArray<float>;
extern template class SharedArray<double>;
extern template class SharedArray<bool>;
extern template class SharedArray<long>;
extern template class SharedArray<std::string>;
extern template class SharedArray<_MKL_Complex16>;
extern template class SharedArray<std::complex<double>>;
extern template class SharedArray<Vector<double>>;
extern template class SharedArray<Matrix<double>>;

}  // namespace QorMathLA
