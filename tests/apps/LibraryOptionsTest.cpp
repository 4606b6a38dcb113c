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
    EXPECT_TRUE(options.ownLists);
    EXPECT_TRUE(options.presence);
    EXPECT_TRUE(options.xmlLimits == SXmlLimits());
    EXPECT_EQ(options.crashReportTime, std::chrono::seconds(30));
    EXPECT_TRUE(options.takeTurns);
    EXPECT_TRUE(options.requestAttributes);
    EXPECT_FALSE(options.fair);
    EXPECT_TRUE(options.operatorCommands);
    EXPECT_EQ(options.maxQueued, 10'000U);
    EXPECT_EQ(options.maxClients, 1'000U);
    EXPECT_FALSE(options.privateFiles);
    EXPECT_FALSE(options.followLinks);
    EXPECT_TRUE(options.tellRefused);
    EXPECT_TRUE(options.tellReasons);
    EXPECT_TRUE(options.tellStory);
    EXPECT_TRUE(options.retryLastStatus);
    EXPECT_TRUE(options.checkedWatch);
    EXPECT_EQ(options.poll.count(), 0) << "as the file system needs it";
    EXPECT_EQ(options.patience, std::chrono::milliseconds(0));
    EXPECT_EQ(options.busyWarning, std::chrono::seconds(30));
    EXPECT_EQ(options.keep, std::chrono::seconds(0)) << "for ever";
    EXPECT_EQ(options.timeLimit, std::chrono::milliseconds(0)) << "none";
    EXPECT_EQ(options.grace, std::chrono::seconds(5));
    EXPECT_TRUE(options.retryBackOff);
    EXPECT_TRUE(options.tellSlots);
}

TEST(LibraryOptionsTest, WhatIsNamedComesBeforeStrict)
{
    SServerOptions named = Strict();
    named.noSync = true;
    named.manual = true;
    named.eventsLimitMiB = 1;
    named.xmlLimits.depth = 7;
    named.maxQueued = 5;
    named.maxClients = 6;
    named.patience = std::chrono::milliseconds(500);
    named.busyWarning = std::chrono::milliseconds(0);
    named.keepDays = 3;
    named.slots = 4;
    named.keepFailedDays = 4;
    named.timeLimit = std::chrono::milliseconds(1500);
    named.grace = std::chrono::milliseconds(0);
    named.isolate = true;
    named.recycle = 7;
    named.recycleMemoryMiB = 4096;
    named.sandbox = true;
    named.allowNetwork = true;
    named.memoryLimitMiB = 8192;
    named.nice = 3;
    named.privateFiles = true;
    named.followLinks = true;
    named.pollMs = 20;
    SZelServerOptions expected;
    expected.syncing = false;
    expected.manual = true;
    expected.eventsLimit = std::uint64_t{1} << 20;
    expected.xmlLimits.depth = 7;
    expected.maxQueued = 5;
    expected.maxClients = 6;
    expected.patience = named.patience;
    expected.keep = std::chrono::hours(72);
    expected.slots = 4;
    expected.keepFailed = std::chrono::hours(96);
    expected.timeLimit = std::chrono::milliseconds(1500);
    expected.grace = std::chrono::milliseconds(0);
    expected.isolation.isOn = true;
    expected.isolation.recycle = 7;
    expected.isolation.recycleMemory = std::uint64_t{4} << 30U;
    expected.isolation.sandbox = true;
    expected.isolation.allowNetwork = true;
    expected.isolation.memoryLimit = std::uint64_t{8} << 30U;
    expected.isolation.nice = 3;
    expected.busyWarning = std::chrono::milliseconds(0);
    expected.privateFiles = true;
    expected.poll = std::chrono::milliseconds(20);
    EXPECT_TRUE(LibraryOptions(named) == expected);
}

TEST(LibraryOptionsTest, TheDeadAreKeptAndOneListIsForAllWhenThatIsAskedFor)
{
    SServerOptions named;
    named.noPresence = true;
    named.oneList = true;
    EXPECT_FALSE(LibraryOptions(named).presence);
    EXPECT_FALSE(LibraryOptions(named).ownLists);
}

TEST(LibraryOptionsTest, AServerResumesWhenItIsToldToAndIsNotStrict)
{
    SServerOptions named;
    EXPECT_FALSE(LibraryOptions(named).resume);
    named.resume = true;
    named.interrupted = eInterrupted_Fail;
    named.attempts = 7;
    EXPECT_TRUE(LibraryOptions(named).resume);
    EXPECT_EQ(LibraryOptions(named).interrupted, eInterrupted_Fail);
    EXPECT_EQ(LibraryOptions(named).attempts, 7U);
    named.strict = true;
    EXPECT_FALSE(LibraryOptions(named).resume);
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

TEST(LibraryOptionsTest, WhatIsInForceSaysWhatNobodyAskedFor)
{
    const SServerOptions options = OptionsInForce({}, L"");
    EXPECT_EQ(options.eventsLimitMiB, 16U);
    EXPECT_EQ(options.maxQueued, 10'000U);
    EXPECT_EQ(options.maxClients, 1'000U);
    EXPECT_EQ(options.patience, std::chrono::milliseconds(0));
    EXPECT_EQ(options.busyWarning, std::chrono::seconds(30));
    EXPECT_EQ(options.timeLimit, std::chrono::milliseconds(0));
    EXPECT_EQ(options.grace, std::chrono::seconds(5));
    EXPECT_EQ(options.stopTimeout, std::chrono::milliseconds(0));
    EXPECT_EQ(options.queryTimeLimit, std::chrono::seconds(300));
    EXPECT_EQ(OptionsInForce({}, L"7").queryTimeLimit, std::chrono::seconds(7));
    EXPECT_FALSE(OptionsInForce({}, L"a variable that is no time").queryTimeLimit);
}

TEST(LibraryOptionsTest, WhatIsInForceIsWhatTheLibraryIsGivenAndWhatWasAskedFor)
{
    SServerOptions named;
    named.maxQueued = 5;
    named.patience = std::chrono::milliseconds(500);
    named.stopTimeout = std::chrono::seconds(3);
    for (const SServerOptions& asked : {SServerOptions(), Strict(), named}) {
        const SServerOptions options = OptionsInForce(asked, L"");
        EXPECT_TRUE(LibraryOptions(options) == LibraryOptions(asked)) << asked.strict;
        EXPECT_TRUE(OptionsInForce(options, L"") == options) << asked.strict;
    }
    EXPECT_EQ(OptionsInForce(named, L"").stopTimeout, std::chrono::seconds(3));
}

} // namespace
