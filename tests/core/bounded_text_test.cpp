#include <gtest/gtest.h>
#include <string>
#include <support/stops.hpp>

#include <qormath/core/detail/bounded_text.hpp>

using qormath::core::copyBounded;
using qormath::core::requirePointer;
using qormath::core::stopProcess;

using BoundedTextDeathTest = testing::Test;

TEST(BoundedText, CopiesATextThatFillsItsPlaceToTheLastByte) {
    char target[] = "......";
    copyBounded("f", "the name", "abcd", target, 5);
    EXPECT_STREQ(target, "abcd");
    EXPECT_EQ(target[5], '.');
}

TEST(BoundedText, CopiesNoMoreThanTheTextAndItsTerminator) {
    char target[] = "......";
    copyBounded("f", "the name", "a", target, sizeof target);
    EXPECT_EQ(std::string(target, sizeof target), std::string("a\0....\0", 7));
}

TEST(BoundedText, CopiesTheEmptyTextIntoOneByte) {
    char target = '.';
    copyBounded("f", "the name", "", &target, 1);
    EXPECT_EQ(target, '\0');
}

TEST(BoundedText, CopiesATextOntoItself) {
    char text[] = "abcd";
    copyBounded("f", "the name", text, text, sizeof text);
    EXPECT_STREQ(text, "abcd");
    copyBounded("f", "the name", text + 1, text, sizeof text);
    EXPECT_STREQ(text, "bcd");
}

TEST_F(BoundedTextDeathTest, StopsAtATextThatIsOneCharacterTooLong) {
    char target[5];
    EXPECT_STOP(copyBounded("f", "the name", "abcde", target, sizeof target),
                "f: the name has 5 characters, the limit is 4");
}

TEST_F(BoundedTextDeathTest, StopsWhereThereIsNoRoomForTheTerminator) {
    char target = '.';
    EXPECT_STOP(copyBounded("f", "the name", "", &target, 0),
                "f: the name has 0 characters, there is no room for any text");
    EXPECT_EQ(target, '.');
}

TEST_F(BoundedTextDeathTest, StopsAtNullPointers) {
    char target[5];
    EXPECT_STOP(copyBounded("f", "the name", nullptr, target, sizeof target), "f: the name is a null pointer");
    EXPECT_STOP(copyBounded("f", "the name", "a", nullptr, 5), "f: there is no destination for the name");
    EXPECT_STOP(requirePointer("f", "the block", nullptr), "f: the block is a null pointer");
    requirePointer("f", "the block", target);
}

TEST_F(BoundedTextDeathTest, SaysItOnOneLineWhateverStandsInAName) {
    EXPECT_STOP(stopProcess("f", "no \"%s\" here, %d", "a\nb\t\x1b[1m\x7f\xc3\xa9", 3),
                "f: no \"a?b??[1m?\xc3\xa9\" here, 3");
}

TEST_F(BoundedTextDeathTest, CutsALineThatNoNameShouldMake) {
    EXPECT_STOP(stopProcess("f", "%s", std::string(1000, 'a').c_str()), "f: " + std::string(255, 'a'));
}
