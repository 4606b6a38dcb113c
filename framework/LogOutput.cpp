#include "framework/LogOutput.h"

#include "platform/Module.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include <spdlog/pattern_formatter.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <utility>

namespace {

constexpr char kPattern[] = "%Y-%m-%dT%H:%M:%S.%eZ %^%-8l%$ [%n] [%t] %v%*";

/// " (File.cpp:17)", or nothing where the place is not known.
class CLocationFlag : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm&, spdlog::memory_buf_t& line) override
    {
        if (message.source.filename == nullptr || *message.source.filename == '\0')
            return;
        std::string_view file = message.source.filename;
        file.remove_prefix(file.find_last_of("/\\") + 1);
        const std::string text = " (" + std::string(file) + ":" + std::to_string(message.source.line) + ")";
        line.append(text.data(), text.data() + text.size());
    }
    [[nodiscard]] std::unique_ptr<spdlog::custom_flag_formatter> clone() const override
    {
        return std::make_unique<CLocationFlag>();
    }
};

std::unique_ptr<spdlog::formatter> MakeFormatter()
{
    auto formatter = std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::utc, "\n");
    formatter->add_flag<CLocationFlag>('*').set_pattern(kPattern);
    return formatter;
}

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

constexpr bool IsPlainByte(char byte)
{
    return byte >= 0x20 && byte < 0x7F;
}

constexpr bool IsHighSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool IsLowSurrogate(wchar_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

std::wstring Escape(wchar_t unit)
{
    // A lone low surrogate stands for a byte that is no text; the byte is what whoever reads the log can search for.
    const unsigned value = IsLowSurrogate(unit) ? static_cast<unsigned>(unit) & 0xFFU : static_cast<unsigned>(unit);
    wchar_t text[8] = {};
    (void)std::swprintf(text, std::size(text), L"\\x%02X", value);
    return text;
}

} // namespace

std::string PrintableLogText(std::string_view text)
{
    if (std::ranges::all_of(text, IsPlainByte))
        return std::string(text);
    const std::wstring wide = platform::FromUtf8(text);
    std::wstring result;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        const wchar_t unit = wide[i];
        if (unit == L'\n')
            result += L"\n    | ";
        else if (unit == L'\r' && i + 1 < wide.size() && wide[i + 1] == L'\n')
            continue;
        else if (IsHighSurrogate(unit) && i + 1 < wide.size() && IsLowSurrogate(wide[i + 1])) {
            result += unit;
            result += wide[++i];
        } else if (unit != L'\t' && (unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || IsLowSurrogate(unit)))
            result += Escape(unit);
        else
            result += unit;
    }
    return platform::ToUtf8(result);
}

CLogOutput::CLogOutput() : spdlog::sinks::base_sink<std::mutex>(MakeFormatter()), m_bColour(WantsColour()) {}

void CLogOutput::Redirect(std::ofstream file, bool console)
{
    const std::lock_guard guard(mutex_);
    m_file = std::move(file);
    m_bConsole = console;
    m_bFileFailed = false;
}

void CLogOutput::sink_it_(const spdlog::details::log_msg& message)
{
    spdlog::details::log_msg printable = message;
    const std::string text = PrintableLogText({message.payload.data(), message.payload.size()});
    printable.payload = text;
    spdlog::memory_buf_t buffer;
    formatter_->format(printable, buffer);
    const std::string_view line(buffer.data(), buffer.size());
    if (m_bConsole)
        WriteToConsole(printable, line);
    if (m_file.is_open())
        WriteToFile(line);
}

void CLogOutput::flush_()
{
    // Every line is flushed when it is written.
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
    // Nobody is left to be told when standard error is gone.
    (void)platform::WriteConsoleText(platform::eStream_Error, text);
}

void CLogOutput::WriteToFile(std::string_view line)
{
    m_file.write(line.data(), static_cast<std::streamsize>(line.size()));
    m_file.flush();
    if (m_file.good()) {
        m_bFileFailed = false;
        return;
    }
    m_file.clear(); // a full disk may have room again for the next line
    if (!std::exchange(m_bFileFailed, true))
        (void)platform::WriteConsoleText(platform::eStream_Error,
                                         L"The log file cannot be written; lines are missing there from here on.\n");
}
