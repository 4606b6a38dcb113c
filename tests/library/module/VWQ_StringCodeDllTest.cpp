#include "module/VWQ_StringCodeDll.h"

#include "framework/Services.h"
#include "framework/module/DefaultAtlSupport.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

#include <string>

TEST(CVWQ_StringCodeDllTest, CodesAreTheLibrarysTexts)
{
    CVWQ_StringCodeDll codes;
    EXPECT_EQ(codes.Prefix(), L"DLLRC:");
    const std::wstring done = WQ_LoadString(116);
    EXPECT_FALSE(done.empty());
    EXPECT_EQ(codes.Text(L"116"), done);
    for (const wchar_t* nonsense : {L"", L"x", L"11 6", L"-1", L"+116", L"99999999999999999999"})
        EXPECT_EQ(codes.Text(nonsense), L"") << testing::PrintToString(nonsense);
}

TEST(CVWQ_StringCodeDllTest, ANumberThatIsNoTextOfTheLibraryHasNone)
{
    CRecordingHost host; // fails the test for the warning that a text is missing
    CVWQ_StringCodeDll codes;
    for (const wchar_t* unknown : {L"0", L"100", L"108", L"999999999"})
        EXPECT_EQ(codes.Text(unknown), L"") << testing::PrintToString(unknown);
}

TEST(CVWQ_StringCodeDllTest, TheDefaultServicesFindItByItsPrefix)
{
    CWQ_DefaultAtlSupport support;
    CVWQ_StringCodeDll codes;
    EXPECT_EQ(support.RegisterStringCodeModule(codes), S_OK);
    EXPECT_EQ(support.ResolveStringCode(L"DLLRC:116"), WQ_LoadString(116));
}
