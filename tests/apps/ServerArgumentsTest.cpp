#include "apps/zel-server/ServerOptions.h"
#include "platform/Sandbox.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

SServerOptions Parsed(const std::vector<std::wstring>& arguments)
{
    SServerOptions options;
    EXPECT_EQ(ParseServerOptions(arguments, options), std::nullopt);
    return options;
}

TEST(ServerArgumentsTest, AllOptionsComeBackFromTheArgumentsOfAService)
{
    const testsupport::CTemporaryDirectory root;
    SServerOptions options;
    options.requestDir = root / L"requests";
    options.outputDir = root / L"output";
    options.createDirs = true;
    options.adopt = true;
    options.shareRequests = true;
    options.componentFolders = {root / L"one", root / L"two"};
    options.noExecutive = true;
    options.noSync = true;
    options.followLinks = true;
    options.strict = true;
    options.resume = true;
    options.interrupted = eInterrupted_Fail;
    options.attempts = 5;
    options.eventsLimitMiB = 0;
    options.oneList = true;
    options.noPresence = true;
    options.slots = 4;
    options.xmlLimits.bytes = 5000;
    options.xmlLimits.textLength = 100;
    options.queryTimeLimit = std::chrono::milliseconds(1050);
    options.keepDays = 30;
    options.keepFailedDays = 7;
    options.patience = std::chrono::milliseconds(0);
    options.busyWarning = std::chrono::milliseconds(1500);
    options.timeLimit = std::chrono::milliseconds(600'250);
    options.grace = std::chrono::milliseconds(0);
    options.isolate = true;
    options.recycle = 0;
    options.recycleMemoryMiB = 100;
    options.sandbox = platform::SandboxSupport().has_value(); // elsewhere it is a mistake
    options.allowNetwork = options.sandbox;
    options.memoryLimitMiB = 256;
    options.nice = 19;
    options.maxQueued = 0;
    options.maxClients = 7;
    options.pollMs = 20;
    options.privateFiles = true;
    options.logLevel = Brel::Log::eLogLevel_Warning;
    options.logFile = root / L"server.log";
    options.logSizeMiB = 7;
    options.logJson = true;
    options.metricsFile = root / L"zel.prom";
    options.pageDir = root / L"page";
    options.service = eServiceAction_Run;
    options.serviceName = L"another";
    EXPECT_TRUE(Parsed(ServerArguments(options)) == options);
    options.slots = 0;
    EXPECT_TRUE(Parsed(ServerArguments(options)) == options) << "as many as there are processors wherever it starts";
}

TEST(ServerArgumentsTest, TheLimitOfEventsIsTheNamedOneAndWithoutOneNotThatOfAStrictServer)
{
    constexpr std::uint64_t kMiB = 1U << 20;
    SServerOptions options;
    EXPECT_EQ(EventsLimit(options), 16 * kMiB);
    options.strict = true;
    EXPECT_EQ(EventsLimit(options), 0U);
    options.eventsLimitMiB = 255;
    EXPECT_EQ(EventsLimit(options), 255 * kMiB);
    options.strict = false;
    options.eventsLimitMiB = 0;
    EXPECT_EQ(EventsLimit(options), 0U);
}

TEST(ServerArgumentsTest, AServiceResumesUnlessItIsStrict)
{
    SServerOptions options;
    options.requestDir = L"/a";
    options.outputDir = L"/b";
    options.logFile = L"/c";
    EXPECT_TRUE(Parsed(ServiceArguments(options)).resume);
    EXPECT_EQ(Parsed(ServiceArguments(options)).service, eServiceAction_Run);
    options.strict = true;
    EXPECT_FALSE(Parsed(ServiceArguments(options)).resume);
}

TEST(ServerArgumentsTest, OptionsAreDifferentThatOneLacksOrThatHaveOtherValues)
{
    SServerOptions left;
    left.keepDays = 7;
    left.fair = true;
    left.componentFolders = {L"/a", L"/b"};
    left.maxQueued = 3;
    SServerOptions right = left;
    EXPECT_EQ(DifferentOptions(left, right), std::vector<std::wstring>());
    right.fair = false;
    right.keepDays = 8;
    right.componentFolders = {L"/b", L"/a"};
    right.stopTimeout = std::chrono::milliseconds(1);
    const std::vector<std::wstring> different = {L"--components", L"--fair", L"--keep", L"--stop-timeout"};
    EXPECT_EQ(DifferentOptions(left, right), different);
    EXPECT_EQ(DifferentOptions(right, left), different);
}

TEST(ServerArgumentsTest, WhatWasNotGivenStaysAsItIs)
{
    const testsupport::CTemporaryDirectory root;
    const SServerOptions options = Parsed({L"--request-dir", root / L"requests", L"--output-dir", root / L"output"});
    EXPECT_FALSE(options.strict);
    EXPECT_FALSE(options.queryTimeLimit);
    EXPECT_FALSE(options.patience);
    EXPECT_TRUE(Parsed(ServerArguments(options)) == options);
}

} // namespace
