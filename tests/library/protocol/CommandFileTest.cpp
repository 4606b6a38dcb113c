#include "protocol/CommandFile.h"

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

    [[nodiscard]] std::string Written(const std::wstring& name, eCommandType type = eCommandType_CancelRequest) const
    {
        HRESULT documentResult = E_FAIL;
        EXPECT_TRUE(CommandFile::Write(m_path, type, name, documentResult));
        EXPECT_EQ(documentResult, S_OK);
        return Bytes(m_path);
    }
    [[nodiscard]] CommandFile::eRead ReadName(const std::string& element, std::wstring& name) const
    {
        EXPECT_TRUE(platform::Succeeded(
            platform::WriteWholeFile(m_path, "<Command Type=\"CancelRequest\">" + element + "</Command>")));
        CommandFile::SContent content;
        const CommandFile::eRead result = CommandFile::Read(m_path, content);
        name = content.name;
        return result;
    }
    static std::string Bytes(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_TRUE(platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, 10000)));
        return bytes;
    }
    static std::wstring Golden(const wchar_t* name)
    {
        return platform::JoinPath(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), name);
    }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"x.command";
};

} // namespace

TEST_F(CommandFiles, TheGoldenFileIsReadOnBothTargets)
{
    CommandFile::SContent content;
    ASSERT_EQ(CommandFile::Read(Golden(L"cancel.command"), content), CommandFile::eRead_Ok);
    EXPECT_EQ(content.type, eCommandType_CancelRequest);
    EXPECT_EQ(content.name, L"abc.drq");
}

TEST_F(CommandFiles, AMoveSaysWhereAndAnyNameBeforeWhich)
{
    HRESULT result = E_FAIL;
    CommandFile::SContent content;
    for (const eRequestPlace place : {eRequestPlace_First, eRequestPlace_Last}) {
        ASSERT_TRUE(CommandFile::Write(m_path, CommandFile::kMoveRequest, L"a.drq", result, nullptr, {place, {}}));
        ASSERT_EQ(CommandFile::Read(m_path, content), CommandFile::eRead_Ok);
        EXPECT_EQ(content.where.place, place);
        EXPECT_EQ(content.where.other, L"");
    }
    ASSERT_TRUE(CommandFile::Write(m_path, CommandFile::kMoveRequest, L"a.drq", result, nullptr,
                                   {eRequestPlace_Before, L"b\n.drq"}));
    ASSERT_EQ(CommandFile::Read(m_path, content), CommandFile::eRead_Ok);
    EXPECT_EQ(content.name, L"a.drq");
    EXPECT_EQ(content.where.place, eRequestPlace_Before);
    EXPECT_EQ(content.where.other, L"b\n.drq");
}

TEST_F(CommandFiles, WhereAMoveGoesIsNotGuessed)
{
    const auto read = [this](const std::string& rest) {
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(
            m_path, "<Command Type=\"MoveRequest\"><RequestName>a</RequestName>" + rest + "</Command>")));
        CommandFile::SContent content;
        EXPECT_EQ(CommandFile::Read(m_path, content), CommandFile::eRead_Ok);
        return content.where;
    };
    EXPECT_FALSE(read("").place);
    EXPECT_FALSE(read("<Place>Middle</Place>").place);
    EXPECT_EQ(read("<Place>first</Place>").place, eRequestPlace_First);
    EXPECT_EQ(read("<Place>Before</Place><OtherName Encoding='percent'>%</OtherName>").other, L"");
}

TEST_F(CommandFiles, TheGoldenFileOfANameThatXmlCanNotCarryIsRead)
{
    CommandFile::SContent content;
    ASSERT_EQ(CommandFile::Read(Golden(L"escaped.command"), content), CommandFile::eRead_Ok);
    EXPECT_EQ(content.type, eCommandType_PauseRequest);
    EXPECT_EQ(platform::ToUtf8(content.name), "100%\xFF\x01.drq");
}

TEST_F(CommandFiles, WhatIsWrittenIsTheGoldenFileByteForByte)
{
    // The declaration is written by the system's DOM where there is one, in its own way, and then a line end of its
    // own.
    const auto document = [](std::string bytes) {
        std::erase(bytes, '\r');
        return platform::kPathSeparator == L'/' ? bytes : bytes.substr(bytes.find("<Command"));
    };
    EXPECT_EQ(document(Written(L"abc.drq")), document(Bytes(Golden(L"cancel.command"))));
    EXPECT_EQ(document(Written(platform::FromUtf8("100%\xFF\x01.drq"), eCommandType_PauseRequest)),
              document(Bytes(Golden(L"escaped.command"))));
}

TEST_F(CommandFiles, WhatIsWrittenIsRead)
{
    for (const std::wstring& name :
         {std::wstring(L"a b.drq"), std::wstring(L"\u010d\u00edslo.drq"), std::wstring(L"100%.drq"),
          std::wstring(L"%00FF"), std::wstring(L" a "), std::wstring(L"a\tb\nc"), std::wstring(L"a\rb\x1f"),
          std::wstring(L"\xD800"), std::wstring(L"\xDC00\xD800x"), std::wstring(L"a\xFFFE\xFFFF"),
          platform::FromUtf8("\xF0\x9F\x98\x80 \xff\xfe.drq"),
          std::wstring(L"{6B29FC40-CA47-1067-B31D-00DD010662DA}")}) {
        const std::string bytes = Written(name, eCommandType_PauseRequest);
        CommandFile::SContent content;
        ASSERT_EQ(CommandFile::Read(m_path, content), CommandFile::eRead_Ok) << bytes;
        EXPECT_EQ(content.type, eCommandType_PauseRequest);
        EXPECT_EQ(content.name, name) << bytes;
    }
}

TEST_F(CommandFiles, NamesThatXmlCarriesStandAsTheyAre)
{
    EXPECT_NE(Written(L"100%00FF.drq").find("<RequestName>100%00FF.drq</RequestName>"), std::string::npos);
    std::wstring name;
    EXPECT_EQ(ReadName("<RequestName>%00FF</RequestName>", name), CommandFile::eRead_Ok);
    EXPECT_EQ(name, L"%00FF");
}

TEST_F(CommandFiles, AnEscapedNameIsReadWholeOrNotAtAll)
{
    std::wstring name;
    EXPECT_EQ(ReadName("<RequestName Encoding=\"percent\">a%00ffb%0025</RequestName>", name), CommandFile::eRead_Ok);
    EXPECT_EQ(name, L"a\u00ffb%");
    for (const char* text : {"%", "%0", "%001", "a%00G0", "%0000", "%-001", "% 041"})
        EXPECT_EQ(ReadName(std::string("<RequestName Encoding=\"percent\">") + text + "</RequestName>", name),
                  CommandFile::eRead_Incomplete)
            << text;
    EXPECT_EQ(ReadName("<RequestName Encoding=\"rot13\">a</RequestName>", name), CommandFile::eRead_Incomplete);
    EXPECT_EQ(ReadName("<RequestName></RequestName>", name), CommandFile::eRead_Incomplete);
    EXPECT_EQ(ReadName("", name), CommandFile::eRead_Incomplete);
}

TEST_F(CommandFiles, WordsCountInAnyLetterCaseAndOthersAreNoType)
{
    EXPECT_EQ(CommandFile::TypeOf(L"cancelrequest"), eCommandType_CancelRequest);
    EXPECT_EQ(CommandFile::TypeOf(L"UNREGISTERCLIENT"), eCommandType_UnregisterClient);
    EXPECT_EQ(CommandFile::TypeOf(L"Cancel"), eCommandType_NotInitialized);
    EXPECT_EQ(CommandFile::TypeOf(L""), eCommandType_NotInitialized);
    EXPECT_EQ(CommandFile::WordOf(eCommandType_NotInitialized), nullptr);
}
