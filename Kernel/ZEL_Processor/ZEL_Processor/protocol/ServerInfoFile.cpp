#include "ServerInfoFile.h"

#include "HandOver.h"
#include "platform/Os.h"
#include "platform/Text.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace {

constexpr std::string_view kFirstLine = "zel-server\t1\n";
constexpr std::string_view kLastLine = "end\t\n";

std::string EscapedLine(std::string_view key, const CString& value)
{
    std::string line(key);
    line += '\t';
    for (const char character : platform::ToUtf8(value)) {
        switch (character) {
        case '\n': line += "\\n"; break;
        case '\t': line += "\\t"; break;
        case '\\': line += "\\\\"; break;
        default: line += character;
        }
    }
    return line + '\n';
}

CString Unescaped(std::string_view value)
{
    std::string text;
    for (std::size_t index = 0; index < value.size(); ++index) {
        const bool isEscape = value[index] == '\\' && index + 1 < value.size();
        const char character = value[isEscape ? ++index : index];
        text += !isEscape ? character : character == 'n' ? '\n' : character == 't' ? '\t' : character;
    }
    return platform::FromUtf8(text);
}

template <class Number>
void TakeNumber(std::string_view value, Number& number)
{
    Number read = 0;
    const char* const end = value.data() + value.size();
    if (const auto [last, error] = std::from_chars(value.data(), end, read); error == std::errc() && last == end)
        number = read;
}

void TakeLine(std::string_view key, std::string_view value, SZelServerInfo& info)
{
    if (key == "process")
        TakeNumber(value, info.process);
    else if (key == "started")
        TakeNumber(value, info.started);
    else if (key == "ended")
        TakeNumber(value, info.ended);
    else if (key == "version")
        info.version = Unescaped(value);
    else if (key == "request-dir")
        info.requestDir = Unescaped(value);
    else if (key == "option")
        info.options.push_back(Unescaped(value));
    else if (key == "plugin")
        info.plugins.push_back({.name = Unescaped(value), .module = {}, .taskTypes = {}});
    else if (key == "left-out")
        info.leftOut.push_back(Unescaped(value));
    else if (key == "command")
        info.commands.push_back(Unescaped(value));
    else if (key == "module" && !info.plugins.empty())
        info.plugins.back().module = Unescaped(value);
    else if (key == "task" && !info.plugins.empty())
        info.plugins.back().taskTypes.push_back(Unescaped(value));
}

} // namespace

std::string ServerInfoFile::ToText(const SZelServerInfo& info)
{
    std::string text(kFirstLine);
    // What follows a line that is missing could be read as something else: a module as that of another plug-in.
    bool isFull = false;
    const auto add = [&](std::string_view key, const CString& value) {
        const std::string line = EscapedLine(key, value);
        isFull = isFull || text.size() + line.size() + kLastLine.size() > kMaxBytes;
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
    return text + std::string(kLastLine);
}

bool ServerInfoFile::FromText(std::string_view text, SZelServerInfo& info)
{
    info = {};
    if (text.size() > kMaxBytes || !text.starts_with(kFirstLine) || !text.ends_with(kLastLine))
        return false;
    text.remove_prefix(kFirstLine.size());
    text.remove_suffix(std::min(text.size(), kLastLine.size()));
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::size_t tabulator = line.find('\t');
        if (tabulator != std::string_view::npos)
            TakeLine(line.substr(0, tabulator), line.substr(tabulator + 1), info);
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    return true;
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
