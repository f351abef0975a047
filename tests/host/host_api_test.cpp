#include <algorithm>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <host/host_lists.hpp>
#include <limits>
#include <new>
#include <string>
#include <support/stops.hpp>
#include <vector>

using qormath::host::hostData;
using namespace qormath::test;

namespace {

using HostApi = HostLists;
using HostApiDeathTest = HostLists;

std::string text(std::size_t length) {
    return std::string(length, 'a');
}

std::string message(int index) {
    char destination[256];
    EXPECT_EQ(API_GetOutputMessage(destination, sizeof destination, index), 0);
    return destination;
}

// What the lists do for a caller who comes before their own static object is made: test objects come first in a link.
struct EarlyUse {
    EarlyUse() {
        messages = API_GetNumberOfOutputMessages();
        AddCaseLine("early");
        status = GetNextCaseLine(line, sizeof line);
        InitializeDMI();
    }
    char line[8] = "";
    long long messages;
    int status;
};

const EarlyUse earlyUse;

// ------------------------------------------------------------------------------------ start

TEST_F(HostApi, IsThereForAStaticObjectOfTheProgram) {
    EXPECT_EQ(earlyUse.messages, 0);
    EXPECT_EQ(earlyUse.status, 0);
    EXPECT_STREQ(earlyUse.line, "early");
}

TEST_F(HostApi, InitializeDMILeavesNoLineAndNoKey) {
    AddCaseLine("a");
    AddVector("k", "", "", nullptr, 0);
    DeleteVector("k");
    InitializeDMI();
    char line[] = "...";
    EXPECT_EQ(GetNextCaseLine(line, sizeof line), 1);
    EXPECT_STREQ(line, "...");
    EXPECT_TRUE(hostData().vectors.empty());
}

TEST_F(HostApi, InitializeDMISetsTheReaderBackToTheFirstLine) {
    char line[8];
    AddCaseLine("a");
    AddCaseLine("b");
    ASSERT_EQ(GetNextCaseLine(line, sizeof line), 0);
    ASSERT_EQ(GetNextCaseLine(line, sizeof line), 0);
    InitializeDMI();
    AddCaseLine("c");
    EXPECT_EQ(GetNextCaseLine(line, sizeof line), 0);
    EXPECT_STREQ(line, "c");
}

TEST_F(HostApi, InitializeDMIKeepsTheOutputMessages) {
    AddOutputMessage("a");
    InitializeDMI();
    EXPECT_EQ(API_GetNumberOfOutputMessages(), 1);
}

TEST_F(HostApi, InitializeDMIForgetsThatAKeyWasDeleted) {
    AddVector("k", "", "", nullptr, 0);
    DeleteVector("k");
    InitializeDMI();
    DeleteVector("k");
    EXPECT_EQ(recordOf("k"), nullptr);
}

TEST_F(HostApi, DMIInitializeClears32BytesAndNothingElse) {
    AddCaseLine("a");
    AddOutputMessage("b");
    unsigned char block[34];
    std::fill(std::begin(block), std::end(block), 0xee);
    EXPECT_EQ(DMI_Initialize(block + 1), 0);
    EXPECT_EQ(block[0], 0xee);
    EXPECT_TRUE(std::all_of(block + 1, block + 33, [](unsigned char byte) { return byte == 0; }));
    EXPECT_EQ(block[33], 0xee);
    EXPECT_EQ(hostData().caseLines.size(), 1U);
    EXPECT_EQ(API_GetNumberOfOutputMessages(), 1);
}

TEST_F(HostApi, DMIParameterDoesNothing) {
    AddCaseLine("a");
    AddOutputMessage("b");
    AddVector("k", "", "", nullptr, 0);
    DMI_Parameter();
    EXPECT_EQ(hostData().caseLines, std::vector<std::string>{"a"});
    EXPECT_EQ(hostData().outputMessages, std::vector<std::string>{"b"});
    EXPECT_EQ(hostData().vectors.size(), 1U);
}

TEST_F(HostApiDeathTest, DMIInitializeStopsAtANullPointer) {
    EXPECT_STOP(DMI_Initialize(nullptr), "DMI_Initialize: the block is a null pointer");
}

// ------------------------------------------------------------------------------------ case lines

TEST_F(HostApi, AddCaseLineKeepsACopy) {
    char line[] = "first";
    AddCaseLine(line);
    line[0] = '?';
    EXPECT_EQ(hostData().caseLines, std::vector<std::string>{"first"});
}

TEST_F(HostApi, AddCaseLineTakesAnyLength) {
    AddCaseLine("");
    AddCaseLine(text(10000).c_str());
    EXPECT_EQ(hostData().caseLines, (std::vector<std::string>{"", text(10000)}));
}

TEST_F(HostApiDeathTest, AddCaseLineStopsAtANullPointer) {
    EXPECT_STOP(AddCaseLine(nullptr), "AddCaseLine: the text is a null pointer");
}

// ------------------------------------------------------------------------------------ vectors

TEST_F(HostApi, AddVectorNarrowsValuesToTheNearestFloat) {
    const double values[] = {1.1, -2.5, 16777217.0};
    AddVector("k", "Feed flow", "t/h", values, 3);
    const FetchedVector vector = fetch("k");
    EXPECT_EQ(vector.values, (std::vector<float>{1.1F, -2.5F, 16777216.0F}));
    EXPECT_NE(static_cast<double>(vector.values[0]), 1.1);
    EXPECT_EQ(vector.description, "Feed flow");
    EXPECT_EQ(vector.units, "t/h");
}

TEST_F(HostApi, AddVectorMakesWhatIsBeyondTheRangeOfFloatInfiniteOrZero) {
    const double values[] = {1e300, -1e300, 1e-300, std::numeric_limits<double>::quiet_NaN()};
    AddVector("k", "", "", values, 4);
    const std::vector<float> fetched = fetch("k").values;
    EXPECT_EQ(fetched[0], std::numeric_limits<float>::infinity());
    EXPECT_EQ(fetched[1], -std::numeric_limits<float>::infinity());
    EXPECT_EQ(fetched[2], 0.0F);
    EXPECT_TRUE(std::isnan(fetched[3]));
}

TEST_F(HostApi, AddVectorKeepsCopies) {
    char key[] = "key";
    char description[] = "description";
    char units[] = "units";
    double value = 1.0;
    AddVector(key, description, units, &value, 1);
    key[0] = description[0] = units[0] = '?';
    value = 2.0;
    const FetchedVector vector = fetch("key");
    EXPECT_EQ(vector.description, "description");
    EXPECT_EQ(vector.units, "units");
    EXPECT_EQ(vector.values, std::vector<float>{1.0F});
}

TEST_F(HostApi, AddVectorOfLengthZeroNeedsNoValues) {
    AddVector("k", "a", "b", nullptr, 0);
    EXPECT_TRUE(fetch("k").values.empty());
    EXPECT_EQ(recordOf("k")->length, 0);
}

TEST_F(HostApi, AddVectorOfNegativeLengthThrowsAndKeepsNothing) {
    const double value = 1.0;
    EXPECT_THROW(AddVector("k", "", "", &value, -1), std::bad_alloc);
    EXPECT_THROW(AddVector("k", "", "", &value, INT_MIN), std::bad_alloc);
    EXPECT_TRUE(hostData().vectors.empty());
}

TEST_F(HostApi, AddVectorOfNegativeLengthLeavesTheVectorThatTheKeyHas) {
    const double value = 1.0;
    AddVector("k", "kept", "", &value, 1);
    EXPECT_THROW(AddVector("k", "", "", &value, -1), std::bad_alloc);
    EXPECT_EQ(fetch("k").description, "kept");
}

TEST_F(HostApi, AddVectorTakesTextsThatFillTheirFields) {
    AddVector("k", text(126).c_str(), text(30).c_str(), nullptr, 0);
    EXPECT_EQ(recordOf("k")->description, text(126));
    EXPECT_EQ(recordOf("k")->units, text(30));
}

TEST_F(HostApiDeathTest, AddVectorStopsAtATextThatIsOneCharacterTooLong) {
    EXPECT_STOP(AddVector("k", text(127).c_str(), "", nullptr, 0),
                "AddVector: the description has 127 characters, the limit is 126");
    EXPECT_STOP(AddVector("k", "", text(31).c_str(), nullptr, 0),
                "AddVector: the text of units has 31 characters, the limit is 30");
}

TEST_F(HostApiDeathTest, AddVectorStopsAtNullPointers) {
    EXPECT_STOP(AddVector(nullptr, "", "", nullptr, 0), "AddVector: the key is a null pointer");
    EXPECT_STOP(AddVector("k", nullptr, "", nullptr, 0), "AddVector: the description is a null pointer");
    EXPECT_STOP(AddVector("k", "", nullptr, nullptr, 0), "AddVector: the text of units is a null pointer");
    EXPECT_STOP(AddVector("k", "", "", nullptr, 1), "AddVector: the array of values is a null pointer");
}

TEST_F(HostApi, KeysAreOrderedByBytesAndThenShorterFirst) {
    for (const char* key : {"b", "ab", "\xff", "A", "a", ""}) {
        AddVector(key, "", "", nullptr, 0);
    }
    std::vector<std::string> keys;
    for (const auto& [key, record] : hostData().vectors) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"", "A", "a", "ab", "b", "\xff"}));
}

TEST_F(HostApi, AKeyOfAnyLengthFindsItsVector) {
    AddVector(text(1000).c_str(), "long", "", nullptr, 0);
    AddVector(text(999).c_str(), "longest but one", "", nullptr, 0);
    EXPECT_EQ(fetch(text(1000).c_str()).description, "long");
}

TEST_F(HostApi, AddingAKeyTwiceLeavesTheFirstVectorToNobody) {
    const double first = 1.0;
    const double second = 2.0;
    AddVector("k", "first", "", &first, 1);
    const qormath::host::NewRecord left(recordOf("k"));  // freed by this test, for the library does not
    AddVector("k", "second", "", &second, 1);
    EXPECT_EQ(fetch("k").values, std::vector<float>{2.0F});
    EXPECT_STREQ(left->description, "first");
    EXPECT_EQ(left->values[0], 1.0F);
}

TEST_F(HostApi, InitializeDMILeavesTheVectorsToNobody) {
    const double value = 1.0;
    AddVector("k", "kept", "", &value, 1);
    const qormath::host::NewRecord left(recordOf("k"));  // freed by this test, for the library does not
    InitializeDMI();
    EXPECT_TRUE(hostData().vectors.empty());
    EXPECT_STREQ(left->description, "kept");
    EXPECT_EQ(left->values[0], 1.0F);
}

// ------------------------------------------------------------------------------------ deletion

TEST_F(HostApi, DeleteVectorKeepsTheKey) {
    AddVector("k", "", "", nullptr, 0);
    DeleteVector("k");
    EXPECT_EQ(hostData().vectors.count("k"), 1U);
}

TEST_F(HostApi, DeleteVectorLeavesOtherVectors) {
    const double value = 1.0;
    AddVector("a", "", "", &value, 1);
    AddVector("b", "other", "", &value, 1);
    DeleteVector("a");
    EXPECT_EQ(fetch("b").description, "other");
}

TEST_F(HostApi, ADeletedKeyCanBeUsedAndDeletedAgain) {
    const double value = 3.0;
    AddVector("k", "first", "", &value, 1);
    DeleteVector("k");
    AddVector("k", "second", "", &value, 1);
    EXPECT_EQ(fetch("k").description, "second");
    DeleteVector("k");
    EXPECT_EQ(recordOf("k"), &qormath::host::deletedRecord);
}

TEST_F(HostApi, DeleteVectorNotesAnUnknownKeyHoweverOftenItIsDeleted) {
    DeleteVector("k");
    DeleteVector("k");
    ASSERT_EQ(hostData().vectors.count("k"), 1U);
    EXPECT_EQ(recordOf("k"), nullptr);
    AddVector("k", "now known", "", nullptr, 0);
    EXPECT_EQ(fetch("k").description, "now known");
}

TEST_F(HostApiDeathTest, DeleteVectorStopsAtASecondDeletion) {
    AddVector("k", "", "", nullptr, 0);
    DeleteVector("k");
    EXPECT_STOP(DeleteVector("k"), "DeleteVector: the vector \"k\" was deleted before");
}

TEST_F(HostApiDeathTest, DeleteVectorShowsTheStartOfALongKey) {
    AddVector(text(1000).c_str(), "", "", nullptr, 0);
    DeleteVector(text(1000).c_str());
    EXPECT_STOP(DeleteVector(text(1000).c_str()), "DeleteVector: the vector \"" + text(100) + "\" was deleted before");
}

TEST_F(HostApiDeathTest, DeleteVectorStopsAtANullPointer) {
    EXPECT_STOP(DeleteVector(nullptr), "DeleteVector: the key is a null pointer");
}

// ------------------------------------------------------------------------------------ messages

TEST_F(HostApi, MessagesAreReadInTheOrderTheyCameIn) {
    AddOutputMessage("first");
    AddOutputMessage("second");
    EXPECT_EQ(API_GetNumberOfOutputMessages(), 2);
    EXPECT_EQ(message(1), "second");
    EXPECT_EQ(message(0), "first");
    EXPECT_EQ(message(0), "first");
}

TEST_F(HostApi, ThereIsNoMessageAfterInitializationHoweverManyThereWere) {
    API_InitializeOutputMessages();
    EXPECT_EQ(API_GetNumberOfOutputMessages(), 0);
    for (int i = 0; i < 1000; ++i) {
        AddOutputMessage("a");
    }
    EXPECT_EQ(API_GetNumberOfOutputMessages(), 1000);
    API_InitializeOutputMessages();
    EXPECT_EQ(API_GetNumberOfOutputMessages(), 0);
}

TEST_F(HostApi, InitializingMessagesKeepsLinesAndVectors) {
    AddCaseLine("a");
    AddVector("k", "", "", nullptr, 0);
    API_InitializeOutputMessages();
    EXPECT_EQ(hostData().caseLines.size(), 1U);
    EXPECT_EQ(hostData().vectors.size(), 1U);
}

TEST_F(HostApi, AMessageFillsItsDestinationToTheLastByte) {
    AddOutputMessage("abc");
    char destination[] = "......";
    EXPECT_EQ(API_GetOutputMessage(destination, 4, 0), 0);
    EXPECT_EQ(std::string(destination, 6), std::string("abc\0..", 6));
}

TEST_F(HostApiDeathTest, AMessageThatDoesNotFitItsDestinationStopsTheProcess) {
    AddOutputMessage("abc");
    char destination[8];
    EXPECT_STOP(API_GetOutputMessage(destination, 3, 0),
                "API_GetOutputMessage: the message has 3 characters, the limit is 2");
    EXPECT_STOP(API_GetOutputMessage(destination, 0, 0),
                "API_GetOutputMessage: the message has 3 characters, there is no room for any text");
    EXPECT_STOP(API_GetOutputMessage(destination, -1, 0),
                "API_GetOutputMessage: the message has 3 characters, there is no room for any text");
    EXPECT_STOP(API_GetOutputMessage(nullptr, 8, 0), "API_GetOutputMessage: there is no destination for the message");
}

TEST_F(HostApiDeathTest, AMessageThatIsNotThereStopsTheProcess) {
    char destination[8];
    EXPECT_STOP(API_GetOutputMessage(destination, 8, 0), "API_GetOutputMessage: there is no message 0, there are 0");
    AddOutputMessage("a");
    AddOutputMessage("b");
    EXPECT_STOP(API_GetOutputMessage(destination, 8, 2), "API_GetOutputMessage: there is no message 2, there are 2");
    EXPECT_STOP(API_GetOutputMessage(destination, 8, -1), "API_GetOutputMessage: there is no message -1, there are 2");
    EXPECT_STOP(API_GetOutputMessage(destination, 8, INT_MIN),
                "API_GetOutputMessage: there is no message -2147483648, there are 2");
}

}  // namespace
