#include <gtest/gtest.h>
#include <host/host_lists.hpp>
#include <string>
#include <support/stops.hpp>
#include <vector>

using qormath::host::hostData;
using namespace qormath::test;

namespace {

using HostConsumer = HostLists;
using HostConsumerDeathTest = HostLists;

std::string text(std::size_t length) {
    return std::string(length, 'a');
}

// ------------------------------------------------------------------------------------ case lines

TEST_F(HostConsumer, TwoLinesComeInOrderAndThenTheEnd) {
    AddCaseLine("first");
    AddCaseLine("second");
    char line[16];
    EXPECT_EQ(GetNextCaseLine(line, sizeof line), 0);
    EXPECT_STREQ(line, "first");
    EXPECT_EQ(GetNextCaseLine(line, sizeof line), 0);
    EXPECT_STREQ(line, "second");
    EXPECT_EQ(GetNextCaseLine(line, sizeof line), 1);
    EXPECT_STREQ(line, "second");
}

TEST_F(HostConsumer, ALineThatIsAddedAfterTheEndIsTheNextOne) {
    AddCaseLine("first");
    char line[16];
    ASSERT_EQ(GetNextCaseLine(line, sizeof line), 0);
    ASSERT_EQ(GetNextCaseLine(line, sizeof line), 1);
    ASSERT_EQ(GetNextCaseLine(line, sizeof line), 1);
    AddCaseLine("late");
    EXPECT_EQ(GetNextCaseLine(line, sizeof line), 0);
    EXPECT_STREQ(line, "late");
}

TEST_F(HostConsumer, AtTheEndOfTheLinesNoDestinationIsNeeded) {
    EXPECT_EQ(GetNextCaseLine(nullptr, 0), 1);
    EXPECT_EQ(hostData().nextCaseLine, 0U);
}

TEST_F(HostConsumer, ALineFillsItsDestinationToTheLastByte) {
    AddCaseLine("abc");
    char line[] = "......";
    EXPECT_EQ(GetNextCaseLine(line, 4), 0);
    EXPECT_EQ(std::string(line, 6), std::string("abc\0..", 6));
}

TEST_F(HostConsumer, AnEmptyLineIsALine) {
    AddCaseLine("");
    char line = '.';
    EXPECT_EQ(GetNextCaseLine(&line, 1), 0);
    EXPECT_EQ(line, '\0');
}

TEST_F(HostConsumerDeathTest, ALineThatDoesNotFitItsDestinationStopsTheProcess) {
    AddCaseLine("abc");
    char line[8];
    EXPECT_STOP(GetNextCaseLine(line, 3), "GetNextCaseLine: the line has 3 characters, the limit is 2");
    EXPECT_STOP(GetNextCaseLine(line, 0), "GetNextCaseLine: the line has 3 characters, there is no room for any text");
    EXPECT_STOP(GetNextCaseLine(line, -1), "GetNextCaseLine: the line has 3 characters, there is no room for any text");
    EXPECT_STOP(GetNextCaseLine(nullptr, 8), "GetNextCaseLine: there is no destination for the line");
}

// ------------------------------------------------------------------------------------ vectors

TEST_F(HostConsumer, GetVectorGivesEverythingAndStatusZero) {
    const double values[] = {1.1, 2.0, -3.5};
    AddVector("k", "Feed flow", "t/h", values, 3);
    const FetchedVector vector = fetch("k");
    EXPECT_EQ(vector.values, (std::vector<float>{1.1F, 2.0F, -3.5F}));
    EXPECT_EQ(vector.description, "Feed flow");
    EXPECT_EQ(vector.units, "t/h");
    EXPECT_EQ(vector.status, 0);
}

TEST_F(HostConsumer, GetVectorCanBeRepeated) {
    const double value = 1.0;
    AddVector("k", "a", "b", &value, 1);
    EXPECT_EQ(fetch("k").values, fetch("k").values);
}

TEST_F(HostConsumer, GetVectorWithoutValuesNeedsNoRoomForThem) {
    AddVector("k", "a", "b", nullptr, 0);
    char description[40];
    char units[40];
    int length = -1;
    int status = -1;
    GetVector("k", &length, description, units, nullptr, &status);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(status, 0);
    EXPECT_STREQ(description, "a");
    EXPECT_STREQ(units, "b");
}

TEST_F(HostConsumer, GetVectorTakesTextsThatFillTheBuffersOfAConsumer) {
    AddVector("k", text(39).c_str(), text(30).c_str(), nullptr, 0);
    EXPECT_EQ(fetch("k").description, text(39));
    EXPECT_EQ(fetch("k").units, text(30));
}

TEST_F(HostConsumerDeathTest, GetVectorStopsAtADescriptionThatCameInButCannotGoOut) {
    AddVector("forty", text(40).c_str(), "", nullptr, 0);
    AddVector("hundred", text(100).c_str(), "", nullptr, 0);
    EXPECT_STOP(fetch("forty"), "GetVector: the description has 40 characters, the limit is 39");
    EXPECT_STOP(fetch("hundred"), "GetVector: the description has 100 characters, the limit is 39");
}

TEST_F(HostConsumerDeathTest, GetVectorStopsAtAKeyThatWasNeverAdded) {
    EXPECT_STOP(fetch("k"), "GetVector: there is no vector \"k\"");
    DeleteVector("k");
    EXPECT_STOP(fetch("k"), "GetVector: there is no vector \"k\"");
    AddVector("k", "", "", nullptr, 0);
    EXPECT_STOP(fetch("K"), "GetVector: there is no vector \"K\"");
    EXPECT_STOP(fetch("a\nb"), "GetVector: there is no vector \"a?b\"");
}

TEST_F(HostConsumerDeathTest, GetVectorStopsAtADeletedKey) {
    AddVector("k", "", "", nullptr, 0);
    DeleteVector("k");
    EXPECT_STOP(fetch("k"), "GetVector: the vector \"k\" was deleted");
}

TEST_F(HostConsumerDeathTest, GetVectorStopsAtNullPointers) {
    const double value = 1.0;
    AddVector("k", "a", "b", &value, 1);
    char description[40];
    char units[40];
    float fetched = 0.0F;
    int length = 0;
    int status = 0;
    EXPECT_STOP(GetVector(nullptr, &length, description, units, &fetched, &status),
                "GetVector: the key is a null pointer");
    EXPECT_STOP(GetVector("k", nullptr, description, units, &fetched, &status),
                "GetVector: the length is a null pointer");
    EXPECT_STOP(GetVector("k", &length, nullptr, units, &fetched, &status),
                "GetVector: there is no destination for the description");
    EXPECT_STOP(GetVector("k", &length, description, nullptr, &fetched, &status),
                "GetVector: there is no destination for the text of units");
    EXPECT_STOP(GetVector("k", &length, description, units, nullptr, &status),
                "GetVector: the array of values is a null pointer");
    EXPECT_STOP(GetVector("k", &length, description, units, &fetched, nullptr),
                "GetVector: the status is a null pointer");
}

// ------------------------------------------------------------------------------------ messages

TEST_F(HostConsumer, AddOutputMessageKeepsACopy) {
    char message[] = "first";
    AddOutputMessage(message);
    message[0] = '?';
    EXPECT_EQ(hostData().outputMessages, std::vector<std::string>{"first"});
}

TEST_F(HostConsumer, AddOutputMessageTakesFrom0To255Characters) {
    AddOutputMessage("");
    AddOutputMessage(text(255).c_str());
    EXPECT_EQ(hostData().outputMessages, (std::vector<std::string>{"", text(255)}));
}

TEST_F(HostConsumerDeathTest, AddOutputMessageStopsAt256Characters) {
    EXPECT_STOP(AddOutputMessage(text(256).c_str()), "AddOutputMessage: the text has 256 characters, the limit is 255");
    EXPECT_STOP(AddOutputMessage(text(5000).c_str()),
                "AddOutputMessage: the text has 5000 characters, the limit is 255");
}

TEST_F(HostConsumerDeathTest, AddOutputMessageStopsAtANullPointer) {
    EXPECT_STOP(AddOutputMessage(nullptr), "AddOutputMessage: the text is a null pointer");
}

}  // namespace
