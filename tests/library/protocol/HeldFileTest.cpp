#include "protocol/HeldFile.h"

#include "tests/support/FaultyFiles.h"
#include "tests/support/HeldFileFixture.h"

namespace {

using namespace std::chrono_literals;
using HeldFileTest = CHeldFileFixture;

} // namespace

TEST_F(HeldFileTest, AWaitOfHalfAMinuteIsToldOnceWithTheFilesName)
{
    bool goesOn = true;
    const Protocol::GoOn wait = HeldFile::WithWarning(m_path, [&] { return goesOn; });
    EXPECT_TRUE(wait());
    m_clock.Advance(29s);
    EXPECT_TRUE(wait());
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    m_clock.Advance(1s);
    EXPECT_TRUE(wait());
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
    m_clock.Advance(100s);
    EXPECT_TRUE(wait());
    goesOn = false;
    EXPECT_FALSE(wait());
}

TEST_F(HeldFileTest, WhoAsksForAnotherTimeIsToldThenOrNever)
{
    const Protocol::GoOn never = HeldFile::WithWarning(m_path, {}, 0ms);
    const Protocol::GoOn soon = HeldFile::WithWarning(m_path, {}, 10ms);
    m_clock.Advance(1h);
    EXPECT_TRUE(never());
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    EXPECT_TRUE(soon());
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
}
