#include "plugins/datastore/Spool.h"

#include "tests/plugins/StringSink.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

using testsupport::CStringSink;

TEST(Spool, GivesBackWhatItTookInOrder)
{
    CSpool spool;
    std::string expected;
    for (int number = 0; number < 200000; ++number) {
        const std::string piece = std::to_string(number) + ",";
        expected += piece;
        ASSERT_TRUE(spool.Write(piece));
    }
    ASSERT_GT(expected.size(), 1000000U); // enough for several stored pieces
    CStringSink first;
    CStringSink second;
    EXPECT_TRUE(spool.CopyTo(first));
    EXPECT_TRUE(spool.CopyTo(second));
    EXPECT_EQ(first.All(), expected);
    EXPECT_EQ(second.All(), expected);
    EXPECT_EQ(spool.ErrorText(), L"");
}

TEST(Spool, AnEmptyOneGivesNothing)
{
    CSpool spool;
    CStringSink sink;
    EXPECT_TRUE(spool.CopyTo(sink));
    EXPECT_EQ(sink.All(), "");
}

TEST(Spool, TakesAnyBytesAndPiecesOfAnySize)
{
    CSpool spool;
    const std::string large(3000000, '\0');
    EXPECT_TRUE(spool.Write(large));
    EXPECT_TRUE(spool.Write("tail"));
    CStringSink sink;
    EXPECT_TRUE(spool.CopyTo(sink));
    EXPECT_EQ(sink.All(), large + "tail");
}

TEST(Spool, ASinkThatFailsEndsTheCopy)
{
    // Two that are stored and one that is not, each refused in turn: nothing comes behind the one that was.
    const std::array<std::string, 3> pieces = {std::string(300000, 'x'), std::string(300000, 'y'), "tail"};
    CSpool spool;
    std::string expected;
    for (const std::string& piece : pieces)
        ASSERT_TRUE(spool.Write(piece));
    for (unsigned refused = 0; refused < pieces.size(); ++refused) {
        expected += pieces[refused];
        CStringSink sink(refused);
        EXPECT_FALSE(spool.CopyTo(sink)) << refused;
        EXPECT_TRUE(sink.All() == expected) << refused << ": " << sink.All().size() << " bytes";
    }
    CStringSink sink;
    EXPECT_TRUE(spool.CopyTo(sink));
    EXPECT_TRUE(sink.All() == expected);
}
