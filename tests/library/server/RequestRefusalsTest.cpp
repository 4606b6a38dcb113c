#include "server/RequestRefusals.h"
#include "reports/StringCodes.h"
#include "tests/library/server/ListenerFixture.h"

using namespace std::chrono_literals;

namespace {

class RequestRefusalsTest : public CListenerFixture {
protected:
    RequestRefusalsTest() { m_settings.m_options.tellRefused = true; }

    void SetUp() override
    {
        CListenerFixture::SetUp();
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(Sent(L"dir.drq"))));
    }
    bool Refuses(const std::wstring& name)
    {
        return m_refusals.RefuseWhatCannotBeServed(Sent(name), platform::eNameKind_Missing);
    }
    bool LookRefuses(const std::wstring& name)
    {
        m_refusals.StartLook();
        const bool refuses = Refuses(name);
        m_refusals.EndLook();
        return refuses;
    }
    void ExpectTold()
    {
        m_host.ExpectLogLine(L"Refused: " + Sent(L"dir.drq") + L": " + TextOf(StringCodes::kRefusedDirectory));
    }

    CRequestRefusals m_refusals{m_settings, m_requests, m_statuses};
};

TEST_F(RequestRefusalsTest, ADirectoryNamedLikeARequestIsToldByLogAndStatus)
{
    EXPECT_TRUE(LookRefuses(L"dir.drq"));
    ExpectTold();
    EXPECT_EQ(Status(L"dir.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"dir.drq").comment, TextOf(StringCodes::kServerError) + TextOf(StringCodes::kRefusedDirectory));
}

TEST_F(RequestRefusalsTest, AFileIsNotRefusedNorWhatHasGone)
{
    Send(L"a.drq");
    EXPECT_FALSE(LookRefuses(L"a.drq"));
    EXPECT_FALSE(LookRefuses(L"gone.drq"));
    EXPECT_FALSE(HasStatus(L"a.drq"));
}

TEST_F(RequestRefusalsTest, NothingIsRefusedWhereTheHostDoesNotAskForIt)
{
    m_settings.m_options.tellRefused = false;
    EXPECT_FALSE(LookRefuses(L"dir.drq"));
    EXPECT_FALSE(HasStatus(L"dir.drq"));
}

TEST_F(RequestRefusalsTest, IsToldOnceAsLongAsItStays)
{
    for (int look = 0; look < 3; ++look)
        EXPECT_TRUE(LookRefuses(L"dir.drq"));
    ExpectTold(); // a second line would fail the test
}

TEST_F(RequestRefusalsTest, IsToldAgainWhenItComesBackOrTheServerStartsAnew)
{
    EXPECT_TRUE(LookRefuses(L"dir.drq"));
    EXPECT_FALSE(LookRefuses(L"gone.drq")); // a look without it
    ExpectTold();
    EXPECT_TRUE(LookRefuses(L"dir.drq"));
    ExpectTold();
    m_refusals.Clear();
    EXPECT_TRUE(LookRefuses(L"dir.drq"));
    ExpectTold();
}

TEST_F(RequestRefusalsTest, TheStatusOfARequestOfTheSameNameIsLeftAlone)
{
    Queue(L"dir.drq");
    EXPECT_TRUE(LookRefuses(L"dir.drq"));
    ExpectTold();
    EXPECT_FALSE(HasStatus(L"dir.drq"));
}

TEST_F(RequestRefusalsTest, ManyRefusalsAreOneLineAMinute)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    for (const wchar_t* text : {L"first", L"second", L"third"})
        m_refusals.TellRefusal(text);
    m_host.ExpectLogLine(L"Refused (1 since the last such line): first");
    m_clock.Advance(1min);
    m_refusals.TellRefusal(L"fourth");
    m_host.ExpectLogLine(L"Refused (3 since the last such line): fourth");
}

} // namespace
