#include "HostMessages.h"

#include "TaskHostLine.h"
#include "framework/LogOptions.h"
#include "framework/Services.h"
#include "platform/Text.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

using TaskHostLine::NumberOf;

namespace {

CString Shortened(const CString& text)
{
    return text.substr(0, TaskHostLine::kLongestText);
}

void PassOnLine(const std::vector<CString>& words, std::int64_t level, std::int64_t place)
{
    const std::string file = platform::ToUtf8(words[4]);
    const std::string function = platform::ToUtf8(words[6]);
    platform::SSourceLocation location;
    location.file = file.c_str();
    location.line = static_cast<int>(place);
    location.function = function.c_str();
    const auto known = static_cast<Brel::Log::eLogLevel>(
        std::clamp<std::int64_t>(level, Brel::Log::eLogLevel_Trace, Brel::Log::eLogLevel_Critical));
    Brel::Log::Write(*Brel::Log::Get(platform::ToUtf8(words[2])), known, location, words[3]);
}

} // namespace

Brel::Log::eLogLevel HostMessages::LowestLevel()
{
    Brel::Log::Logger& logger = *Brel::Log::Get(kLoggerName);
    int level = Brel::Log::eLogLevel_Trace;
    while (level < Brel::Log::eLogLevel_Critical &&
           !Brel::Log::IsEnabled(logger, static_cast<Brel::Log::eLogLevel>(level)))
        ++level;
    return static_cast<Brel::Log::eLogLevel>(level);
}

bool HostMessages::PassOn(const std::vector<CString>& words)
{
    const auto number = [&](std::size_t index) {
        return words.size() > index ? NumberOf(words[index]) : std::optional<std::int64_t>();
    };
    if (words[0] == L"log" && words.size() == 7 && number(1) && number(5))
        PassOnLine(words, *number(1), *number(5));
    else if (words[0] == L"report" && words.size() == 5 && number(2))
        WQ_ReportErrorNow(words[1].c_str(), static_cast<long>(*number(2)), words[3], words[4]);
    else if (words[0] == L"box" && words.size() == 4 && number(1) && number(2))
        WQ_MessageBox(words[3], static_cast<unsigned>(*number(1)), static_cast<unsigned>(*number(2)));
    else
        return false;
    return true;
}

HostMessages::CSender::CSender(Send send) : m_send(std::move(send)), m_pPrevious(SetWQ_Host(this)) {}

HostMessages::CSender::~CSender()
{
    SetWQ_Host(m_pPrevious);
}

void HostMessages::CSender::SetLevel(Brel::Log::eLogLevel level, const Send& send)
{
    Brel::Log::SLogOptions options;
    options.level = level;
    options.console = false;
    options.sink = [send](const Brel::Log::SLogLine& line) {
        send({L"log", TaskHostLine::TextOf(line.level), platform::FromUtf8(line.logger),
              Shortened(platform::FromUtf8(line.text)), platform::FromUtf8(line.place.file),
              TaskHostLine::TextOf(line.place.line), platform::FromUtf8(line.place.function)});
    };
    static_cast<void>(Brel::Log::Configure(options)); // fails for a file alone
}

void HostMessages::CSender::ReportError(const SWQ_ErrorReport& report)
{
    m_send({L"report", report.sourceFile, TaskHostLine::TextOf(report.sourceLine), Shortened(report.function),
            Shortened(report.message)});
}

int HostMessages::CSender::ShowMessage(const std::wstring& text, unsigned style, unsigned flags)
{
    m_send({L"box", TaskHostLine::TextOf(style), TaskHostLine::TextOf(flags), Shortened(text)});
    return eMessageAnswer_Ok;
}
