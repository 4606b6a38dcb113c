#include "server/PaletteAnswer.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "com/ComError.h"
#include "com/ComPtr.h"
#include "tests/support/NotifyDoubles.h"

#include <gtest/gtest.h>

namespace {

constexpr GUID kFirst = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr GUID kSecond = {2, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

class PaletteAnswerTest : public testing::Test {
protected:
    PaletteAnswerTest() { CoInitializeZEL(nullptr); }
    ~PaletteAnswerTest() override { CoUninitializeZEL(); }

    [[nodiscard]] SPaletteAnswer Ask() { return SPaletteAnswer::Ask(*m_palette, nullptr, nullptr); }

    CComPtr<CTestPalette> m_palette = MakeComObject<CTestPalette>();
};

TEST_F(PaletteAnswerTest, TellsTheGroupsThatChangedInTheirOrderAndWhetherTheProjectIsToUpdate)
{
    EXPECT_FALSE(Ask().groups);
    EXPECT_EQ(Ask().needsUpdate, VARIANT_FALSE);
    m_palette->m_groups = {kSecond, kFirst, kSecond};
    m_palette->m_needsUpdate = true;
    const SPaletteAnswer answer = Ask();
    EXPECT_EQ(answer.groups, (std::vector<GUID>{kSecond, kFirst, kSecond}));
    EXPECT_EQ(answer.needsUpdate, VARIANT_TRUE);
}

TEST_F(PaletteAnswerTest, WhatThePaletteFailsWithIsThrown)
{
    m_palette->m_result = E_ABORT;
    EXPECT_THROW(static_cast<void>(Ask()), CComError);
    m_palette->m_result = S_OK;
    m_palette->m_array = CComPtr<IWQ_CLSIDArray>(MakeComObject<CFailingArray>().Get());
    EXPECT_THROW(static_cast<void>(Ask()), CComError) << "a group that is not given";
}

TEST_F(PaletteAnswerTest, WithoutAProjectThereIsNothingToMark)
{
    EXPECT_THROW(MarkProject(nullptr, VARIANT_TRUE), CComError);
}

} // namespace
