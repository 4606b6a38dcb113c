#include "server/PassedOver.h"

#include "tests/support/HeldFileFixture.h"

#include <set>

using namespace std::chrono_literals;

namespace {

class PassedOverTest : public CHeldFileFixture {
protected:
    /// One look at a directory with these files, which are all held. Those that were tried.
    std::vector<std::wstring> Look(const std::vector<std::wstring>& names)
    {
        std::vector<std::wstring> tried;
        for (const std::wstring& name : names) {
            if (m_files.IsToBeLeft(name))
                continue;
            m_files.Meet(m_dir / name);
            tried.push_back(name);
        }
        m_files.EndLook();
        return tried;
    }
    [[nodiscard]] bool IsTried(const std::wstring& name) { return !Look({name}).empty(); }
    static std::vector<std::wstring> Many(std::size_t count)
    {
        std::vector<std::wstring> names;
        for (std::size_t number = 0; number < count; ++number)
            names.push_back(L"file" + std::to_wstring(number));
        return names;
    }

    std::chrono::milliseconds m_warnAfter = 30s;
    CPassedOver m_files{m_warnAfter};
};

TEST_F(PassedOverTest, AHeldFileIsTriedEverLessOften)
{
    EXPECT_GT(m_files.UntilNextLook(), 1h);
    EXPECT_TRUE(IsTried(L"a.drq"));
    std::vector<std::chrono::nanoseconds> pauses;
    for (int round = 0; round < 10; ++round) {
        pauses.push_back(m_files.UntilNextLook());
        m_clock.Advance(pauses.back() - 1ns);
        EXPECT_FALSE(IsTried(L"a.drq"));
        m_clock.Advance(1ms);
        EXPECT_TRUE(IsTried(L"a.drq"));
    }
    const std::vector<std::chrono::nanoseconds> expected{10ms, 20ms, 40ms, 80ms, 160ms, 320ms, 640ms, 1s, 1s, 1s};
    EXPECT_EQ(pauses, expected);
}

TEST_F(PassedOverTest, AFileThatIsClosedIsTriedAtOnceAndMayBeWaitedFor)
{
    EXPECT_TRUE(m_files.IsNews(m_dir / L"a.drq"));
    Look({L"a.drq", L"b.drq"});
    EXPECT_FALSE(m_files.IsNews(m_dir / L"a.drq"));
    for (int round = 0; round < 10; ++round) {
        m_clock.Advance(1s);
        Look({L"a.drq", L"b.drq"});
    }
    m_clock.Advance(500ms);
    m_files.AddClosed({L"b.drq", L"unknown.drq"});
    EXPECT_TRUE(m_files.IsNews(m_dir / L"b.drq"));
    EXPECT_EQ(Look({L"a.drq", L"b.drq"}), std::vector<std::wstring>{L"b.drq"});
    EXPECT_FALSE(m_files.IsNews(m_dir / L"b.drq")) << "it was tried";
    m_clock.Advance(10ms);
    EXPECT_TRUE(IsTried(L"b.drq")) << "and is tried soon again, for the close may not have been over";
}

TEST_F(PassedOverTest, ClosesThatTheTriesCauseDoNotKeepItBusy)
{
    Look({L"a.drq"});
    unsigned tries = 0;
    for (int millisecond = 0; millisecond < 10'000; ++millisecond) {
        m_clock.Advance(1ms);
        if (IsTried(L"a.drq")) {
            ++tries;
            m_files.AddClosed({L"a.drq"});
        }
    }
    EXPECT_GE(tries, 10U);
    EXPECT_LE(tries, 20U);
}

TEST_F(PassedOverTest, WhatIsGoneOrTakenIsForgotten)
{
    Look({L"gone.drq", L"taken.drq"});
    m_files.Forget(m_dir / L"taken.drq");
    EXPECT_FALSE(m_files.IsEmpty());
    m_files.EndLook();
    EXPECT_TRUE(m_files.IsEmpty());
    EXPECT_GT(m_files.UntilNextLook(), 1h);
}

TEST_F(PassedOverTest, WhoHoldsManyCostsALookNoMoreThanSomeTriesAndEachComesToItsTurn)
{
    const std::vector<std::wstring> names = Many(std::size_t{CPassedOver::kTriesOfALook} * 10);
    EXPECT_EQ(Look(names).size(), names.size()) << "each is tried when it is met";
    const std::chrono::nanoseconds start = m_clock.Steady();
    std::set<std::wstring> tried;
    std::size_t tries = 0;
    while (tried.size() < names.size() && m_clock.Steady() - start < 1min) {
        EXPECT_GE(m_files.UntilNextLook(), 50us * static_cast<int>(names.size()));
        m_clock.Advance(m_files.UntilNextLook());
        const std::vector<std::wstring> now = Look(names);
        EXPECT_LE(now.size(), std::size_t{CPassedOver::kTriesOfALook});
        EXPECT_TRUE(Look(names).empty()) << "a look that others ask for does not add to them";
        tries += now.size();
        tried.insert(now.begin(), now.end());
    }
    EXPECT_EQ(tried.size(), names.size());
    EXPECT_LE(tries, names.size() * 3 / 2) << "none comes to its turn again before the others";
    EXPECT_LE(tries, static_cast<std::size_t>((m_clock.Steady() - start) / 500us) + CPassedOver::kTriesOfALook);
}

TEST_F(PassedOverTest, KeepsNoMoreThanItsLimit)
{
    std::vector<std::wstring> names = Many(CPassedOver::kMost);
    Look(names);
    EXPECT_FALSE(m_files.IsFull());
    names.push_back(L"beyond");
    m_clock.Advance(1ms);
    EXPECT_EQ(Look(names), std::vector<std::wstring>{L"beyond"});
    EXPECT_TRUE(m_files.IsFull());
    EXPECT_LE(m_files.UntilNextLook(), 200ms);
    EXPECT_EQ(Look(names), std::vector<std::wstring>{L"beyond"}) << "which every look meets anew";
    names.pop_back();
    Look(names);
    EXPECT_FALSE(m_files.IsFull());
}

TEST_F(PassedOverTest, AFileThatIsHeldForLongIsToldOnceWithItsName)
{
    const std::wstring name = L"x.drq";
    const auto meetFor = [&](std::chrono::seconds time) {
        for (std::chrono::seconds passed = 0s; passed < time; passed += 1s) {
            m_clock.Advance(1s);
            EXPECT_TRUE(IsTried(name));
        }
    };
    Look({name});
    meetFor(29s);
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    meetFor(1s);
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
    meetFor(100s);
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    m_files.EndLook(); // nobody saw it: it was let go
    Look({name});
    meetFor(29s);
    EXPECT_TRUE(m_host.TakeLogLines().empty()) << "it is held anew";
    meetFor(1s);
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
}

TEST_F(PassedOverTest, ManyThatAreHeldAreToldOneAtATime)
{
    const std::vector<std::wstring> names = Many(100);
    Look(names);
    for (int second = 0; second < 40; ++second) {
        m_clock.Advance(1s);
        Look(names);
    }
    EXPECT_EQ(m_host.TakeLogLines().size(), 3U) << "at 30, 35 and 40 s";
}

TEST_F(PassedOverTest, AHostMayDoWithoutTheWarningOrHaveItSooner)
{
    m_warnAfter = 0s;
    Look({L"x.drq"});
    m_clock.Advance(1h);
    Look({L"x.drq"});
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    m_warnAfter = 250ms;
    m_clock.Advance(1s);
    Look({L"x.drq"});
    m_host.ExpectLogLine(L"'" + m_path + L"' is kept open by ");
}

} // namespace
