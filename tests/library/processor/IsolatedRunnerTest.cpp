#include "processor/IsolatedRunner.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct STold {
    bool isWhole = true;
    std::string text;

    [[nodiscard]] bool Has(const char* part) const { return text.find(part) != std::string::npos; }
};

STold TellOf(int fileRules, bool refusesCalls, bool allowNetwork = false)
{
    SZelIsolation isolation;
    isolation.allowNetwork = allowNetwork;
    STold told;
    told.isWhole = !told.isWhole;
    told.text = platform::ToUtf8(CIsolatedRunner::SandboxText(isolation, {fileRules, refusesCalls}, told.isWhole));
    return told;
}

TEST(IsolatedRunnerTest, ASandboxWithAllRulesIsWhole)
{
    for (const int version : {6, 7, 8}) {
        const STold told = TellOf(version, true);
        EXPECT_TRUE(told.isWhole);
        EXPECT_EQ(told.text, "Tasks run in a sandbox: no new privileges; seccomp, no network; Landlock, version " +
                                 std::to_string(version));
    }
    EXPECT_TRUE(TellOf(6, true, true).Has("; seccomp, the network allowed; Landlock"));
}

TEST(IsolatedRunnerTest, WhatAnOlderKernelLacksIsNamed)
{
    for (int version = 0; version < 6; ++version) {
        const STold told = TellOf(version, true);
        EXPECT_FALSE(told.isWhole) << version;
        EXPECT_TRUE(told.Has("; other processes can be sent signals")) << told.text;
        EXPECT_EQ(told.Has("; a file can still be cut short anywhere"), version == 1 || version == 2) << told.text;
        EXPECT_EQ(told.Has("; files cannot be moved between folders"), version == 1) << told.text;
        EXPECT_EQ(told.Has("without Landlock"), version == 0) << told.text;
    }
}

TEST(IsolatedRunnerTest, ASandboxThatRefusesNoCallsIsNotWhole)
{
    const STold told = TellOf(7, false);
    EXPECT_FALSE(told.isWhole);
    EXPECT_TRUE(told.Has("without seccomp")) << told.text;
    EXPECT_FALSE(told.Has("signals")) << told.text;
}

} // namespace
