#include "ServerInfoFile.h"

#include "HandOver.h"
#include "KeyedLines.h"
#include "platform/Os.h"

namespace {

constexpr std::string_view kFirstLine = "zel-server\t1\n";

void TakeLine(std::string_view key, std::string_view value, SZelServerInfo& info)
{
    if (key == "process")
        KeyedLines::TakeNumber(value, info.process);
    else if (key == "started")
        KeyedLines::TakeNumber(value, info.started);
    else if (key == "ended")
        KeyedLines::TakeNumber(value, info.ended);
    else if (key == "version")
        info.version = KeyedLines::ValueOf(value);
    else if (key == "request-dir")
        info.requestDir = KeyedLines::ValueOf(value);
    else if (key == "option")
        info.options.push_back(KeyedLines::ValueOf(value));
    else if (key == "plugin")
        info.plugins.push_back({.name = KeyedLines::ValueOf(value), .module = {}, .taskTypes = {}});
    else if (key == "left-out")
        info.leftOut.push_back(KeyedLines::ValueOf(value));
    else if (key == "command")
        info.commands.push_back(KeyedLines::ValueOf(value));
    else if (key == "module" && !info.plugins.empty())
        info.plugins.back().module = KeyedLines::ValueOf(value);
    else if (key == "task" && !info.plugins.empty())
        info.plugins.back().taskTypes.push_back(KeyedLines::ValueOf(value));
}

} // namespace

std::string ServerInfoFile::ToText(const SZelServerInfo& info)
{
    std::string text(kFirstLine);
    // What follows a line that is missing could be read as something else: a module as that of another plug-in.
    bool isFull = false;
    const auto add = [&](std::string_view key, const CString& value) {
        const std::string line = KeyedLines::Line(key, value);
        isFull = isFull || text.size() + line.size() + KeyedLines::kLastLine.size() > kMaxBytes;
        if (!isFull)
            text += line;
    };
    add("process", std::to_wstring(info.process));
    add("started", std::to_wstring(info.started));
    add("ended", std::to_wstring(info.ended));
    add("version", info.version);
    add("request-dir", info.requestDir);
    for (const CString& option : info.options)
        add("option", option);
    for (const CString& command : info.commands)
        add("command", command);
    for (const SZelServerPlugin& plugin : info.plugins) {
        add("plugin", plugin.name);
        add("module", plugin.module);
        for (const CString& type : plugin.taskTypes)
            add("task", type);
    }
    for (const CString& reason : info.leftOut)
        add("left-out", reason);
    return text + std::string(KeyedLines::kLastLine);
}

bool ServerInfoFile::FromText(std::string_view text, SZelServerInfo& info)
{
    info = {};
    return KeyedLines::Read(text, kFirstLine, kMaxBytes,
                            [&](std::string_view key, std::string_view value) { TakeLine(key, value, info); });
}

platform::eOsError ServerInfoFile::Write(const CString& path, const SZelServerInfo& info)
{
    const CString made = path + L".new";
    if (const platform::eOsError written = platform::WriteWholeFile(made, ToText(info)); !platform::Succeeded(written))
        return written;
    // A reader has it for microseconds; to replace what is in use is denied.
    const platform::eOsError moved = Protocol::RetryForASecond([&] {
        const platform::eOsError error = platform::Files().Move(made, path, platform::eMoveFlag_ReplaceExisting);
        return error == platform::eOsError_AccessDenied ? platform::eOsError_SharingViolation : error;
    });
    if (!platform::HasMoved(moved))
        static_cast<void>(platform::Files().Remove(made));
    return moved;
}

bool ServerInfoFile::Read(const CString& path, SZelServerInfo& info)
{
    std::string text;
    const platform::eOsError error = Protocol::RetryForASecond(
        [&] { return platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, text, kMaxBytes); });
    return platform::Succeeded(error) && FromText(text, info);
}
