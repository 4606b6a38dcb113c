#include "server/RequestIntake.h"

#include <gtest/gtest.h>

#include <set>

namespace {

TEST(RequestIntakeTest, OwnersTakeTurnsInTheOrderOfTheirFiles)
{
    CRequestIntake intake;
    for (const wchar_t* name : {L"1", L"2", L"3"})
        intake.Add("many", name);
    intake.Add("few", L"a");
    std::wstring order;
    for (CString name; intake.TakeNext(name);)
        order += name;
    EXPECT_EQ(order, L"a123");
    EXPECT_FALSE(intake.HasLeftOut());
}

TEST(RequestIntakeTest, AnEmptyOneHasNothing)
{
    CRequestIntake intake;
    CString name;
    EXPECT_FALSE(intake.TakeNext(name));
}

TEST(RequestIntakeTest, KeepsAFewOfManyAndSaysSo)
{
    CRequestIntake intake;
    for (std::size_t index = 0; index < CRequestIntake::kNamesPerOwner; ++index)
        intake.Add("many", std::to_wstring(index));
    EXPECT_FALSE(intake.HasLeftOut());
    for (int index = 0; index < 100'000; ++index)
        intake.Add("many", L"more " + std::to_wstring(index));
    EXPECT_TRUE(intake.HasLeftOut());
    std::set<CString> kept;
    for (CString name; intake.TakeNext(name);)
        kept.insert(name);
    EXPECT_EQ(kept.size(), CRequestIntake::kNamesPerOwner);
    EXPECT_FALSE(kept.contains(L"0") && kept.contains(L"1") && kept.contains(L"2")) << "the first are always kept";
}

TEST(RequestIntakeTest, OwnersBeyondTheMostShareATurn)
{
    CRequestIntake intake;
    for (std::size_t index = 0; index < CRequestIntake::kOwners + 2 * CRequestIntake::kNamesPerOwner; ++index)
        intake.Add("owner " + std::to_string(index), L"x");
    EXPECT_TRUE(intake.HasLeftOut());
    std::size_t kept = 0;
    for (CString name; intake.TakeNext(name);)
        ++kept;
    EXPECT_EQ(kept, CRequestIntake::kOwners + CRequestIntake::kNamesPerOwner);
}

} // namespace
