#include "apps/zel-server/LibraryOptions.h"

#include <gtest/gtest.h>

namespace {

SServerOptions Strict()
{
    SServerOptions options;
    options.strict = true;
    return options;
}

TEST(LibraryOptionsTest, AStrictServerLeavesAllAsTheLibraryHasIt)
{
    SZelServerOptions expected;
    expected.followLinks = false; // no part of what is strict
    EXPECT_TRUE(LibraryOptions(Strict()) == expected);
}

TEST(LibraryOptionsTest, TheUsualServerProtectsItsUsers)
{
    const SZelServerOptions options = LibraryOptions({});
    EXPECT_TRUE(options.syncing);
    EXPECT_TRUE(options.cancelByName);
    EXPECT_TRUE(options.requestsOnly);
    EXPECT_TRUE(options.pausedStatus);
    EXPECT_EQ(options.eventsLimit, std::uint64_t{16} << 20);
    EXPECT_TRUE(options.xmlLimits == SXmlLimits());
    EXPECT_EQ(options.crashReportTime, std::chrono::seconds(30));
    EXPECT_TRUE(options.takeTurns);
    EXPECT_EQ(options.maxQueued, 10'000U);
    EXPECT_EQ(options.maxClients, 1'000U);
    EXPECT_FALSE(options.privateFiles);
    EXPECT_FALSE(options.followLinks);
    EXPECT_TRUE(options.tellRefused);
    EXPECT_EQ(options.patienceMs, 100U);
}

TEST(LibraryOptionsTest, WhatIsNamedComesBeforeStrict)
{
    SServerOptions named = Strict();
    named.noSync = true;
    named.eventsLimitMiB = 1;
    named.xmlLimits.depth = 7;
    named.maxQueued = 5;
    named.maxClients = 6;
    named.privateFiles = true;
    named.followLinks = true;
    SZelServerOptions expected;
    expected.syncing = false;
    expected.eventsLimit = std::uint64_t{1} << 20;
    expected.xmlLimits.depth = 7;
    expected.maxQueued = 5;
    expected.maxClients = 6;
    expected.privateFiles = true;
    EXPECT_TRUE(LibraryOptions(named) == expected);
}

TEST(LibraryOptionsTest, ZeroIsNoLimit)
{
    SServerOptions named;
    named.maxQueued = 0;
    named.maxClients = 0;
    EXPECT_EQ(LibraryOptions(named).maxQueued, 0U);
    EXPECT_EQ(LibraryOptions(named).maxClients, 0U);
}

TEST(LibraryOptionsTest, TheTimeOfQueriesIsTheNamedOneThenTheVariablesThenTheUsualOne)
{
    SServerOptions named;
    named.queryTimeLimit = std::chrono::milliseconds(200);
    EXPECT_EQ(QueryTimeLimit(named, L"7"), L"0.2");
    EXPECT_EQ(QueryTimeLimit({}, L"7"), L"7");
    EXPECT_EQ(QueryTimeLimit({}, L""), L"300");
    EXPECT_EQ(QueryTimeLimit(Strict(), L"7"), L"7");
    EXPECT_EQ(QueryTimeLimit(Strict(), L""), L"") << "none: any time";
    named.strict = true;
    EXPECT_EQ(QueryTimeLimit(named, L""), L"0.2");
}

} // namespace
