#include "server/Story.h"

#include "framework/Services.h"
#include "platform/Text.h"
#include "reports/StringCodes.h"
#include "tests/library/server/RunFixture.h"

using namespace std::chrono_literals;

namespace {

class StoryTest : public CRunFixture {
protected:
    /// The only line that was told since the last call.
    testsupport::SLogLine Line()
    {
        const std::vector<testsupport::SLogLine> lines = m_host.TakeLogLines();
        EXPECT_EQ(lines.size(), 1U);
        return lines.empty() ? testsupport::SLogLine() : lines.front();
    }
    void End(eZelProcRequestStatus status, const wchar_t* comment, const wchar_t* type = L"Echo")
    {
        m_status.SetStatusAndComment(status, comment);
        static_cast<void>(m_host.TakeLogLines());
        Story::TellEnded(m_status, type, 1250ms, m_settings.m_paths.Output(L"a.drq"));
    }

    CZelProcessorProgressStatusFile m_status{L"ZelProcessor", m_settings.m_paths.Status(L"a.drq")};
};

TEST_F(StoryTest, AStepIsALineOfTheLevelInfo)
{
    Write(Queued(L"a.drq"), "12345");
    Story::TellReceived(Queued(L"a.drq"));
    testsupport::SLogLine line = Line();
    EXPECT_EQ(line.text, L"Received: a request of 5 bytes");
    EXPECT_EQ(line.level, Brel::Log::eLogLevel_Info);
    Story::TellReceived(Queued(L"gone.drq"));
    EXPECT_EQ(Line().text, L"Received: a request of unknown length");
    Story::TellStarted(L"Echo");
    EXPECT_EQ(Line().text, L"Started: type Echo");
    Story::TellDeclined();
    EXPECT_EQ(Line().level, Brel::Log::eLogLevel_Info);
}

TEST_F(StoryTest, AnEndHasItsTimeItsPercentAndTheBytesOfItsResponse)
{
    Write(m_settings.m_paths.Output(L"a.drq"), "1234567");
    m_status.SetRange(0, 200);
    m_status.SetPos(100);
    End(eRequestStatus_Done, L"Done");
    const testsupport::SLogLine line = Line();
    EXPECT_EQ(line.text, L"Ended: Done after 1.250 s, type Echo, at 50 %, a response of 7 bytes");
    EXPECT_EQ(line.level, Brel::Log::eLogLevel_Info);
}

TEST_F(StoryTest, AFailureIsAnErrorWithItsReason)
{
    End(eRequestStatus_ServerError, L"no\nsuch\ttable", L"");
    const testsupport::SLogLine line = Line();
    EXPECT_EQ(line.text, L"Ended: ServerError after 1.250 s, no progress told: no such table");
    EXPECT_EQ(line.level, Brel::Log::eLogLevel_Error);
}

TEST_F(StoryTest, AFailureIsNotCalledOneTwice)
{
    End(eRequestStatus_ServerError, (TextOf(StringCodes::kServerError) + L"no such table").c_str(), L"");
    EXPECT_EQ(Line().text, L"Ended: ServerError after 1.250 s, no progress told: no such table");
}

TEST_F(StoryTest, WhatOthersWroteIsCut)
{
    End(eRequestStatus_ServerError, std::wstring(501, L'x').c_str(), L"");
    EXPECT_TRUE(Line().text.ends_with(L": " + std::wstring(500, L'x') + L"..."));
    Story::TellStarted(std::wstring(500, L'y'));
    EXPECT_EQ(Line().text, L"Started: type " + std::wstring(500, L'y'));
}

TEST_F(StoryTest, ACommandThatWasNotCarriedOutIsAnError)
{
    m_status.WriteStatus(eRequestStatus_Done);
    static_cast<void>(m_host.TakeLogLines());
    Story::TellCommand(L"cancel a.drq", m_status);
    testsupport::SLogLine line = Line();
    EXPECT_EQ(line.text, L"Command: cancel a.drq: Done");
    EXPECT_EQ(line.level, Brel::Log::eLogLevel_Info);
    m_status.SetStatusAndComment(eRequestStatus_ServerError, L"no XML");
    static_cast<void>(m_host.TakeLogLines());
    Story::TellCommand({}, m_status);
    line = Line();
    EXPECT_EQ(line.text, L"Command: cannot be read: ServerError: no XML");
    EXPECT_EQ(line.level, Brel::Log::eLogLevel_Error);
}

} // namespace
