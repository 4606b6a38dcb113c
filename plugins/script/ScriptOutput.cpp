#include "plugins/script/ScriptOutput.h"

#include "platform/Text.h"

#include <charconv>
#include <system_error>

namespace {

constexpr std::string_view kProgress = "progress ";
/// Of a line of progress; what is longer is none.
constexpr std::size_t kLongestLine = 4096;
constexpr std::uint64_t kAll = 100;

} // namespace

CScriptOutput::CScriptOutput(CZelProcessorProgress& progress, IZelByteSink* response)
    : m_progress(progress), m_pResponse(response)
{
    m_progress.SetRange(0, kAll);
}

bool CScriptOutput::Take(std::string_view bytes)
{
    while (!bytes.empty() && !m_bResponds) {
        const std::size_t end = bytes.find('\n');
        const bool isWhole = end != std::string_view::npos;
        if (!m_bSkips)
            m_strLine += bytes.substr(0, end);
        bytes.remove_prefix(isWhole ? end + 1 : bytes.size());
        const std::string_view known = std::string_view(m_strLine).substr(0, kProgress.size());
        const bool mayBeProgress = m_strLine.size() <= kLongestLine && kProgress.starts_with(known);
        if (isWhole && (m_bSkips || (mayBeProgress && TellProgress(m_strLine)))) {
            m_bSkips = false;
            m_strLine.clear();
        } else if (m_pResponse == nullptr) {
            m_bSkips = !isWhole && (m_bSkips || !mayBeProgress);
            if (isWhole || m_bSkips)
                m_strLine.clear();
        } else if (isWhole || !mayBeProgress) {
            m_bResponds = true;
            const std::string first = std::exchange(m_strLine, {}) + (isWhole ? "\n" : "");
            if (!Respond(first))
                return false;
        }
    }
    return bytes.empty() || Respond(bytes);
}

bool CScriptOutput::Finish()
{
    if (m_strLine.empty() || TellProgress(m_strLine) || m_pResponse == nullptr)
        return true;
    m_bResponds = true;
    return Respond(std::exchange(m_strLine, {}));
}

bool CScriptOutput::TellProgress(std::string_view line)
{
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    if (!line.starts_with(kProgress))
        return false;
    line.remove_prefix(kProgress.size());
    std::uint64_t percent = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), percent);
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    if (error != std::errc() || percent > kAll || !(line.empty() || line.starts_with(' ')))
        return false;
    m_progress.SetPos(percent);
    if (line.size() > 1)
        m_progress.SetComment(platform::FromUtf8(line.substr(1)).c_str());
    return true;
}

bool CScriptOutput::Respond(std::string_view bytes)
{
    m_nResponse += bytes.size();
    return m_pResponse->Write(bytes);
}
