#include "Story.h"

#include "ZEL_Processor/ZelProcessorEnums.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace Story {

namespace {

constexpr std::size_t kMostWords = 500;

void Tell(const CString& text, Brel::Log::eLogLevel level = Brel::Log::eLogLevel_Info)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), level, ZEL_SOURCE_LOCATION, text);
}

/// What others have written: a name of a request, a reason.
CString OneLine(const CString& text)
{
    CString line = text.size() > kMostWords ? text.substr(0, kMostWords) + L"..." : text;
    std::ranges::replace_if(
        line, [](wchar_t unit) { return unit == L'\n' || unit == L'\r' || unit == L'\t'; }, L' ');
    return line;
}

CString LengthText(const CString& path)
{
    platform::SFileAttributes attributes;
    if (!platform::Succeeded(platform::Files().GetAttributes(path, attributes)))
        return L"of unknown length";
    return L"of " + std::to_wstring(attributes.length) + L" bytes";
}

CString SecondsOf(std::chrono::nanoseconds duration)
{
    wchar_t text[32] = {};
    (void)std::swprintf(text, std::size(text), L"%.3f s", std::chrono::duration<double>(duration).count());
    return text;
}

/// "ServerError", as the log has it elsewhere with a word of the language in front.
CString WordOf(eZelProcRequestStatus status)
{
    const CString name = EnumToName(status, GetRequestStatusNames());
    return name.substr(name.find(L'_') + 1);
}

/// Of a failed request, without the words that say no more than its status.
CString ReasonOf(const CZelProcessorProgressStatusFile& status)
{
    const CString comment = status.GetCommentValue();
    const CString label = TextOf(StringCodes::kServerError);
    return comment.starts_with(label) ? comment.substr(label.size()) : comment;
}

} // namespace

void TellReceived(const CString& queuePath)
{
    Tell(L"Received: a request " + LengthText(queuePath));
}

void TellStarted(const CString& type)
{
    Tell(L"Started: type " + OneLine(type));
}

void TellDeclined()
{
    Tell(L"Put off: its task is not ready, and is asked again until it is");
}

void TellEnded(const CZelProcessorProgressStatusFile& status, const CString& type, std::chrono::nanoseconds duration,
               const CString& responsePath)
{
    const eZelProcRequestStatus ended = status.GetStatusValue();
    CString text = L"Ended: " + WordOf(ended) + L" after " + SecondsOf(duration);
    if (!type.empty())
        text += L", type " + OneLine(type);
    text += status.GetPercentValue() >= 0 ? L", at " + std::to_wstring(status.GetPercentValue()) + L" %"
                                          : CString(L", no progress told");
    if (ended == eRequestStatus_Done)
        text += L", a response " + LengthText(responsePath);
    if (ended == eRequestStatus_ServerError)
        return Tell(text + L": " + OneLine(ReasonOf(status)), Brel::Log::eLogLevel_Error);
    Tell(text);
}

void TellCommand(const CString& what, const CZelProcessorProgressStatusFile& status)
{
    const eZelProcRequestStatus ended = status.GetStatusValue();
    const CString text =
        L"Command: " + (what.empty() ? CString(L"cannot be read") : OneLine(what)) + L": " + WordOf(ended);
    if (ended == eRequestStatus_Done)
        Tell(text);
    else
        Tell(text + L": " + OneLine(status.GetCommentValue()), Brel::Log::eLogLevel_Error);
}

} // namespace Story
