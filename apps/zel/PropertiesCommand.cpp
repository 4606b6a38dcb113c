#include "apps/zel/PropertiesCommand.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/zel/Follower.h"
#include "apps/zel/PropertiesRequest.h"
#include "apps/zel/Receiver.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace {

std::wstring ValueToJson(const SPropertyValue& value)
{
    const auto text = [](const std::wstring& wide) { return platform::ToUtf8(wide); };
    nlohmann::ordered_json object;
    object["dataSource"] = text(value.dataSource);
    object[value.isNamed ? "name" : "id"] = text(value.item);
    object["property"] = text(value.property);
    object["type"] = value.type.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text(value.type));
    if (!value.encoding.empty())
        object["encoding"] = text(value.encoding);
    object["value"] = value.isNull ? nlohmann::ordered_json() : nlohmann::ordered_json(text(value.value));
    return platform::FromUtf8(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

/// As the parser says it of a range; its own check takes a number that is too long for the nearest one that is not.
std::string WhyNoId(const std::string& text)
{
    using Limits = std::numeric_limits<std::int64_t>;
    std::int64_t id = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data() + (text.starts_with('+') ? 1 : 0), end, id);
    if (error == std::errc() && last == end)
        return {};
    return fmt::format("Value {} not in range {} to {}", text, Limits::min(), Limits::max());
}

} // namespace

void CPropertiesCommand::Define(CLI::App& app)
{
    app.add_option("DATASOURCE", m_dataSource, HelpText(ToolTexts::IDS_HELP_DATASOURCE))->required()->type_name("");
    app.add_option("PROPERTY", m_property, HelpText(ToolTexts::IDS_HELP_PROPERTY))->required()->type_name("");
    app.add_option("--id", m_id, HelpText(ToolTexts::IDS_HELP_ITEM_ID))
        ->type_name("N")
        ->check(CLI::Validator(&WhyNoId, ""));
    app.add_option("--name", m_name, HelpText(ToolTexts::IDS_HELP_ITEM_NAME))->type_name("NAME");
    app.add_flag("--first", m_bFirst, HelpText(ToolTexts::IDS_HELP_ITEM_FIRST));
    m_timeout.Define(app, ToolTexts::IDS_HELP_PROPERTIES_TIMEOUT);
}

bool CPropertiesCommand::Check()
{
    const int given = (m_id ? 1 : 0) + (m_name.empty() ? 0 : 1) + (m_bFirst ? 1 : 0);
    if (given != 1)
        PrintUsageError(L"zel", WQ_ModuleText(ToolTexts::IDS_ONE_ITEM));
    return given == 1;
}

int CPropertiesCommand::Run(CToolSession& session)
{
    const std::wstring name = L"properties-" + CZelProcessorClient::GetUniqueString() + ZelProtocol::kRequestExtension;
    session.SetTimeout(m_timeout.Take());
    CCommandClient client(session);
    std::wstring error;
    if (!client.Open(error) || !Send(session, client, name, error))
        return session.Fail(name, error);
    CFollower follower(session, true);
    SRequestState state;
    const eFollowEnd end = follower.Follow(name, state);
    if (end == eFollowEnd_Final)
        return Collect(session, client, state);
    if (session.Options().json)
        session.Print(state);
    return CFollower::ReportEnd(end, name);
}

bool CPropertiesCommand::Send(CToolSession& session, CCommandClient& client, const std::wstring& name,
                              std::wstring& error) const
{
    SPropertyQuestion question{platform::FromUtf8(m_dataSource), platform::FromUtf8(m_property), {}, !m_name.empty()};
    question.item = question.isNamed ? platform::FromUtf8(m_name) : m_id ? std::to_wstring(*m_id) : L"GetFirst";
    const std::wstring path = client.Folder().FilePath(name);
    if (!WritePropertiesRequest(question, path, error))
        return false;
    const CMutedHost muted(session.Host());
    if (client.Client().SendRequest(path) == eRequestStatus_Sent)
        return true;
    error = client.Client().GetLastErrorText();
    return false;
}

eExitCode CPropertiesCommand::Collect(CToolSession& session, CCommandClient& client, const SRequestState& state) const
{
    CReceiver receiver(session);
    if (state.status != eRequestStatus_Done) {
        PrintError(L"zel", state.comment.empty() ? StatusWord(state.status) : state.comment);
        if (session.Options().json)
            session.Print(state);
        receiver.Forget(state);
        return ExitCodeOf(state.status);
    }
    std::wstring error;
    SPropertyValue value;
    const std::wstring path = client.Folder().FilePath(state.name);
    if (!receiver.Receive(state.name, path, error) || !ReadPropertiesResponse(path, value, error))
        return session.Fail(state.name, error);
    if (session.Options().json)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ValueToJson(value) + L"\n"));
    else if (!session.Options().quiet)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, OneLine(value.value) + L"\n"));
    if (!session.Options().json && !session.Options().quiet && !value.encoding.empty())
        PrintError(L"zel", ShownText(ToolTexts::IDS_VALUE_IS_ENCODED, {value.encoding}));
    return eExitCode_Done;
}
