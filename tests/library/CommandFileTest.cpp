#include "Kernel/ZEL_Processor/ZEL_Processor/CommandFile.h"

#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

class CommandFiles : public testing::Test {
protected:
    CommandFiles() { CoInitializeSYS(nullptr); }
    ~CommandFiles() override { CoUninitializeSYS(); }
};

} // namespace

TEST_F(CommandFiles, TheGoldenFileIsReadOnBothTargets)
{
    CommandFile::SContent content;
    ASSERT_EQ(
        CommandFile::Read(platform::JoinPath(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), L"cancel.command"), content),
        CommandFile::eRead_Ok);
    EXPECT_EQ(content.type, eCommandType_CancelRequest);
    EXPECT_EQ(content.name, L"abc.drq");
}

TEST_F(CommandFiles, WhatIsWrittenIsRead)
{
    const testsupport::CTemporaryDirectory directory;
    const std::wstring path = directory / L"x.command";
    for (const std::wstring& name : {std::wstring(L"a b.drq"), std::wstring(L"\u010d\u00edslo.drq"),
                                     std::wstring(L"{6B29FC40-CA47-1067-B31D-00DD010662DA}")}) {
        HRESULT documentResult = E_FAIL;
        ASSERT_TRUE(CommandFile::Write(path, eCommandType_PauseRequest, name, documentResult));
        EXPECT_EQ(documentResult, S_OK);
        CommandFile::SContent content;
        ASSERT_EQ(CommandFile::Read(path, content), CommandFile::eRead_Ok);
        EXPECT_EQ(content.type, eCommandType_PauseRequest);
        EXPECT_EQ(content.name, name);
    }
}

TEST_F(CommandFiles, WordsCountInAnyLetterCaseAndOthersAreNoType)
{
    EXPECT_EQ(CommandFile::TypeOf(L"cancelrequest"), eCommandType_CancelRequest);
    EXPECT_EQ(CommandFile::TypeOf(L"UNREGISTERCLIENT"), eCommandType_UnregisterClient);
    EXPECT_EQ(CommandFile::TypeOf(L"Cancel"), eCommandType_NotInitialized);
    EXPECT_EQ(CommandFile::TypeOf(L""), eCommandType_NotInitialized);
    EXPECT_EQ(CommandFile::WordOf(eCommandType_NotInitialized), nullptr);
}
