#include "framework/log/LogOutput.h"

#include "framework/log/LogFormatter.h"
#include "platform/Module.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include <spdlog/pattern_formatter.h>

#include <algorithm>
#include <utility>

namespace {

bool WantsColour()
{
    if (!platform::IsTerminal(platform::eStream_Error) || !platform::Environment(L"NO_COLOR").empty())
        return false;
    const std::wstring terminal = platform::Environment(L"TERM");
    return !terminal.empty() && terminal != L"dumb";
}

const wchar_t* ColourOf(spdlog::level::level_enum level)
{
    switch (level) {
    case spdlog::level::warn: return L"\x1b[33m\x1b[1m";
    case spdlog::level::err: return L"\x1b[31m\x1b[1m";
    case spdlog::level::critical: return L"\x1b[41m\x1b[1m";
    case spdlog::level::info: return L"\x1b[32m";
    default: return L"\x1b[36m";
    }
}

/// Each line of the text, for the journal takes each for an entry.
std::wstring WithPriority(const std::wstring& text, Brel::Log::eLogLevel level)
{
    const std::wstring priority = Brel::Log::JournalPriority(level);
    std::wstring result;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find(L'\n', start), text.size() - 1) + 1;
        result += priority + text.substr(start, end - start);
        start = end;
    }
    return result;
}

} // namespace

std::wstring Brel::Log::JournalPriority(eLogLevel level)
{
    switch (level) {
    case eLogLevel_Critical: return L"<2>";
    case eLogLevel_Error: return L"<3>";
    case eLogLevel_Warning: return L"<4>";
    case eLogLevel_Info: return L"<6>";
    default: return L"<7>";
    }
}

CLogOutput::CLogOutput() : m_bColour(WantsColour()), m_pFormatter(MakeTextLogFormatter()) {}

void CLogOutput::Redirect(CLogFile file, const Brel::Log::SLogOptions& options)
{
    const platform::CFaultLock lock(m_mutex);
    if (!lock.IsHeld())
        return;
    m_pFormatter = options.format == Brel::Log::eLogFormat_Json ? MakeJsonLogFormatter(options.places)
                                                                : MakeTextLogFormatter(options.places);
    m_file = std::move(file);
    m_bConsole = options.console;
    m_bJournal = options.journal;
    m_bFileFailed = false;
    m_pSink = options.sink ? std::make_shared<const Sink>(options.sink) : nullptr;
}

void CLogOutput::log(const spdlog::details::log_msg& message)
{
    const std::shared_ptr<const Sink> more = Show(message);
    if (more == nullptr)
        return;
    const spdlog::source_loc& source = message.source;
    const auto text = [](const char* part) { return part != nullptr ? part : ""; };
    (*more)({static_cast<Brel::Log::eLogLevel>(message.level),
             {message.logger_name.data(), message.logger_name.size()},
             {message.payload.data(), message.payload.size()},
             {text(source.filename), source.line, text(source.funcname)}});
}

/// What is to be called behind it.
std::shared_ptr<const CLogOutput::Sink> CLogOutput::Show(const spdlog::details::log_msg& message)
{
    const platform::CFaultLock lock(m_mutex);
    spdlog::memory_buf_t buffer;
    if (!lock.IsHeld()) {
        // A fault struck in here, and file and formatter are as it left them. What is said of it still gets out.
        MakeTextLogFormatter()->format(message, buffer);
        (void)platform::WriteConsoleText(platform::eStream_Error, platform::FromUtf8({buffer.data(), buffer.size()}));
        return nullptr;
    }
    if (!m_bConsole && !m_file.IsSet())
        return m_pSink;
    m_pFormatter->format(message, buffer);
    const std::string_view line(buffer.data(), buffer.size());
    if (m_bConsole)
        WriteToConsole(message, line);
    if (m_file.IsSet())
        WriteToFile(line);
    return m_pSink;
}

void CLogOutput::flush()
{
    // Every line is flushed when it is written.
}

void CLogOutput::set_pattern(const std::string& pattern)
{
    set_formatter(std::make_unique<spdlog::pattern_formatter>(pattern));
}

void CLogOutput::set_formatter(std::unique_ptr<spdlog::formatter> formatter)
{
    const platform::CFaultLock lock(m_mutex);
    if (lock.IsHeld())
        m_pFormatter = std::move(formatter);
}

void CLogOutput::WriteToConsole(const spdlog::details::log_msg& message, std::string_view line) const
{
    std::wstring text;
    if (m_bColour && message.color_range_end > message.color_range_start) {
        const std::size_t start = message.color_range_start;
        const std::size_t end = message.color_range_end;
        text = platform::FromUtf8(line.substr(0, start)) + ColourOf(message.level) +
               platform::FromUtf8(line.substr(start, end - start)) + L"\x1b[0m" + platform::FromUtf8(line.substr(end));
    } else {
        text = platform::FromUtf8(line);
    }
    if (m_bJournal)
        text = WithPriority(text, static_cast<Brel::Log::eLogLevel>(message.level));
    // Nobody is left to be told when standard error is gone.
    (void)platform::WriteConsoleText(platform::eStream_Error, text);
}

void CLogOutput::WriteToFile(std::string_view line)
{
    if (m_file.Write(line))
        m_bFileFailed = false;
    else if (!std::exchange(m_bFileFailed, true))
        (void)platform::WriteConsoleText(platform::eStream_Error,
                                         L"The log file cannot be written; lines are missing there from here on.\n");
}
