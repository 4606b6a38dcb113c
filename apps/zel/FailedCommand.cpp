#include "apps/zel/FailedCommand.h"

#include "Kernel/ZEL_Processor/ZEL_Processor/protocol/RequestAttributes.h"
#include "apps/zel/ListTable.h"
#include "apps/zel/RequestNames.h"
#include "platform/AccountName.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>
#include <ctime>
#include <fmt/chrono.h>
#include <nlohmann/json.hpp>
#include <tuple>

namespace {

nlohmann::ordered_json TextOrNull(const std::string& text)
{
    return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

nlohmann::ordered_json TimeOrNull(std::int64_t time)
{
    try {
        if (time != 0)
            return fmt::format("{:%FT%TZ}", fmt::gmtime(static_cast<std::time_t>(time)));
    } catch (const fmt::format_error&) {
        return {}; // one that the system's calendar does not have
    }
    return {};
}

std::wstring JsonOf(const SKeptRequest& request)
{
    nlohmann::ordered_json object;
    object["name"] = platform::ToUtf8(request.name);
    object["failed"] = TimeOrNull(request.record.when);
    object["reason"] = platform::ToUtf8(request.record.reason);
    object["attempt"] = request.record.attempt;
    object["attempts"] = request.record.attempts;
    object["crashReport"] = TextOrNull(platform::ToUtf8(request.record.crashReport));
    object["size"] = request.size;
    object["owner"] = TextOrNull(platform::ToUtf8(request.owner));
    object["client"] = TextOrNull(request.client);
    return platform::FromUtf8(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

/// A line of the table.
SRequestState StateOf(const SKeptRequest& request)
{
    SRequestState state;
    state.name = request.name;
    state.status = eRequestStatus_ServerError;
    state.comment = request.record.reason;
    if (!request.record.crashReport.empty())
        state.comment += L"\n" + WQ_ModuleText(ToolTexts::IDS_FAILED_REPORT, {request.record.crashReport});
    SRequestFiles& files = state.files.emplace();
    files.size = request.size;
    files.owner = request.owner;
    if (request.record.when != 0) {
        state.stage = {.since = request.record.when, .slot = std::nullopt};
        state.age = std::max<std::int64_t>(platform::Clock().UtcSeconds() - request.record.when, 0);
    }
    return state;
}

SKeptRequest Look(const std::wstring& folder, const std::wstring& name)
{
    const std::wstring path = platform::JoinPath(folder, name);
    SKeptRequest request;
    request.name = name;
    if (!FailedRecord::Read(FailedRecord::PathOf(path), request.record))
        request.record = {};
    platform::SFileAttributes attributes;
    if (platform::Succeeded(platform::Files().GetAttributes(path, attributes)))
        request.size = attributes.length;
    platform::FileOwner owner;
    if (platform::Succeeded(platform::Files().GetOwner(path, owner)))
        request.owner = platform::AccountName(owner);
    if (platform::NameKind(path) == platform::eNameKind_File)
        request.client = SRequestAttributes::Read(path).client;
    return request;
}

} // namespace

bool CFailedCommand::Find(const CToolSession& session, std::vector<SKeptRequest>& kept)
{
    const std::wstring folder = FailedRecord::FolderIn(session.Options().outputDir);
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError error = platform::Files().List(folder, entries);
    if (!platform::Succeeded(error) && !platform::IsAbsent(error)) {
        PrintError(L"zel", ShownText(ToolTexts::IDS_CANNOT_BE_READ, {folder, platform::OsErrorText(error)}));
        return false;
    }
    for (const platform::SDirectoryEntry& entry : entries) {
        if (!entry.isDirectory && IsRequestName(entry.name))
            kept.push_back(Look(folder, entry.name));
    }
    std::ranges::sort(kept, [](const SKeptRequest& left, const SKeptRequest& right) {
        return std::tie(right.record.when, left.name) < std::tie(left.record.when, right.name);
    });
    return true;
}

int CFailedCommand::Run(CToolSession& session)
{
    std::vector<SKeptRequest> kept;
    if (!Find(session, kept))
        return eExitCode_ClientError;
    std::vector<SRequestState> lines;
    for (const SKeptRequest& request : kept) {
        if (session.Options().json)
            static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, JsonOf(request) + L"\n"));
        else
            lines.push_back(StateOf(request));
    }
    if (session.Options().json || session.Options().quiet)
        return eExitCode_Done;
    const bool isTerminal = platform::IsTerminal(platform::eStream_Output);
    const int width = isTerminal ? std::max(platform::TerminalWidth(platform::eStream_Output) - 1, 1) : 0;
    static_cast<void>(
        platform::WriteConsoleText(platform::eStream_Output, ListTable(lines, static_cast<std::size_t>(width))));
    return eExitCode_Done;
}
