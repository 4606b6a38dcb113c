#include "server/LostAndFound.h"

#include "tests/library/server/RunFixture.h"

#include <algorithm>

namespace {

class LostAndFoundTest : public CRunFixture {
protected:
    [[nodiscard]] CString Found(const CString& name) const
    {
        return m_settings.m_paths.InOwnFolder(L"lost+found/" + name);
    }

    CLostAndFound m_lost{m_settings};
};

TEST_F(LostAndFoundTest, AFileKeepsItsNameAndItsBytesAndTheOperatorIsTold)
{
    Write(Queued(L"a.drq"), "what is it");
    m_lost.MoveAside(Queued(L"a.drq"));
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_EQ(Read(Found(L"a.drq")), "what is it");
    EXPECT_EQ(m_lost.Count(), 1U);
    m_host.ExpectLogLine(L", for nothing tells what it is: " + Queued(L"a.drq"));
}

TEST_F(LostAndFoundTest, NoFileTakesTheNameOfAnother)
{
    for (const char* bytes : {"first", "second", "third"}) {
        Write(Queued(L"a.drq"), bytes);
        m_lost.MoveAside(Queued(L"a.drq"), CLostAndFound::eReason_HasEnded);
        m_host.ExpectLogLine(L", for its end is told: " + Queued(L"a.drq"));
    }
    EXPECT_EQ(Read(Found(L"a.drq")), "first");
    EXPECT_EQ(Read(Found(L"a.drq.1")), "second");
    EXPECT_EQ(Read(Found(L"a.drq.2")), "third");
    EXPECT_EQ(m_lost.Count(), 3U);
}

TEST_F(LostAndFoundTest, WhatCannotBeMovedStaysAndIsNotCounted)
{
    Write(Queued(L"a.drq"), "what is it");
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&m_files, nullptr);
    m_lost.MoveAside(Queued(L"a.drq"));
    m_host.ExpectLogLine(L"Nothing tells what this file is, and it cannot be moved into ");
    m_lost.MoveAside(Queued(L"a.drq"), CLostAndFound::eReason_HasEnded);
    m_host.ExpectLogLine(L"The end of this request is told, and it cannot be moved into ");
    EXPECT_EQ(Read(Queued(L"a.drq")), "what is it");
    EXPECT_EQ(m_lost.Count(), 0U);
}

TEST_F(LostAndFoundTest, OfAThousandAndOneTheLastIsMovedWithoutALine)
{
    m_host.AcceptWarnings();
    for (int number = 0; number < 1001; ++number) {
        const std::wstring name = std::to_wstring(number);
        Write(Queued(name), "");
        m_lost.MoveAside(Queued(name));
    }
    EXPECT_EQ(m_lost.Count(), 1001U);
    EXPECT_TRUE(platform::PathExists(Found(L"1000")));
    const auto lines = m_host.TakeLogLines();
    EXPECT_EQ(std::ranges::count_if(lines, [](const auto& line) { return line.text.starts_with(L"Moved into "); }),
              1000);
}

} // namespace
