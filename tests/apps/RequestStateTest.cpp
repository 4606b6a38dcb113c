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
              R"({"name":"a.drq","status":8,"statusName":"eRequestStatus_Calculating","percent":42,"comment":"half",)"
              R"("created":"1970-01-01T00:00:00Z","modified":"2024-02-29T12:30:05Z"})");
}

TEST(RequestStateTest, JsonHasNullForWhatIsNotKnown)
{
    SRequestState state;
    state.name = L"b.drq";
    state.status = eRequestStatus_NotRequested;
    EXPECT_EQ(Json(state), R"({"name":"b.drq","status":4,"statusName":"eRequestStatus_NotRequested","percent":null,)"
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

} // namespace
