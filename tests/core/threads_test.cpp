// Many threads make and drop holders of one block, and identifiers of threads stay unique after a fork.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <set>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <qormath/core/matrix.hpp>
#include <qormath/core/platform.hpp>

namespace {

using QorMathLA::GetCurrentThreadId;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::SharedArray;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;

constexpr int threadCount = 4;
constexpr int rounds = 3000;

template <class Work>
void onThreads(const Work& work) {
    std::vector<std::thread> threads;
    for (int k = 0; k < threadCount; ++k) {
        threads.emplace_back(work, k);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ThreadsSharingABlock, MakeAndDropViewsWithoutLosingAHolder) {
    Matrix<double> m(8, threadCount);
    m.fill(0.0);
    // Each thread has a holder of its own and writes to a column of its own.
    std::vector<Matrix<double>> holders;
    holders.reserve(threadCount);  // growing would move them, and a shared matrix moves as a copy
    for (int k = 0; k < threadCount; ++k) {
        holders.emplace_back(m, false);
    }
    onThreads([&holders](int k) {
        Matrix<double>& own = holders[static_cast<std::size_t>(k)];
        for (int round = 0; round < rounds; ++round) {
            VectorSoft<double> column = own.column(k);
            const MatrixSoft<double> part = own.transpose()(Range(k, k, 1), Range(-1, -1, 1));
            const Vector<double> further(column);
            column[round % 8] += 1.0;
        }
    });
    EXPECT_EQ(*m.array.refCount, threadCount + 1);
    EXPECT_EQ(*m.array.lockWord, 0U);
    for (int k = 0; k < threadCount; ++k) {
        EXPECT_EQ(m.column(k).sum(), rounds);
    }
}

TEST(ThreadsSharingABlock, TheLastHolderAloneFreesIt) {
    for (int round = 0; round < 200; ++round) {
        std::vector<SharedArray<double>> holders(threadCount);
        {
            SharedArray<double> block;
            block.initialise(16, nullptr, false);
            for (SharedArray<double>& holder : holders) {
                holder.shareFrom(block);
            }
        }
        onThreads([&holders](int k) {
            SharedArray<double>& own = holders[static_cast<std::size_t>(k)];
            const SharedArray<double> further(own);
            own.release();
        });
        for (const SharedArray<double>& holder : holders) {
            EXPECT_EQ(holder.data, nullptr);
        }
    }
}

TEST(ThreadsSharingABlock, TheLockKeepsOthersOut) {
    const SharedArray<double> block = [] {
        SharedArray<double> array;
        array.initialise(1, nullptr, false);
        return array;
    }();
    long counter = 0;  // guarded by the lock alone
    onThreads([&](int) {
        for (int round = 0; round < rounds; ++round) {
            block.lock();
            ++counter;
            block.unlock();
        }
    });
    EXPECT_EQ(counter, long{threadCount} * rounds);
}

TEST(ThreadsSharingABlock, WaitForTheLockOfAnother) {
    SharedArray<double> block;
    block.initialise(1, nullptr, false);
    block.lock();
    std::atomic<bool> started = false;
    std::atomic<bool> shared = false;
    std::thread other([&] {
        started = true;
        const SharedArray<double> holder(block);
        shared = true;
    });
    while (!started) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(shared);
    block.unlock();
    other.join();
    EXPECT_TRUE(shared);
    EXPECT_EQ(*block.refCount, 1);
}

TEST(ThreadsWithTheirOwnMatrices, DoNotMeet) {
    onThreads([](int k) {
        for (int round = 0; round < 200; ++round) {
            Matrix<double> a(5, 5);
            a.fill(k + 1.0);
            const Matrix<double> b = a * a.transpose() + a;
            ASSERT_EQ(b(4, 4), 5.0 * (k + 1.0) * (k + 1.0) + k + 1.0);
        }
    });
}

TEST(ThreadIdentifier, IsNonZeroKeptAndUniqueAmongLiveThreads) {
    std::vector<std::uint32_t> first(threadCount);
    std::vector<std::uint32_t> second(threadCount);
    std::atomic<int> ready = 0;
    onThreads([&](int k) {
        first[static_cast<std::size_t>(k)] = GetCurrentThreadId();
        ++ready;
        while (ready < threadCount) {  // so that all are alive together
            std::this_thread::yield();
        }
        second[static_cast<std::size_t>(k)] = GetCurrentThreadId();
    });
    std::set<std::uint32_t> distinct(first.begin(), first.end());
    distinct.insert(GetCurrentThreadId());
    EXPECT_EQ(distinct.size(), threadCount + 1U);
    EXPECT_EQ(distinct.count(0), 0U);
    EXPECT_EQ(first, second);
    EXPECT_EQ(GetCurrentThreadId(), GetCurrentThreadId());
}

TEST(ThreadIdentifier, OfAForkedChildIsItsOwn) {
    const std::uint32_t parents = GetCurrentThreadId();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // The first thread of a process has the process's identifier.
        const std::uint32_t own = GetCurrentThreadId();
        _exit(own != 0 && own != parents && own == static_cast<std::uint32_t>(getpid()) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(GetCurrentThreadId(), parents);
}

}  // namespace
