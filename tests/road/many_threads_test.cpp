// What threads and forked processes may do with models: read one together, work on their own side by side, hand over
// what they have made, and end.

#include <atomic>
#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <optional>
#include <queue>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>
#include <qormath/pipeline/reduce.hpp>

#include "example_models.hpp"
#include "support/curve_errors.hpp"
#include "support/temporary_folder.hpp"

namespace {

using qormath::ReduceOptions;
using qormath::ReduceResult;
using qormath::test::curveError;
using qormath::test::exampleModel;
using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using QorMathLA::Matrix;
using QorMathLA::MatrixSoft;
using QorMathLA::Range;
using QorMathLA::Vector;
using QorMathLA::VectorSoft;

constexpr int threadCount = 4;

/// Another split of the products among BLAS threads may round otherwise.
constexpr double rounding = 1e-9;

void onThreads(const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int k = 0; k < threadCount; ++k) {
        threads.emplace_back(work, k);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

bool write(LTIFIRModel& model, std::string path) {
    return model.WriteModel(path.data());
}

std::optional<LTIFIRModel> read(std::string path) {
    LTIFIRModel model;
    return model.ReadModel(path.data()) ? std::optional<LTIFIRModel>(model) : std::nullopt;
}

ReduceResult reducedToOrder(const LTIFIRModel& model, int order) {
    ReduceOptions options;
    options.orderChoice = ReduceOptions::OrderChoice::byNumber;
    options.order = order;
    return qormath::reduce(model, options);
}

/// From a file through the reduction to a file, and the curves of that.
std::optional<LTIFIRModel> wholeRoad(const std::string& plant, const std::string& path) {
    std::optional<LTIFIRModel> model = read(std::string(QORMATH_EXAMPLE_MODELS) + "/" + plant + ".fir");
    if (!model) {
        return {};
    }
    ReduceResult result = reducedToOrder(*model, 2);
    return result.refusal.empty() && write(result.curves, path) ? read(path) : std::nullopt;
}

/// Hands things from one thread to another.
template <class Thing>
class Belt {
  public:
    void put(Thing thing) {
        const std::lock_guard lock(mutex_);
        things_.push(std::move(thing));
        isFilled_.notify_one();
    }
    Thing take() {
        std::unique_lock lock(mutex_);
        isFilled_.wait(lock, [this] { return !things_.empty(); });
        Thing thing = std::move(things_.front());
        things_.pop();
        return thing;
    }

  private:
    std::mutex mutex_;
    std::condition_variable isFilled_;
    std::queue<Thing> things_;
};

/// Whether a forked child that does the work ends well.
bool succeedsInAChild(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        bool isDone = false;
        try {
            isDone = work();
        } catch (...) {
            isDone = false;
        }
        _exit(isDone ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(ThreadsReadingOneModel, SeeTheSameGainsCurvesAndViews) {
    const LTIFIRModel model = exampleModel("wood_berry");
    const Matrix<double> gain = LTIFIRModel(model).GetGain();
    std::vector<int> differences(threadCount, 0);
    onThreads([&](int k) {
        for (int round = 0; round < 50; ++round) {
            LTIFIRModel copy(model);
            Matrix<double> own = copy.GetGain();
            const VectorSoft<double> column = own.column(round % own.cols());
            const MatrixSoft<double> turned = own.transpose();
            const Vector<double>& curve = model.coefficients(0, 0);
            const bool isSame = column[0] == gain(0, round % gain.cols()) && turned(1, 0) == gain(0, 1) &&
                                copy.coefficients(0, 0)[round] == curve[round];
            differences[static_cast<std::size_t>(k)] += isSame ? 0 : 1;
        }
    });
    EXPECT_EQ(differences, std::vector<int>(threadCount, 0));
}

TEST(ThreadsReadingOneModel, WriteItToFilesOfTheSameBytes) {
    const TemporaryFolder folder;
    const LTIFIRModel model = exampleModel("single_lag_30");
    LTIFIRModel first(model);
    ASSERT_TRUE(write(first, folder.file("alone")));
    std::vector<int> written(threadCount, 0);
    onThreads([&](int k) {
        LTIFIRModel copy(model);
        written[static_cast<std::size_t>(k)] = write(copy, folder.file(std::to_string(k))) ? 1 : 0;
    });
    for (int k = 0; k < threadCount; ++k) {
        EXPECT_EQ(written[static_cast<std::size_t>(k)], 1);
        EXPECT_EQ(textOfFile(folder.file(std::to_string(k))), textOfFile(folder.file("alone")));
    }
}

TEST(ThreadsReadingOneModel, ReduceAndSimulateItSideBySide) {
    const LTIFIRModel model = exampleModel("single_lag_30");
    const ReduceResult alone = reducedToOrder(model, 1);
    ASSERT_EQ(alone.refusal, "");
    std::vector<LTIFIRModel> reduced(threadCount);
    std::vector<LTIFIRModel> simulated(threadCount);
    onThreads([&](int k) {
        // Both the model and the system are those that the other threads read.
        reduced[static_cast<std::size_t>(k)] = reducedToOrder(model, 1).curves;
        simulated[static_cast<std::size_t>(k)] = LTIFIRModel(alone.model, model);
    });
    const LTIFIRModel expected(alone.model, model);
    for (int k = 0; k < threadCount; ++k) {
        EXPECT_LE(curveError(reduced[static_cast<std::size_t>(k)], alone.curves), rounding);
        EXPECT_LE(curveError(simulated[static_cast<std::size_t>(k)], expected), rounding);
    }
}

TEST(ThreadsWithTheirOwnModels, GoTheWholeRoadFromFileToFile) {
    const TemporaryFolder folder;
    const std::string plants[] = {"single_lag_30", "surge_drum"};
    std::vector<LTIFIRModel> alone;
    for (const std::string& plant : plants) {
        const auto model = wholeRoad(plant, folder.file(plant));
        ASSERT_TRUE(model.has_value()) << plant;
        alone.push_back(*model);
    }
    std::vector<std::optional<LTIFIRModel>> together(threadCount);
    onThreads([&](int k) {
        together[static_cast<std::size_t>(k)] = wholeRoad(plants[k % 2], folder.file(std::to_string(k)));
    });
    for (int k = 0; k < threadCount; ++k) {
        ASSERT_TRUE(together[static_cast<std::size_t>(k)].has_value());
        EXPECT_LE(curveError(*together[static_cast<std::size_t>(k)], alone[static_cast<std::size_t>(k % 2)]), 1e-6)
            << "seven digits are written";
    }
}

TEST(ThreadsWithTheirOwnModels, FailForThemselvesAlone) {
    const LTIFIRModel model = exampleModel("single_lag_30");
    std::vector<int> asExpected(threadCount, 0);
    onThreads([&](int k) {
        int count = 0;
        for (int round = 0; round < 5; ++round) {
            if (k % 2 == 0) {
                const bool isRefused = !reducedToOrder(model, 1000).refusal.empty();
                count += isRefused && !read("/dev/null").has_value() ? 1 : 0;
            } else {
                count += reducedToOrder(model, 1).refusal.empty() ? 1 : 0;
            }
        }
        asExpected[static_cast<std::size_t>(k)] = count;
    });
    EXPECT_EQ(asExpected, std::vector<int>(threadCount, 5));
}

TEST(ThreadsHandingOver, ViewsThatAreDroppedByWhoeverHasThemLast) {
    struct Parcel {
        std::unique_ptr<Matrix<double>> whole;
        std::unique_ptr<VectorSoft<double>> column;
        std::unique_ptr<MatrixSoft<double>> part;
        double value = 0.0;
    };
    constexpr int parcels = 300;
    Belt<Parcel> there;
    Belt<Parcel> back;
    std::atomic<int> wrong = 0;
    std::thread maker([&] {
        for (int k = 0; k < parcels; ++k) {
            Parcel parcel;
            parcel.value = k;
            parcel.whole = std::make_unique<Matrix<double>>(6, 4);
            parcel.whole->fill(parcel.value);
            parcel.column = std::make_unique<VectorSoft<double>>(parcel.whole->column(k % 4));
            parcel.part = std::make_unique<MatrixSoft<double>>((*parcel.whole)(Range(1, 3, 1), Range(0, 1, 1)));
            if (k % 2 == 0) {
                parcel.whole.reset();  // the views keep the elements
            }
            there.put(std::move(parcel));
        }
        for (int k = 0; k < parcels; ++k) {
            const Parcel parcel = back.take();
            wrong += (*parcel.part)(0, 0) == parcel.value ? 0 : 1;
        }
    });
    for (int k = 0; k < parcels; ++k) {
        Parcel parcel = there.take();
        wrong += parcel.column->sum() == 6.0 * parcel.value ? 0 : 1;
        parcel.column.reset();
        parcel.whole.reset();
        back.put(std::move(parcel));
    }
    maker.join();
    EXPECT_EQ(wrong, 0);
}

TEST(ThreadsHandingOver, ModelsThatOutliveThem) {
    std::unique_ptr<LTIFIRModel> model;
    std::unique_ptr<LTIStateSpaceModel> system;
    std::thread([&] { model = std::make_unique<LTIFIRModel>(exampleModel("single_lag_30")); }).join();
    std::thread([&] {
        system = std::make_unique<LTIStateSpaceModel>(model->CreateStateSpaceModel(true, 0, nullptr));
    }).join();
    const LTIFIRModel curves(*system, *model);
    EXPECT_LE(curveError(curves, *model), 0.01);
    std::thread([&] {
        system.reset();
        model.reset();
    }).join();
    EXPECT_EQ(system, nullptr);
}

TEST(ThreadsThatEnd, LeaveTheLibraryToThoseThatFollow) {
    const LTIFIRModel model = exampleModel("single_lag_30");
    const LTIFIRModel alone = reducedToOrder(model, 1).curves;
    for (int round = 0; round < 5; ++round) {
        std::vector<LTIFIRModel> curves(threadCount);
        onThreads([&](int k) { curves[static_cast<std::size_t>(k)] = reducedToOrder(model, 1).curves; });
        for (const LTIFIRModel& each : curves) {
            EXPECT_LE(curveError(each, alone), rounding);
        }
    }
    EXPECT_LE(curveError(reducedToOrder(model, 1).curves, alone), rounding);
}

TEST(ThreadThatForks, GoesOnAsItsChildDoes) {
    const TemporaryFolder folder;
    const LTIFIRModel model = exampleModel("single_lag_30");
    const LTIFIRModel before = reducedToOrder(model, 1).curves;
    const auto isAsBefore = [&] { return curveError(reducedToOrder(model, 1).curves, before) <= rounding; };
    EXPECT_TRUE(
        succeedsInAChild([&] { return isAsBefore() && wholeRoad("single_lag_30", folder.file("child")).has_value(); }));
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(read(folder.file("child")).has_value());
    // A child's child, and one that drops what the parent has made.
    EXPECT_TRUE(succeedsInAChild([&] { return succeedsInAChild(isAsBefore) && isAsBefore(); }));
    auto own = std::make_unique<LTIFIRModel>(model);
    EXPECT_TRUE(succeedsInAChild([&] {
        own.reset();
        return isAsBefore();
    }));
    EXPECT_EQ(own->coefficientCount, model.coefficientCount);
}

TEST(ThreadThatForks, MayHaveOthersBesideItThatAreNotInTheLibrary) {
    const LTIFIRModel model = exampleModel("single_lag_30");
    const LTIFIRModel before = reducedToOrder(model, 1).curves;
    const auto isAsBefore = [&] { return curveError(reducedToOrder(model, 1).curves, before) <= rounding; };
    Belt<bool> words;
    std::atomic<bool> isReady = false;
    std::atomic<bool> isRight = false;
    std::thread other([&] {
        isRight = isAsBefore();
        isReady = true;
        words.take();  // rests here while the other forks
        isRight = isRight && isAsBefore();
    });
    while (!isReady) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(succeedsInAChild(isAsBefore));
    words.put(true);
    other.join();
    EXPECT_TRUE(isRight);
    EXPECT_TRUE(isAsBefore());
}

}  // namespace
