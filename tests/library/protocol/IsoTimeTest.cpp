#include "protocol/IsoTime.h"

#include <gtest/gtest.h>

using Protocol::ParseIsoTime;

TEST(IsoTimeTest, ATimeWithItsZoneIsReadInSeconds)
{
    EXPECT_EQ(ParseIsoTime("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(ParseIsoTime("1970-01-01T00:00:01Z"), 1);
    EXPECT_EQ(ParseIsoTime("2026-11-23T06:00:00Z"), 1'795'413'600);
    EXPECT_EQ(ParseIsoTime("2026-11-23T06:00Z"), 1'795'413'600);
    EXPECT_EQ(ParseIsoTime("2026-11-23T06:00:00.999Z"), 1'795'413'600);
    EXPECT_EQ(ParseIsoTime("2026-11-23T07:30:00+01:30"), 1'795'413'600);
    EXPECT_EQ(ParseIsoTime("2026-11-22T22:15-07:45"), 1'795'413'600);
    EXPECT_EQ(ParseIsoTime("1969-12-31T23:59:59Z"), -1);
    EXPECT_EQ(ParseIsoTime("2024-02-29T00:00:00Z"), 1'709'164'800);
    EXPECT_EQ(ParseIsoTime("2016-12-31T23:59:60Z"), ParseIsoTime("2017-01-01T00:00:00Z"));
    EXPECT_EQ(ParseIsoTime("9999-12-31T23:59:59Z"), 253'402'300'799);
}

TEST(IsoTimeTest, AnyOtherTextIsNoTime)
{
    for (const char* text : {"",
                             "2026-11-23",
                             "2026-11-23T06:00:00",
                             "2026-11-23 06:00:00Z",
                             "2026-11-23T06:00:00z",
                             "2026-11-23T06:00:00Z ",
                             " 2026-11-23T06:00:00Z",
                             "2026-11-23T06:00:00.Z",
                             "2026-11-23T06:00:00,5Z",
                             "2026-11-23T06Z",
                             "2026-11-23T06:0Z",
                             "2026-11-23T24:00Z",
                             "2026-11-23T06:60Z",
                             "2026-11-23T06:00:61Z",
                             "2026-13-01T00:00Z",
                             "2026-00-01T00:00Z",
                             "2026-02-29T00:00Z",
                             "2026-11-31T00:00Z",
                             "2026-11-00T00:00Z",
                             "26-11-23T06:00Z",
                             "02026-11-23T06:00Z",
                             "2026-11-23T06:00+1:00",
                             "2026-11-23T06:00+24:00",
                             "2026-11-23T06:00+01:60",
                             "2026-11-23T06:00+0100",
                             "2026-11-23T06:00ZZ",
                             "2026-1a-23T06:00Z",
                             "-026-11-23T06:00Z",
                             "2026-11-23T06:00:00+",
                             "20261123T060000Z"})
        EXPECT_EQ(ParseIsoTime(text), std::nullopt) << text;
}
