// One allocation after the other fails, until an operation gets by without the one that would fail next. Each time it
// ends as it is told to, gives back all that it had, and what it has left behind can be dropped and used again.

#include <faults/fault_points.hpp>
#include <gtest/gtest.h>
#include <models/small_fir_models.hpp>
#include <new>
#include <string>
#include <support/plain_fir_file.hpp>
#include <support/shrink_calls.hpp>
#include <support/temporary_file.hpp>
#include <vector>

#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>
#include <qormath/models/lti_state_space_model.hpp>

using namespace qormath::test;

namespace {

// More than any of these operations asks for: a loop that does not end is a failure, not a hang.
constexpr long mostAllocations = 200000;

/// Calls attempt(allocation) with one allocation failing, the first, the second and so on, while one does. attempt
/// returns whether an allocation failed, after it has checked what it says about that, and keeps nothing.
/// Returns the number of failures.
template <class Attempt>
long failOneByOne(Attempt attempt) {
    // What is made once and kept is made here.
    attempt(mostAllocations);
    for (long allocation = 0; allocation < mostAllocations; ++allocation) {
        const long before = liveBlocks();
        const bool hasFailed = attempt(allocation);
        EXPECT_EQ(liveBlocks(), before) << "allocation " << allocation;
        if (!hasFailed || ::testing::Test::HasFailure()) {
            return allocation;
        }
    }
    ADD_FAILURE() << "no end of the allocations";
    return mostAllocations;
}

/// Runs an operation that is to throw std::bad_alloc exactly where an allocation fails.
template <class Operation>
bool throwsBadAllocAt(long allocation, Operation operation) {
    bool threw = false;
    bool hasFailed = false;
    {
        const FailingAllocation failing(allocation);
        try {
            operation();
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        hasFailed = failing.hasFailed();
    }
    EXPECT_EQ(threw, hasFailed) << "allocation " << allocation;
    return hasFailed;
}

LTIFIRModel modelOf(const PlainModel& plain) {
    TemporaryFile file(plainText(plain));
    LTIFIRModel model;
    EXPECT_TRUE(model.ReadModel(file.writableName()));
    return model;
}

class AllocationFaultsOfVersion : public testing::TestWithParam<int> {
  protected:
    TemporaryFile file{plainText(smallModel(30, GetParam()))};
};

std::string versionName(const testing::TestParamInfo<int>& info) {
    return "Version" + std::to_string(info.param);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Versions, AllocationFaultsOfVersion, testing::Values(FIR_FILE_VERSION, 1), versionName);

TEST_P(AllocationFaultsOfVersion, EndOpeningWithTheStatusOfMemoryAndAClearedRecord) {
    const long failures = failOneByOne([&](long allocation) {
        FIRFileHandle handle{};
        const FailingAllocation failing(allocation);
        const int status = firOpenRead(&handle, file.writableName());
        EXPECT_EQ(status, failing.hasFailed() ? FIR_NO_MEMORY : FIR_OK);
        EXPECT_EQ(handle.stream == nullptr, failing.hasFailed());
        if (failing.hasFailed()) {
            EXPECT_EQ(handle.comment, nullptr);
            EXPECT_EQ(handle.inputNames, nullptr);
            EXPECT_EQ(handle.curveCounts, nullptr);
        }
        firClose(&handle);
        return failing.hasFailed();
    });
    EXPECT_GE(failures, 7);
}

TEST_P(AllocationFaultsOfVersion, EndTheScanWithTheStatusOfMemoryAfterWhichItCanBeRepeated) {
    std::vector<int> offsets(6);
    std::vector<float> data(180);
    std::vector<double> gains(6);
    const long failures = failOneByOne([&](long allocation) {
        FIRFileHandle handle{};
        EXPECT_EQ(firOpenRead(&handle, file.writableName()), FIR_OK);
        bool hasFailed = false;
        {
            const FailingAllocation failing(allocation);
            const int status = firReadCurves(&handle, offsets.data(), data.data(), gains.data());
            hasFailed = failing.hasFailed();
            EXPECT_EQ(status, hasFailed ? FIR_NO_MEMORY : FIR_OK);
        }
        EXPECT_EQ(firReadCurves(&handle, offsets.data(), data.data(), gains.data()), FIR_OK);
        EXPECT_EQ(handle.valueCount, 150);
        firClose(&handle);
        return hasFailed;
    });
    EXPECT_GE(failures, 1);
}

TEST_P(AllocationFaultsOfVersion, KeepAModelFromBeingReadAndLeaveOneThatReadsTheNextTime) {
    const LTIFIRModel whole = modelOf(smallModel(30, GetParam()));
    const long failures = failOneByOne([&](long allocation) {
        LTIFIRModel model;
        bool isRead = false;
        bool hasFailed = false;
        {
            const FailingAllocation failing(allocation);
            try {
                isRead = model.ReadModel(file.writableName());
            } catch (const std::bad_alloc&) {
                EXPECT_FALSE(isRead);
            }
            hasFailed = failing.hasFailed();
        }
        EXPECT_EQ(isRead, !hasFailed);
        EXPECT_TRUE(model.ReadModel(file.writableName()));
        EXPECT_EQ(model.coefficients(0, 0)[30], whole.coefficients(0, 0)[30]);
        return hasFailed;
    });
    EXPECT_GE(failures, 30);
}

TEST(AllocationFaults, EndSettingAHeaderWithTheStatusOfMemoryAndNoCounts) {
    const TemporaryFile file("");
    const long failures = failOneByOne([&](long allocation) {
        FIRFileHandle handle{};
        EXPECT_EQ(firOpenWrite(&handle, file.name().c_str()), FIR_OK);
        const FailingAllocation failing(allocation);
        const int status = firSetHeader(&handle, 2, 3, 30, 1800, "No comment");
        EXPECT_EQ(status, failing.hasFailed() ? FIR_NO_MEMORY : FIR_OK);
        if (failing.hasFailed()) {
            EXPECT_EQ(handle.inputCount, 0);
            EXPECT_EQ(handle.outputCount, 0);
        }
        firClose(&handle);
        return failing.hasFailed();
    });
    EXPECT_EQ(failures, 7);
}

TEST(AllocationFaults, KeepAModelFromBeingWrittenAndLeaveItAsItWas) {
    LTIFIRModel model = modelOf(smallModel());
    TemporaryFile file;
    const long failures = failOneByOne([&](long allocation) {
        const FailingAllocation failing(allocation);
        const bool isWritten = model.WriteModel(file.writableName());
        EXPECT_EQ(isWritten, !failing.hasFailed());
        return failing.hasFailed();
    });
    EXPECT_EQ(failures, 7);
    LTIFIRModel again;
    EXPECT_TRUE(again.ReadModel(file.writableName()));
}

TEST(AllocationFaults, AreThrownOnByTheRealisation) {
    LTIFIRModel model = modelOf(smallModel());
    const long failures = failOneByOne([&](long allocation) {
        return throwsBadAllocAt(allocation, [&] { model.CreateStateSpaceModel(true, 2, nullptr); });
    });
    EXPECT_GE(failures, 100);
}

TEST(AllocationFaults, AreThrownOnByTheRealisationThatTellsItsSingularValues) {
    LTIFIRModel model = modelOf(smallModel());
    const long failures = failOneByOne([&](long allocation) {
        return throwsBadAllocAt(allocation, [&] {
            QorMathLA::Vector<double> singularValues;
            model.CreateStateSpaceModel(false, 0, &singularValues);
        });
    });
    EXPECT_GE(failures, 100);
}

TEST(AllocationFaults, AreThrownOnByTheSimulation) {
    LTIFIRModel model = modelOf(smallModel());
    const LTIStateSpaceModel system = model.CreateStateSpaceModel(true, 2, nullptr);
    const long failures = failOneByOne([&](long allocation) {
        return throwsBadAllocAt(allocation, [&] { const LTIFIRModel simulated(system, model); });
    });
    EXPECT_GE(failures, 30);
}

TEST(AllocationFaults, AreThrownOnByShrinkWhichLeavesItsModelAsItWas) {
    // Two states: an allocation more is a whole run more.
    PlainModel plain = emptyModel(1, 1, 30);
    plain.curves[0] = lagCurve(1.5, 4.0, 30);
    const LTIStateSpaceModel system = modelOf(plain).CreateStateSpaceModel(true, 1, nullptr);
    const double corner = system.A(0, 0);
    const long failures = failOneByOne([&](long allocation) {
        return throwsBadAllocAt(allocation, [&] {
            int order = -1;
            ShrinkOptions options;
            options.gainTolerance = 0.01;
            options.dampingLimit = 0.2;
            shrunk(system, order, options);
        });
    });
    EXPECT_GE(failures, 100);
    EXPECT_EQ(system.A(0, 0), corner);
}
