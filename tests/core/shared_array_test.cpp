#include <complex>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <qormath/core/matrix.hpp>
#include <qormath/core/platform.hpp>
#include <qormath/core/shared_array.hpp>

namespace {

using QorMathLA::GetCurrentThreadId;
using QorMathLA::SharedArray;

template <class T>
bool isEmpty(const SharedArray<T>& array) {
    return array.count == 0 && array.data == nullptr && array.refCount == nullptr && array.lockWord == nullptr;
}

SharedArray<double> threeNumbers() {
    const double numbers[] = {1.5, 2.5, 3.5};
    SharedArray<double> array;
    array.initialise(3, numbers, false);
    return array;
}

/// Tells its birth and its death, so that tests see what a block does with its elements.
struct Witness {
    Witness() { births.push_back(this); }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness& other) {
        copiedFrom = &other;
        return *this;
    }
    ~Witness() { deaths.push_back(this); }

    const Witness* copiedFrom = nullptr;

    static inline std::vector<const Witness*> births;
    static inline std::vector<const Witness*> deaths;
};

/// Refuses to be assigned for the third time.
struct Brittle {
    Brittle() { ++alive; }
    Brittle(const Brittle&) = delete;
    Brittle& operator=(const Brittle&) {
        if (++assignments == 3) {
            throw std::string("third assignment");
        }
        return *this;
    }
    ~Brittle() { --alive; }

    static inline int alive = 0;
    static inline int assignments = 0;
};

TEST(SharedArray, ByDefaultIsEmpty) {
    EXPECT_TRUE(isEmpty(SharedArray<double>()));
}

TEST(SharedArray, OfACountBelowOneIsEmptyWhateverTheSourceAndAdoptionSay) {
    double number = 1.0;
    const double* const sources[] = {nullptr, &number};
    for (const int count : {0, -1, std::numeric_limits<int>::min()}) {
        for (const double* source : sources) {
            for (const bool adopt : {false, true}) {
                SharedArray<double> array;
                array.initialise(count, source, adopt);
                EXPECT_TRUE(isEmpty(array));
            }
        }
    }
}

TEST(SharedArray, OwnedHasOneHolderAFreeLockAndCopiedElements) {
    const SharedArray<double> array = threeNumbers();
    EXPECT_EQ(array.count, 3);
    ASSERT_NE(array.refCount, nullptr);
    ASSERT_NE(array.lockWord, nullptr);
    EXPECT_EQ(*array.refCount, 1);
    EXPECT_EQ(*array.lockWord, 0U);
    EXPECT_EQ(array.data[0], 1.5);
    EXPECT_EQ(array.data[2], 3.5);
}

TEST(SharedArray, AdoptedWrapsTheCallersMemoryWithoutCountAndLock) {
    double numbers[] = {1.0, 2.0};
    SharedArray<double> array;
    array.initialise(2, numbers, true);
    EXPECT_EQ(array.count, 2);
    EXPECT_EQ(array.data, numbers);
    EXPECT_EQ(array.refCount, nullptr);
    EXPECT_EQ(array.lockWord, nullptr);
    array.lock();  // neither does anything
    array.unlock();
}

TEST(SharedArray, AdoptingNothingAllocatesABlock) {
    SharedArray<double> array;
    array.initialise(2, nullptr, true);
    EXPECT_EQ(array.count, 2);
    ASSERT_NE(array.refCount, nullptr);
    EXPECT_EQ(*array.refCount, 1);
    array.data[0] = 1.0;
    array.data[1] = 2.0;
}

TEST(SharedArray, SharingKeepsAllThreePointersAndCountsTheHolder) {
    const SharedArray<double> first = threeNumbers();
    SharedArray<double> second;
    second.shareFrom(first);
    EXPECT_EQ(second.count, 3);
    EXPECT_EQ(second.data, first.data);
    EXPECT_EQ(second.refCount, first.refCount);
    EXPECT_EQ(second.lockWord, first.lockWord);
    EXPECT_EQ(*first.refCount, 2);
    EXPECT_EQ(*first.lockWord, 0U);
}

TEST(SharedArray, SharingWithItselfChangesNothing) {
    SharedArray<double> array = threeNumbers();
    const double* const data = array.data;
    array.shareFrom(array);
    EXPECT_EQ(array.data, data);
    EXPECT_EQ(array.count, 3);
    EXPECT_EQ(*array.refCount, 1);
}

TEST(SharedArray, SharingAgainWithTheSameBlockKeepsTheCount) {
    const SharedArray<double> first = threeNumbers();
    SharedArray<double> second(first);
    second.shareFrom(first);
    EXPECT_EQ(*first.refCount, 2);
}

TEST(SharedArray, SharingLetsGoOfTheOwnBlock) {
    SharedArray<double> target = threeNumbers();
    const SharedArray<double> otherHolder(target);
    const SharedArray<double> source = threeNumbers();
    target.shareFrom(source);
    EXPECT_EQ(*otherHolder.refCount, 1);
    EXPECT_EQ(*source.refCount, 2);
}

TEST(SharedArray, SharingAnEmptyArrayLeavesTheTargetEmpty) {
    SharedArray<double> target = threeNumbers();
    target.shareFrom(SharedArray<double>());
    EXPECT_TRUE(isEmpty(target));
}

TEST(SharedArray, SharingAReleasedArrayWithAStaleCountLeavesTheTargetEmpty) {
    SharedArray<double> released = threeNumbers();
    released.release();
    ASSERT_EQ(released.count, 3);
    ASSERT_EQ(released.data, nullptr);
    SharedArray<double> target = threeNumbers();
    target.shareFrom(released);
    EXPECT_TRUE(isEmpty(target));
}

TEST(SharedArray, SharingAnAdoptedArrayAdoptsTheSameMemory) {
    double numbers[] = {1.0, 2.0};
    SharedArray<double> adopted;
    adopted.initialise(2, numbers, true);
    {
        SharedArray<double> second;
        second.shareFrom(adopted);
        EXPECT_EQ(second.count, 2);
        EXPECT_EQ(second.data, numbers);
        EXPECT_EQ(second.refCount, nullptr);
        EXPECT_EQ(second.lockWord, nullptr);
    }
    EXPECT_EQ(adopted.data, numbers);
    EXPECT_EQ(numbers[1], 2.0);
}

TEST(SharedArray, ReleasingAnAdoptedArrayLeavesItPointingAtTheCallersMemory) {
    double numbers[] = {1.0, 2.0};
    SharedArray<double> adopted;
    adopted.initialise(2, numbers, true);
    adopted.release();
    EXPECT_EQ(adopted.data, numbers);
    EXPECT_EQ(adopted.count, 2);
}

TEST(SharedArray, ReleasingOneOfTwoHoldersLeavesTheElementsToTheOther) {
    SharedArray<double> first = threeNumbers();
    const SharedArray<double> second(first);
    first.release();
    EXPECT_EQ(*second.refCount, 1);
    EXPECT_EQ(*second.lockWord, 0U);
    EXPECT_EQ(second.data[2], 3.5);
    EXPECT_EQ(first.data, nullptr);
    EXPECT_EQ(first.refCount, nullptr);
    EXPECT_EQ(first.lockWord, nullptr);
    EXPECT_EQ(first.count, 3);  // stale
}

TEST(SharedArray, ReleasingTwiceIsReleasingOnce) {
    SharedArray<double> first = threeNumbers();
    const SharedArray<double> second(first);
    first.release();
    first.release();
    EXPECT_EQ(*second.refCount, 1);
}

TEST(SharedArray, ANegativeCountMovesAwayFromZeroOnSharingAndTowardsItOnRelease) {
    double numbers[] = {1.0, 2.0};
    SharedArray<double> first;
    first.initialise(2, numbers, true);
    first.refCount = new std::int32_t(-1);
    first.lockWord = new std::uint32_t(0);
    SharedArray<double> second(first);
    EXPECT_EQ(*first.refCount, -2);
    second.release();
    EXPECT_EQ(*first.refCount, -1);
    // The last holder frees the two words, as the leak check sees, and leaves the elements alone.
    first.release();
    EXPECT_EQ(first.data, nullptr);
    EXPECT_EQ(first.refCount, nullptr);
    EXPECT_EQ(first.lockWord, nullptr);
    EXPECT_EQ(numbers[1], 2.0);
}

TEST(SharedArray, ALockIsTheIdentifierOfItsHolder) {
    const SharedArray<double> array = threeNumbers();
    array.lock();
    EXPECT_EQ(*array.lockWord, GetCurrentThreadId());
    array.unlock();
    EXPECT_EQ(*array.lockWord, 0U);
}

TEST(SharedArray, ALockIsReentrantAndTheFirstUnlockFreesIt) {
    const SharedArray<double> array = threeNumbers();
    array.lock();
    array.lock();
    EXPECT_EQ(*array.lockWord, GetCurrentThreadId());
    array.unlock();
    EXPECT_EQ(*array.lockWord, 0U);
    array.unlock();  // of a free lock, does nothing
    EXPECT_EQ(*array.lockWord, 0U);
}

TEST(SharedArray, SharingAndReleasingPassThroughALockOfTheSameThread) {
    SharedArray<double> first = threeNumbers();
    first.lock();
    SharedArray<double> second(first);
    EXPECT_EQ(*first.refCount, 2);
    EXPECT_EQ(*first.lockWord, 0U);
    second.lock();
    second.release();
    EXPECT_EQ(*first.refCount, 1);
    first.lock();  // the last holder frees a block that it has locked itself
}

TEST(SharedArray, AnEmptyArrayHasNoLock) {
    const SharedArray<double> array;
    array.lock();
    array.unlock();
    EXPECT_TRUE(isEmpty(array));
}

TEST(SharedArray, ElementsAreBuiltInOrderAndDestroyedLastToFirst) {
    Witness::births.clear();
    Witness::deaths.clear();
    {
        SharedArray<Witness> first;
        first.initialise(3, nullptr, false);
        ASSERT_EQ(Witness::births.size(), 3U);
        EXPECT_EQ(Witness::births[0], first.data);
        EXPECT_EQ(Witness::births[2], first.data + 2);
        const SharedArray<Witness> second(first);
        first.release();
        EXPECT_TRUE(Witness::deaths.empty());
    }
    const std::vector<const Witness*> backwards(Witness::births.rbegin(), Witness::births.rend());
    EXPECT_EQ(Witness::deaths, backwards);
}

TEST(SharedArray, ElementsOfASourceAreCopiedByAssignment) {
    const Witness source[2];
    SharedArray<Witness> array;
    array.initialise(2, source, false);
    EXPECT_EQ(array.data[0].copiedFrom, &source[0]);
    EXPECT_EQ(array.data[1].copiedFrom, &source[1]);
}

TEST(SharedArray, ElementsThatAreNotOwnedAreNotDestroyed) {
    Witness elements[2];
    Witness::deaths.clear();
    SharedArray<Witness> array;
    array.initialise(2, elements, true);
    array.refCount = new std::int32_t(-1);
    array.lockWord = new std::uint32_t(0);
    array.release();
    EXPECT_TRUE(Witness::deaths.empty());
}

TEST(SharedArray, AFailingCopyLeavesTheArrayAsItWas) {
    Brittle::assignments = 0;
    const int before = Brittle::alive;
    {
        const Brittle source[4];
        SharedArray<Brittle> array;
        EXPECT_THROW(array.initialise(4, source, false), std::string);
        EXPECT_TRUE(isEmpty(array));
    }
    EXPECT_EQ(Brittle::alive, before);
}

TEST(SharedArray, ComplexElementsAreZero) {
    SharedArray<std::complex<double>> array;
    array.initialise(5, nullptr, false);
    for (int k = 0; k < 5; ++k) {
        EXPECT_EQ(array.data[k], std::complex<double>(0.0, 0.0));
    }
}

TEST(SharedArray, MovingHandsTheHolderOn) {
    SharedArray<double> first = threeNumbers();
    const double* const data = first.data;
    SharedArray<double> second(std::move(first));
    EXPECT_EQ(second.data, data);
    EXPECT_EQ(*second.refCount, 1);
    EXPECT_TRUE(isEmpty(first));  // NOLINT(bugprone-use-after-move)
    SharedArray<double> third = threeNumbers();
    third = std::move(second);
    EXPECT_EQ(third.data, data);
    EXPECT_EQ(*third.refCount, 1);
    SharedArray<double>& itself = third;
    third = std::move(itself);
    EXPECT_EQ(third.data, data);
}

TEST(SharedArray, TellsWhetherItIsTheSoleHolder) {
    double number = 1.0;
    SharedArray<double> adopted;
    adopted.initialise(1, &number, true);
    EXPECT_FALSE(adopted.isSoleHolder());
    EXPECT_FALSE(SharedArray<double>().isSoleHolder());
    const SharedArray<double> first = threeNumbers();
    EXPECT_TRUE(first.isSoleHolder());
    const SharedArray<double> second(first);
    EXPECT_FALSE(first.isSoleHolder());
    EXPECT_EQ(*first.lockWord, 0U);
}

TEST(SharedArray, HasItsFourFieldsInOrder) {
    const SharedArray<double> array;
    const auto place = [&](const auto& field) {
        return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&array);
    };
    EXPECT_EQ(place(array.count), 0);
    EXPECT_LT(place(array.count), place(array.data));
    EXPECT_LT(place(array.data), place(array.refCount));
    EXPECT_LT(place(array.refCount), place(array.lockWord));
}

}  // namespace
