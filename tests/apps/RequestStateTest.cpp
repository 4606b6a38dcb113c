#include "apps/common/RequestState.h"

#include "framework/Language.h"
#include "framework/texts/TextTable.h"
#include "platform/Text.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>

namespace {

SRequestState SomeState()
{
    SRequestState state;
    state.name = L"a.drq";
    state.status = eRequestStatus_Calculating;
    state.percent = 42;
    state.comment = L"half";
    state.created = 0;
    state.modified = 1'709'209'805;
    return state;
}

std::string Json(const SRequestState& state)
{
    return platform::ToUtf8(ToJson(state));
}

TEST(RequestStateTest, JsonHasAllFieldsInTheirOrderOnOneLine)
{
    EXPECT_EQ(Json(SomeState()),
              R"({"name":"a.drq","status":8,"statusName":"eRequestStatus_Calculating","state":"calculating",)"
              R"("percent":42,"comment":"half",)"
              R"("created":"1970-01-01T00:00:00Z","modified":"2024-02-29T12:30:05Z"})");
}

TEST(RequestStateTest, JsonHasNullForWhatIsNotKnown)
{
    SRequestState state;
    state.name = L"b.drq";
    state.status = eRequestStatus_NotRequested;
    EXPECT_EQ(Json(state), R"({"name":"b.drq","status":4,"statusName":"eRequestStatus_NotRequested",)"
                           R"("state":"not-requested","percent":null,)"
                           R"("comment":"","created":null,"modified":null})");
}

TEST(RequestStateTest, JsonNamesAStatusAsTheManualDoes)
{
    const char* const states[] = {
        "unknown", "client-error", "server-error", "server-timeout", "sent",     "not-requested", "waiting", "started",
        "parsing", "calculating",  "getting-data", "preparing",      "canceled", "paused",        "done",    "unknown"};
    SRequestState state = SomeState();
    for (int number = eRequestStatus_NotIntialized; number <= eRequestStatus_Last; ++number) {
        state.status = static_cast<eZelProcRequestStatus>(number);
        EXPECT_EQ(nlohmann::json::parse(Json(state))["state"], states[number - eRequestStatus_NotIntialized]);
    }
}

TEST(RequestStateTest, JsonHasNullForATimeThatTheCalendarDoesNotHave)
{
    SRequestState state = SomeState();
    state.created = std::numeric_limits<std::int64_t>::max();
    const nlohmann::json object = nlohmann::json::parse(Json(state));
    EXPECT_TRUE(object["created"].is_null());
    EXPECT_EQ(object["modified"], "2024-02-29T12:30:05Z");
}

TEST(RequestStateTest, AnAgeIsToldWhereItIsKnown)
{
    SRequestState state = SomeState();
    state.age = 7'199;
    EXPECT_EQ(nlohmann::json::parse(Json(state))["age"], 7'199);
    EXPECT_TRUE(ToText(state).ends_with(L" half (119 min)"));
    EXPECT_EQ(AgeText(0), L"0 s");
    EXPECT_EQ(AgeText(119), L"119 s");
    EXPECT_EQ(AgeText(120), L"2 min");
    EXPECT_EQ(AgeText(7'200), L"2 h");
    EXPECT_EQ(AgeText(47 * 3'600), L"47 h");
    EXPECT_EQ(AgeText(48 * 3'600), L"2 d");
}

TEST(RequestStateTest, JsonEscapesLineEndsAndReplacesWhatIsNoText)
{
    SRequestState state = SomeState();
    state.name = platform::FromUtf8("x\xff.drq");
    state.comment = L"one\ntwo\"";
    const nlohmann::json object = nlohmann::json::parse(Json(state));
    EXPECT_EQ(object["name"], "x\xEF\xBF\xBD.drq");
    EXPECT_EQ(object["comment"], "one\ntwo\"");
    EXPECT_EQ(Json(state).find('\n'), std::string::npos);
}

TEST(RequestStateTest, TextIsOneLineWithoutControlCharacters)
{
    SRequestState state = SomeState();
    state.comment = L"one\r\ntwo\x1b[2J";
    EXPECT_EQ(ToText(state), L"a.drq: Calculating 42 % one  two [2J");
}

TEST(RequestStateTest, TextSaysNothingTwice)
{
    SRequestState state;
    state.name = L"a.drq";
    const auto text = [&](eZelProcRequestStatus status, const wchar_t* comment) {
        state.status = status;
        state.comment = comment;
        return ToText(state);
    };
    EXPECT_EQ(text(eRequestStatus_Done, L"Done."), L"a.drq: Done");
    EXPECT_EQ(text(eRequestStatus_Done, L"Erledigt."), L"a.drq: Done") << "a server of another language";
    EXPECT_EQ(text(eRequestStatus_Waiting, L"Waiting in the queue of the server."), L"a.drq: Waiting");
    EXPECT_EQ(text(eRequestStatus_Waiting, L"Waiting for a disk."), L"a.drq: Waiting for a disk.");
    EXPECT_EQ(text(eRequestStatus_ServerError, L"Server error: the task could not"),
              L"a.drq: Server error: the task could not");
    EXPECT_EQ(text(eRequestStatus_ServerError, L"Serve"), L"a.drq: ServerError Serve");
    EXPECT_EQ(text(eRequestStatus_Calculating, L"Done."), L"a.drq: Calculating");
    state.percent = 99;
    EXPECT_EQ(text(eRequestStatus_Done, L"3 rows"), L"a.drq: Done 3 rows");
    EXPECT_EQ(text(eRequestStatus_Calculating, L"Calculating rows"), L"a.drq: Calculating 99 % Calculating rows");
}

/// Lower case, without blanks: "Not requested" is "NotRequested".
std::wstring Folded(std::wstring text)
{
    std::erase_if(text, [](wchar_t c) { return c == L' ' || c == L'\u00a0' || c == L'\u202f'; });
    std::ranges::transform(text, text.begin(),
                           [](wchar_t c) { return c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : c; });
    return text;
}

class RequestStateLanguageTest : public testing::Test {
protected:
    ~RequestStateLanguageTest() override { WQ_SetLanguage(L"en"); }
    RequestStateLanguageTest() = default;

    /// A text of the system as a server or a client of this language writes it.
    [[nodiscard]] static std::wstring SystemText(const std::string& language, const std::string& codeName)
    {
        for (const auto& [id, entry] : CTextTable::Find(CTextTable::kSystemModule, language)->Entries()) {
            if (entry.codeName == codeName)
                return entry.text;
        }
        ADD_FAILURE() << codeName;
        return {};
    }
};

TEST_F(RequestStateLanguageTest, NoStatusIsSaidTwiceInAnyLanguage)
{
    // What a request of each status has as its comment.
    const std::vector<std::pair<eZelProcRequestStatus, std::vector<std::string>>> comments = {
        {eRequestStatus_ClientError, {"IDS_CLIENT_ERR_UNABLE_OPEN_STATUS_FILE", "IDS_CLIENT_ERR_UNABLE_READ_STATUS"}},
        {eRequestStatus_ServerError,
         {"IDS_SERVER_ERROR_UNKNOWN_REQUEST_FORMAT", "IDS_SERVER_ERROR_CAN_NOT_OBTAIN_DATA", "IDS_REQUEST_INTERRUPTED",
          "IDS_SERVER_ERROR_CAN_NOT_SAVE_RESPONSE", "IDS_EXCEPTIONTHROW_DURING_PROCESSINGREQUEST", "IDS_END_LOST"}},
        {eRequestStatus_NotRequested, {"IDS_NOT_REQUESTED"}},
        {eRequestStatus_Waiting, {"IDS_WAITING_IN_QUEUE", "IDS_WAITING_TO_RECEIVE_REQ"}},
        {eRequestStatus_ProcessingStarted, {"IDS_PROCESSING_STARTED", "IDS_PROCESSING_AGAIN", "IDS_ENDED_AGAIN"}},
        {eRequestStatus_Parsing, {"IDS_READING_REQUEST"}},
        {eRequestStatus_GettingData, {"IDS_GETTING_DATA"}},
        {eRequestStatus_PreparingResponse, {"IDS_PREPARING_RESPONSE"}},
        {eRequestStatus_Canceled, {"IDS_CANCELED", "IDS_REQUEST_CANCELED"}},
        {eRequestStatus_Paused, {"IDS_PAUSED"}},
        {eRequestStatus_Done, {"IDS_DONE"}}};
    const std::vector<std::string> languages = CTextTable::Languages(CTextTable::kSystemModule);
    ASSERT_EQ(languages.size(), 3U);
    const auto wordIn = [](const std::string& language, eZelProcRequestStatus status) {
        WQ_SetLanguage(platform::FromUtf8(language));
        return Folded(StatusWord(status));
    };
    for (const std::string& user : languages) {
        for (const auto& [status, codeNames] : comments) {
            for (const std::string& codeName : codeNames) {
                for (const std::string& server : languages) {
                    SRequestState state;
                    state.name = L"a.drq";
                    state.status = status;
                    state.comment = SystemText(server, codeName);
                    const std::wstring word = wordIn(user, status);
                    const std::wstring comment = Folded(CommentText(state));
                    std::wstring text = Folded(ToText(state)).substr(state.name.size() + 1);
                    SCOPED_TRACE(platform::ToUtf8(ToText(state)));
                    if (text != Folded(state.comment)) { // one that says the status itself stands alone
                        EXPECT_TRUE(text.starts_with(word));
                        text.erase(0, text.starts_with(word + L":") ? word.size() + 1 : word.size());
                        for (const std::string& language : languages) {
                            EXPECT_FALSE(text.starts_with(wordIn(language, status)));
                            EXPECT_FALSE(comment.starts_with(wordIn(language, status) + L":"));
                        }
                    }
                }
            }
        }
    }
}

TEST_F(RequestStateLanguageTest, TheBeginningOfAnyLanguageMakesRoomForTheUsersWord)
{
    SRequestState state;
    state.name = L"a.drq";
    state.status = eRequestStatus_ServerError;
    state.comment = L"Server error: the disk is full";
    WQ_SetLanguage(L"de");
    EXPECT_EQ(ToText(state), L"a.drq: Serverfehler: the disk is full");
    EXPECT_EQ(CommentText(state), L"the disk is full");
    WQ_SetLanguage(L"fr");
    state.comment = L"Erreur du serveur\u00a0: le disque est plein";
    EXPECT_EQ(ToText(state), L"a.drq: Erreur du serveur\u00a0: le disque est plein");
    EXPECT_EQ(CommentText(state), L"le disque est plein");
    state.percent = 7;
    EXPECT_EQ(ToText(state), L"a.drq: erreur du serveur 7 % le disque est plein");
    state.percent.reset();
    for (const wchar_t* alone : {L"Serverfehler:", L"Serverfehlerhaft", L"Erreur du serveurs: x"}) {
        state.comment = alone;
        EXPECT_EQ(CommentText(state), alone);
    }
}

TEST(RequestStateTest, PercentThatTheWriterDidNotKnowIsNone)
{
    CZelProcessorClient::CAdditionalRequestStatus additional;
    additional.SetProgress(-1);
    EXPECT_FALSE(MakeState(L"a", eRequestStatus_Parsing, additional).percent.has_value());
    additional.SetProgress(0);
    EXPECT_EQ(MakeState(L"a", eRequestStatus_Parsing, additional).percent, 0);
}

TEST(RequestStateTest, ExitCodesAreThoseOfTheManual)
{
    const std::vector<std::pair<eZelProcRequestStatus, int>> expected = {
        {eRequestStatus_ClientError, 1},   {eRequestStatus_ServerError, 3}, {eRequestStatus_ServerTimeout, 4},
        {eRequestStatus_NotRequested, 5},  {eRequestStatus_Canceled, 6},    {eRequestStatus_Done, 0},
        {eRequestStatus_NotIntialized, 1}, {eRequestStatus_Waiting, 0},     {eRequestStatus_Paused, 0},
    };
    for (const auto& [status, code] : expected)
        EXPECT_EQ(ExitCodeOf(status), code) << status;
}

TEST(RequestStateTest, ANameWithControlCharactersIsQuoted)
{
    SRequestState state = SomeState();
    state.name = L"x\ty.drq";
    EXPECT_EQ(ToText(state), L"\"x\\x09y.drq\": Calculating 42 % half");
}

} // namespace
