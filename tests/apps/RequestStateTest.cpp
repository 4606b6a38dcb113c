#include "apps/common/RequestState.h"

#include "platform/Text.h"

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
