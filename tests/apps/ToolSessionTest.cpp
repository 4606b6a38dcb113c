#include "apps/zel/ToolSession.h"

#include "apps/zel/Sender.h"
#include "platform/Os.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

/// A session that was not given the time to wait for a status that somebody has open.
class ToolSessionTest : public testing::Test {
protected:
    ToolSessionTest()
    {
        std::unique_ptr<platform::IFile> holder;
        EXPECT_EQ(platform::WriteWholeFile(m_session.StatusPath(L"held.drq"), "x"), platform::eOsError_None);
        EXPECT_EQ(platform::Files().Open(m_session.StatusPath(L"held.drq"), platform::eOpenMode_WriteExclusive, holder),
                  platform::eOsError_None);
        m_session.SetTimeout(0ms);
        eExitCode code = eExitCode_Done;
        EXPECT_FALSE(m_session.Look(m_session.Client(), L"held.drq", code).has_value());
        EXPECT_EQ(code, eExitCode_Timeout);
    }
    [[nodiscard]] SToolOptions Options() const
    {
        SToolOptions options;
        options.requestDir = m_folder.Path();
        options.outputDir = m_folder.Path();
        return options;
    }

    testsupport::CTemporaryDirectory m_folder;
    CToolSession m_session{Options()};
};

TEST_F(ToolSessionTest, WhatEndedOneWaitSaysNothingOfTheNextFileThatIsSent)
{
    ASSERT_TRUE(m_session.HasGivenUp());
    ASSERT_EQ(platform::WriteWholeFile(m_session.RequestPath(L"taken.drq"), "x"), platform::eOsError_None);
    std::wstring error;
    EXPECT_FALSE(CSender(m_session).Send(m_folder / L"any", L"taken.drq", error));
    EXPECT_EQ(m_session.Fail(L"taken.drq", error), eExitCode_ClientError) << "its name is in use";
}

TEST_F(ToolSessionTest, WithANewTimeNothingWasGivenUp)
{
    ASSERT_TRUE(m_session.HasGivenUp());
    m_session.SetTimeout(kForever);
    EXPECT_FALSE(m_session.HasGivenUp());
}

} // namespace
