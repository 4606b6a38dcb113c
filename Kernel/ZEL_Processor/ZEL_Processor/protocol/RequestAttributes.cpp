#include "RequestAttributes.h"
#include "IsoTime.h"
#include "platform/Os.h"
#include "platform/Seconds.h"
#include "platform/Text.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <span>

namespace {

constexpr std::string_view kXmlSpace = " \t\r\n";

/// Goes through the text of a document; what it is asked for and does not find leaves it at its end.
class CDocumentStart {
public:
    explicit CDocumentStart(std::string_view text) : m_rest(text) {}

    /// To the name of the document element. False without one.
    bool FindElement()
    {
        for (;;) {
            SkipSpace();
            if (Skip("<?"))
                SkipBehind("?>");
            else if (Skip("<!--"))
                SkipBehind("-->");
            else
                break;
        }
        return Skip("<") && !m_rest.starts_with('!') && !TakeName().empty();
    }
    /// False behind the last one; isWhole says then whether the element ended there.
    bool TakeAttribute(std::string_view& name, std::string_view& value, bool& isWhole)
    {
        SkipSpace();
        isWhole = Skip(">") || Skip("/>");
        if (isWhole)
            return false;
        name = TakeName();
        SkipSpace();
        if (name.empty() || !Skip("="))
            return false;
        SkipSpace();
        const std::string_view quote = m_rest.substr(0, 1);
        if (quote != "\"" && quote != "'")
            return false;
        m_rest.remove_prefix(1);
        const std::size_t end = m_rest.find(quote);
        if (end == std::string_view::npos)
            return false;
        value = m_rest.substr(0, end);
        m_rest.remove_prefix(end + 1);
        return true;
    }

private:
    void SkipSpace() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kXmlSpace), m_rest.size())); }
    bool Skip(std::string_view text)
    {
        const bool isHere = m_rest.starts_with(text);
        m_rest.remove_prefix(isHere ? text.size() : 0);
        return isHere;
    }
    void SkipBehind(std::string_view text)
    {
        const std::size_t found = m_rest.find(text);
        m_rest.remove_prefix(found == std::string_view::npos ? m_rest.size() : found + text.size());
    }
    std::string_view TakeName()
    {
        const std::string_view name = m_rest.substr(0, m_rest.find_first_of(" \t\r\n=/<>\"'"));
        m_rest.remove_prefix(name.size());
        return name;
    }

    std::string_view m_rest;
};

std::string ToUtf8(std::string_view bytes)
{
    constexpr std::string_view marks[] = {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"};
    if (bytes.starts_with(marks[0]))
        return std::string(bytes.substr(marks[0].size()));
    if (!bytes.starts_with(marks[1]) && !bytes.starts_with(marks[2]))
        return std::string(bytes);
    std::string units(bytes.substr(2, (bytes.size() - 2) / 2 * 2));
    for (std::size_t i = 0; bytes.starts_with(marks[2]) && i < units.size(); i += 2)
        std::swap(units[i], units[i + 1]);
    return platform::ToUtf8(platform::FromUtf16Le(units));
}

/// What is beyond the range counts as its end. Empty for what is no whole number.
std::optional<int> ParseNumber(std::string_view text, int lowest, int highest)
{
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size())
        return std::nullopt;
    if (error == std::errc::result_out_of_range)
        value = text.starts_with('-') ? lowest : highest;
    else if (error != std::errc())
        return std::nullopt;
    return std::clamp(value, lowest, highest);
}

} // namespace

SRequestAttributes SRequestAttributes::Parse(std::string_view bytes)
{
    const std::string text = ToUtf8(bytes.substr(0, kMaxBytes));
    CDocumentStart start(text);
    SRequestAttributes found;
    bool isWhole = false;
    if (!start.FindElement())
        return {};
    for (std::string_view name, value; start.TakeAttribute(name, value, isWhole);) {
        if (name == "Priority")
            found.priority = ParseNumber(value, -kHighest, kHighest).value_or(0);
        else if (name == "Client")
            found.client = value.substr(0, kMaxClientBytes);
        else if (name == "NotBefore")
            found.notBefore = Protocol::ParseIsoTime(value).value_or(0);
        else if (name == "TimeLimit" && !ParseSeconds(value, found.timeLimit))
            found.timeLimit = {};
        else if (name == "Attempts")
            found.attempts = ParseNumber(value, 1, kMostAttempts).value_or(1);
    }
    return isWhole ? found : SRequestAttributes();
}

SRequestAttributes SRequestAttributes::Read(const CString& path)
{
    std::unique_ptr<platform::IFile> file;
    std::string bytes(kMaxBytes, '\0');
    std::size_t read = 0;
    // What a short read leaves out counts as beyond the limit.
    if (!platform::Succeeded(platform::Files().Open(path, platform::eOpenMode_ReadShared, file)) ||
        !platform::Succeeded(file->Read(std::as_writable_bytes(std::span(bytes)), read)))
        return {};
    return Parse(std::string_view(bytes).substr(0, read));
}
