#include "apps/zel/ShownAnswer.h"

#include "apps/common/ShownText.h"
#include "platform/ByteStream.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <memory>
#include <span>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kOutputBytes = 65'536;

constexpr std::pair<const char*, eAnswerFormat> kFormats[] = {{"table", eAnswerFormat_Table},
                                                              {"csv", eAnswerFormat_Csv},
                                                              {"json", eAnswerFormat_Json},
                                                              {"xml", eAnswerFormat_Xml}};

std::span<const std::byte> BytesOf(std::string_view text)
{
    return std::as_bytes(std::span(text));
}

/// Where whole characters end.
std::size_t EndOfCharacters(std::string_view text)
{
    std::size_t end = text.size();
    for (int back = 0; back < 3 && end > 0 && (static_cast<unsigned char>(text[end - 1]) & 0xC0U) == 0x80; ++back)
        --end;
    const bool isLead = end > 0 && static_cast<unsigned char>(text[end - 1]) >= 0xC0;
    if (!isLead)
        return text.size();
    const auto lead = static_cast<unsigned char>(text[end - 1]);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    return text.size() - (end - 1) >= length ? text.size() : end - 1;
}

/// The line ends of CSV are control characters to a terminal.
std::wstring PlainLines(std::string_view text)
{
    std::wstring lines = platform::FromUtf8(text);
    for (std::size_t at = lines.find(L"\r\n"); at != std::wstring::npos; at = lines.find(L"\r\n", at))
        lines.erase(at, 1);
    return lines;
}

/// Standard output: for people through what keeps a terminal safe, else as it is.
class CAnswerOutput {
public:
    explicit CAnswerOutput(IPatience& patience)
        : m_patience(patience),
          m_pSink(platform::IsTerminal(platform::eStream_Output) ? nullptr : platform::OutputSink())
    {}

    bool Write(std::string_view text)
    {
        m_strPending += text;
        return m_strPending.size() < kOutputBytes || Flush(false);
    }
    bool Flush(bool isEnd)
    {
        const std::size_t end = isEnd ? m_strPending.size() : EndOfCharacters(m_strPending);
        const std::string_view ready = std::string_view(m_strPending).substr(0, end);
        if (m_pSink)
            m_error = m_pSink->Write(BytesOf(ready), [this] { return m_patience.GoOn(); });
        else if (!platform::WriteConsoleText(platform::eStream_Output, Printable(PlainLines(ready))))
            m_error = platform::eOsError_BrokenPipe;
        m_strPending.erase(0, end);
        return platform::Succeeded(m_error);
    }
    [[nodiscard]] platform::eOsError Error() const { return m_error; }

private:
    IPatience& m_patience;
    const std::unique_ptr<platform::IByteSink> m_pSink;
    std::string m_strPending;
    platform::eOsError m_error = platform::eOsError_None;
};

bool CopyAnswer(const ByteSource& source, const std::wstring& name, const AnswerText& write, std::wstring& error)
{
    std::vector<char> buffer(kOutputBytes);
    for (std::size_t read = 1; read > 0;) {
        const platform::eOsError result = source(std::as_writable_bytes(std::span(buffer)), read);
        if (!platform::Succeeded(result)) {
            error = ShownText(ToolTexts::IDS_CANNOT_BE_READ, {name, platform::OsErrorText(result)});
            return false;
        }
        if (!write(std::string_view(buffer.data(), read)))
            return false;
    }
    return true;
}

bool FormatAnswer(const ByteSource& source, const std::wstring& name, eAnswerFormat format, const AnswerText& write,
                  std::size_t width, std::wstring& error)
{
    if (format == eAnswerFormat_Xml)
        return CopyAnswer(source, name, write, error);
    const std::unique_ptr<IAnswerSink> sink = MakeAnswerFormat(format, write, width);
    return ReadAnswer(source, name, *sink, error) == eAnswerEnd_Whole;
}

} // namespace

void CFormatOption::Define(CLI::App& app)
{
    std::vector<std::string> names;
    std::ranges::transform(kFormats, std::back_inserter(names), [](const auto& format) { return format.first; });
    app.add_option("--format", m_strFormat, HelpText(ToolTexts::IDS_HELP_FORMAT))
        ->type_name("FORMAT")
        ->check(CLI::IsMember(names).description(""));
}

eAnswerFormat CFormatOption::Take(bool json) const
{
    if (m_strFormat.empty())
        return json ? eAnswerFormat_Json : eAnswerFormat_Table;
    return std::ranges::find(kFormats, m_strFormat, &std::pair<const char*, eAnswerFormat>::first)->second;
}

bool ShowAnswer(IPatience& patience, const ByteSource& source, const std::wstring& name, eAnswerFormat format,
                std::wstring& error)
{
    CAnswerOutput output(patience);
    const bool isTerminal = platform::IsTerminal(platform::eStream_Output);
    const int width = isTerminal ? std::max(platform::TerminalWidth(platform::eStream_Output) - 1, 1) : 0;
    const bool isShown = FormatAnswer(
        source, name, format, [&](std::string_view text) { return output.Write(text); },
        static_cast<std::size_t>(width), error);
    // What there was before a failure was read, and is shown.
    const bool isOut = platform::Succeeded(output.Error()) && output.Flush(true);
    if (!isOut && output.Error() != platform::eOsError_BrokenPipe)
        error = ShownText(ToolTexts::IDS_CANNOT_BE_WRITTEN,
                          {WQ_ModuleText(ToolTexts::IDS_STANDARD_OUTPUT), platform::OsErrorText(output.Error())});
    return isShown && isOut;
}

bool ShowAnswer(IPatience& patience, const ByteSource& source, const std::wstring& name, eAnswerFormat format,
                const std::wstring& file, std::wstring& error)
{
    std::unique_ptr<platform::IFile> made;
    platform::eOsError result = platform::Files().Open(file, platform::eOpenMode_CreateExclusive, made);
    std::string pending;
    const auto flush = [&] {
        result = made->Write(BytesOf(std::exchange(pending, {})));
        return platform::Succeeded(result) && patience.GoOn();
    };
    const auto write = [&](std::string_view text) {
        pending += text;
        return pending.size() < kOutputBytes || flush();
    };
    const bool isMade = platform::Succeeded(result);
    const bool isWritten = isMade && FormatAnswer(source, name, format, write, 0, error) && flush();
    if (isWritten)
        result = made->Close();
    if (isWritten && platform::Succeeded(result))
        return true;
    if (!platform::Succeeded(result))
        error = ShownText(ToolTexts::IDS_CANNOT_BE_WRITTEN, {file, platform::OsErrorText(result)});
    else if (error.empty())
        error = ShownText(ToolTexts::IDS_COPY_INTERRUPTED, {name});
    made.reset();
    if (isMade)
        static_cast<void>(platform::Files().Remove(file));
    return false;
}

ByteSource AnswerFile(IPatience& patience, const std::wstring& path, std::wstring& error)
{
    std::unique_ptr<platform::IFile> file;
    platform::eOsError result = platform::eOsError_None;
    while ((result = platform::Files().Open(path, platform::eOpenMode_ReadShared, file)) ==
               platform::eOsError_SharingViolation &&
           patience.GoOn())
        platform::Clock().SleepFor(1ms);
    if (!platform::Succeeded(result)) {
        error = ShownText(ToolTexts::IDS_CANNOT_BE_READ, {path, platform::OsErrorText(result)});
        return {};
    }
    return [opened = std::shared_ptr<platform::IFile>(std::move(file))](
               std::span<std::byte> buffer, std::size_t& read) { return opened->Read(buffer, read); };
}
