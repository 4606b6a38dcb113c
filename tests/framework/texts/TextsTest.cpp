#include "framework/texts/TextTable.h"

#include "framework/Services.h"
#include "platform/Text.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TextTables.h"

#include "SystemTexts.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct SExpectedText {
    unsigned id;
    const char* codeName; ///< null for texts fetched by number alone
    unsigned placeholders;
};

constexpr SExpectedText kTexts[] = {
    {101, "IDS_EXCEPTIONTHROW_DURING_PROCESSINGREQUEST", 0},
    {102, "IDS_REQUEST_CANCELED", 0},
    {103, "IDS_READING_REQUEST", 0},
    {104, "IDS_SERVER_ERROR_UNKNOWN_REQUEST_FORMAT", 0},
    {105, "IDS_SERVER_ERROR", 0},
    {106, "IDS_SERVER_ERROR_CAN_NOT_INITIALIZE_RESPONSE", 0},
    {107, "IDS_GETTING_DATA", 0},
    {110, "IDS_SERVER_ERROR_CAN_NOT_INITIALIZE_TASK", 0},
    {111, "IDS_SERVER_ERROR_CAN_NOT_OBTAIN_DATA", 0},
    {112, "IDS_SERVER_ERROR_CAN_NOT_SET_RESPONSE", 0},
    {113, "IDS_PREPARING_RESPONSE", 0},
    {114, "IDS_SERVER_ERROR_CAN_NOT_SAVE_RESPONSE", 0},
    {115, "IDS_CANT_DELETE_REQUEST_FILE", 1},
    {116, "IDS_DONE", 0},
    {117, nullptr, 0},
    {118, "IDS_CANT_FIND_TASK_NODE", 0},
    {119, "IDS_CANT_FIND_TYPE_NODE", 0},
    {120, "IDS_UNKNOWN_REQUEST_TYPE", 0},
    {121, "IDS_UNABLE_INIT_TASK", 0},
    {122, "IDS_WAITING_IN_QUEUE", 0},
    {123, "IDS_WAITING_TO_RECEIVE_REQ", 0},
    {124, "IDS_NOT_REQUESTED", 0},
    {125, "IDS_CLIENT_ERR_UNABLE_OPEN_STATUS_FILE", 0},
    {126, "IDS_CLIENT_ERR_UNABLE_READ_STATUS", 0},
    {127, "IDS_PROCESSING_STARTED", 0},
    {128, "IDS_UNABLE_MOVE_FILE_INTO_QUEUE", 2},
    {129, nullptr, 0},
    {130, "IDS_INVALID_FORMAT_OF_COMMAND_FILE", 0},
    {131, "IDS_CANCELED", 0},
    {132, "IDS_PAUSED", 0},
    {133, "IDS_UNABLE_OPEN_FILE_IN_QUEUE_FORREADING", 1},
    {134, nullptr, 1},
    {135, "IDS_TOO_MANY_WAITING", 1},
    {136, "IDS_TOO_MANY_CLIENTS", 1},
    {137, "IDS_REFUSED_DIRECTORY", 0},
    {138, "IDS_REFUSED_NO_FILE", 0},
    {139, "IDS_REFUSED_LINK", 0},
    {140, "IDS_REFUSED_NAME", 0},
    {141, "IDS_REFUSED_LONG_NAME", 0},
};

std::wstring Fetch(const SExpectedText& expected)
{
    return expected.codeName != nullptr ? RootApp_RSC_CStr(expected.id, expected.codeName) : WQ_LoadString(expected.id);
}

/// How many arguments a text takes.
unsigned CountPlaceholders(const std::wstring& text)
{
    const std::wstring marked = FormatText(text, std::vector<std::wstring>(10, L"\x01"));
    return static_cast<unsigned>(std::ranges::count(marked, L'\x01'));
}

/// The host makes a missing text or a wrong code name an error line, which would fail the test as well.
class TextsTest : public testing::TestWithParam<SExpectedText> {
protected:
    CRecordingHost m_host;
};

TEST_P(TextsTest, HasATextWithItsPlaceholders)
{
    const std::wstring text = Fetch(GetParam());
    EXPECT_GE(text.size(), 5U);
    EXPECT_EQ(CountPlaceholders(text), GetParam().placeholders) << platform::ToUtf8(text);
    EXPECT_EQ(text.find(L"%%"), std::wstring::npos);
}

TEST_P(TextsTest, IsTheSameInTheModuleAndWithoutOne)
{
    const std::wstring without = Fetch(GetParam());
    const CWQ_SetResource resource("ZEL_Processor");
    EXPECT_EQ(Fetch(GetParam()), without);
}

INSTANTIATE_TEST_SUITE_P(All, TextsTest, testing::ValuesIn(kTexts),
                         [](const auto& parameter) { return "Text" + std::to_string(parameter.param.id); });

TEST(TextJoinsTest, TextsThatAreContinuedDirectlyEndInASeparator)
{
    CRecordingHost host;
    EXPECT_TRUE(RootApp_RSC_CStr(105, "IDS_SERVER_ERROR").ends_with(L": "));
    EXPECT_TRUE(WQ_LoadString(129).ends_with(L": "));
}

TEST(TextTableTest, ReadsNumbersCodeNamesAndEscapes)
{
    const CTextTable table("# a comment\n"
                           "\n"
                           "7\tIDS_SEVEN\tone\\ntwo\\tthree\\\\four\\q \n"
                           "8\t\t\xC4\x8D\r\n"
                           "9\t\ta\tb");
    ASSERT_NE(table.FindEntry(7), nullptr);
    EXPECT_EQ(table.FindEntry(7)->codeName, "IDS_SEVEN");
    EXPECT_EQ(table.FindEntry(7)->text, L"one\ntwo\tthree\\four\\q ");
    ASSERT_NE(table.FindEntry(8), nullptr);
    EXPECT_EQ(table.FindEntry(8)->codeName, "");
    EXPECT_EQ(table.FindEntry(8)->text, L"\u010d");
    ASSERT_NE(table.FindEntry(9), nullptr);
    EXPECT_EQ(table.FindEntry(9)->text, L"a\tb");
}

TEST(TextTableTest, LeavesOutLinesOfAnotherShape)
{
    const CTextTable table("7\n7x\tA\ttext\n\tA\ttext\n-1\tA\ttext\n99999999999\tA\ttext\n7\tonly one tabulator\n");
    EXPECT_EQ(table.FindEntry(7), nullptr);
    EXPECT_EQ(table.FindEntry(0), nullptr);
}

TEST(TextTableTest, OnlyTheSystemsModuleIsKnownFromTheStart)
{
    EXPECT_NE(CTextTable::Find("ZEL_Processor", "en"), nullptr);
    EXPECT_EQ(CTextTable::Find("ZEL_Processor", "cs"), nullptr);
    EXPECT_EQ(CTextTable::Find("Other", "en"), nullptr);
    EXPECT_EQ(CTextTable::Find("", "en"), nullptr);
    EXPECT_TRUE(CTextTable::Languages("Other").empty());
}

TEST(TextTableTest, AModuleIsKnownOnceItIsRegistered)
{
    static constexpr char text[] = "1\tIDS_A\ta\n";
    static constexpr STextResource first[] = {{"en", {text, sizeof text - 1}}};
    CTextTable::Register({"TextTableTest", first});
    ASSERT_NE(CTextTable::Find("TextTableTest", "en"), nullptr);
    const CTextTable* const table = CTextTable::Find("TextTableTest", "en");
    CTextTable::Register({"TextTableTest", first});
    EXPECT_EQ(CTextTable::Find("TextTableTest", "en"), table);
    EXPECT_EQ(table->FindEntry(1)->text, L"a");
}

TEST(TextTableTest, TheSystemsLanguagesFitTogether)
{
    ExpectLanguagesFit(SystemTexts::kModule);
}

TEST(TextTableTest, PlaceholdersAreFoundInTheirOrder)
{
    EXPECT_EQ(PlaceholdersOf(L"a %s b %ld 5 %% %"), (std::vector<std::wstring>{L"%s", L"%ld", L"%%"}));
    EXPECT_TRUE(PlaceholdersOf(L"none").empty());
}

} // namespace
