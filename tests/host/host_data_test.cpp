#include <cstddef>
#include <gtest/gtest.h>
#include <type_traits>

#include <qormath/host/detail/host_data.hpp>

using namespace qormath::host;

namespace {

TEST(VectorRecord, HasItsFieldsInOrderAndOfFixedSizes) {
    EXPECT_TRUE((std::is_same_v<decltype(VectorRecord::values), float*>));
    EXPECT_EQ(sizeof(VectorRecord::description), 127U);
    EXPECT_EQ(sizeof(VectorRecord::units), 31U);
    EXPECT_TRUE((std::is_same_v<decltype(VectorRecord::length), std::int32_t>));
    EXPECT_EQ(offsetof(VectorRecord, values), 0U);
    EXPECT_EQ(offsetof(VectorRecord, description), sizeof(float*));
    EXPECT_EQ(offsetof(VectorRecord, units), sizeof(float*) + 127);
    EXPECT_GE(offsetof(VectorRecord, length), sizeof(float*) + 127 + 31);
}

TEST(VectorRecord, IsZeroFilledBehindItsTexts) {
    const double value = 1.0;
    const NewRecord record = makeRecord("ab", "c", &value, 1);
    for (std::size_t i = 2; i < descriptionSize; ++i) {
        EXPECT_EQ(record->description[i], '\0');
    }
    for (std::size_t i = 1; i < unitsSize; ++i) {
        EXPECT_EQ(record->units[i], '\0');
    }
}

TEST(HostData, StartsEmpty) {
    const HostData data;
    EXPECT_TRUE(data.caseLines.empty());
    EXPECT_EQ(data.nextCaseLine, 0U);
    EXPECT_TRUE(data.vectors.empty());
    EXPECT_TRUE(data.outputMessages.empty());
}

TEST(HostData, LeavesRecordsAloneWhenItIsDestroyed) {
    const double value = 1.5;
    const NewRecord record = makeRecord("left", "", &value, 1);
    {
        HostData data;
        data.vectors["k"] = record.get();
    }
    EXPECT_STREQ(record->description, "left");
    EXPECT_EQ(record->values[0], 1.5F);
}

TEST(HostData, IsOneForTheProcess) {
    EXPECT_EQ(&hostData(), &hostData());
}

}  // namespace
