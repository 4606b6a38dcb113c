#include "apps/zel-server/FigureKeeper.h"

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/zel-server/MetricsText.h"
#include "apps/zel-server/ReplacedFile.h"
#include "apps/zel-server/ServerDirectories.h"
#include "com/Components.h"
#include "framework/Language.h"
#include "framework/Log.h"
#include "platform/HostName.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include "PageFile.h"
#include "ServerTexts.h"

#include <algorithm>
#include <exception>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr auto kFigurePause = 1s;
constexpr auto kBetweenDiskLooks = 10s;
constexpr const wchar_t* kPageFile = L"index.html";
constexpr const wchar_t* kPageData = L"data.js";

std::wstring FolderOfMetrics(const SServerOptions& options)
{
    return platform::DirectoryOf(options.metricsFile);
}

std::wstring StatsFile(const SServerOptions& options)
{
    return platform::JoinPath(CServerDirectories::OwnFolder(options.outputDir), ZelProtocol::kFiguresFile);
}

std::vector<SFigureFacts::SPlugin> Plugins(const std::vector<std::wstring>& leftOut)
{
    std::vector<SFigureFacts::SPlugin> plugins;
    std::vector<CLSID> factories;
    EnumerateCategory(CATID_ZELProcessorFactory, factories);
    for (const SComponentInfo& component : ListComponents(CATID_ZELProcessorFactory)) {
        if (std::ranges::find(factories, component.id) != factories.end())
            plugins.push_back({component.name, L"used"});
    }
    for (const std::wstring& reason : leftOut)
        plugins.push_back({{}, reason});
    return plugins;
}

} // namespace

bool CFigureKeeper::Check(const SServerOptions& options, std::wstring& error)
{
    if (!options.metricsFile.empty() && !platform::DirectoryExists(FolderOfMetrics(options)))
        error = WQ_ModuleText(ServerTexts::IDS_NO_METRICS_FOLDER, {options.metricsFile, FolderOfMetrics(options)});
    else if (!options.pageDir.empty() && platform::PathExists(options.pageDir) &&
             !platform::DirectoryExists(options.pageDir))
        error = WQ_ModuleText(ServerTexts::IDS_PAGE_NOT_WRITTEN,
                              {options.pageDir, platform::OsErrorText(platform::eOsError_AlreadyExists)});
    return error.empty();
}

bool CFigureKeeper::Prepare(const SServerOptions& options, std::wstring& error)
{
    if (!Check(options, error))
        return false;
    if (options.pageDir.empty())
        return true;
    platform::eOsError made = platform::eOsError_None;
    if (!platform::DirectoryExists(options.pageDir))
        made = platform::MakeDirectories(options.pageDir);
    if (platform::Succeeded(made))
        made = ReplaceFile(platform::JoinPath(options.pageDir, kPageFile), std::string(PageFile::kBytes));
    if (!platform::Succeeded(made))
        error = WQ_ModuleText(ServerTexts::IDS_PAGE_NOT_WRITTEN, {options.pageDir, platform::OsErrorText(made)});
    return platform::Succeeded(made);
}

CFigureKeeper::CFigureKeeper(const SServerOptions& options, const CZelProcessorServer& server,
                             const CServerMessages& messages, const std::vector<std::wstring>& leftOut)
    : m_options(options), m_server(server), m_messages(messages)
{
    m_facts.version = platform::FromUtf8(ZEL_VERSION);
    m_facts.host = platform::HostName();
    m_facts.process = platform::CurrentProcessId();
    m_facts.started = platform::Clock().UtcSeconds();
    m_facts.language = WQ_FindLanguage();
    m_facts.requestDir = options.requestDir;
    m_facts.outputDir = options.outputDir;
    m_facts.plugins = Plugins(leftOut);
}

CFigureKeeper::~CFigureKeeper()
{
    m_evEnd.Set();
    static_cast<void>(m_thread.Join());
}

bool CFigureKeeper::Start()
{
    return m_thread.Start([this] {
        platform::SetCurrentThreadName("zel-server::Figures");
        while (!m_evEnd.IsSet()) {
            Keep();
            static_cast<void>(m_evEnd.WaitFor(kFigurePause));
        }
        return 0U;
    });
}

void CFigureKeeper::End()
{
    m_evEnd.Set();
    static_cast<void>(m_thread.Join());
    static_cast<void>(m_server.GetFigures(m_figures));
    try {
        Write(true);
    } catch (const std::exception& exception) {
        m_messages.Error(platform::FromUtf8(exception.what()));
    }
}

/// Figures are nobody's reason to end a server.
void CFigureKeeper::Keep()
{
    try {
        Look();
    } catch (const std::exception& exception) {
        if (m_failing.insert(std::wstring()).second)
            m_messages.Error(platform::FromUtf8(exception.what()));
    }
}

void CFigureKeeper::Look()
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    const bool isChange = m_server.GetFigures(m_figures) || std::exchange(m_bUnwritten, false);
    const bool isWatched = !m_options.metricsFile.empty() || !m_options.pageDir.empty();
    const bool isDue = isWatched && now - m_lastWrite >= kHeartbeat;
    if (!isChange && !isDue)
        return;
    m_lastWrite = now;
    Write(false);
}

void CFigureKeeper::Write(bool hasEnded)
{
    m_facts.hasEnded = hasEnded;
    m_facts.steadyNow = platform::Clock().Steady();
    m_facts.now =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    LookAtDisks();
    m_history.Add(m_figures, m_facts.now / 1000);
    if (!m_options.metricsFile.empty())
        Replace(m_options.metricsFile,
                MetricsText(m_figures, {m_options.outputDir, m_facts.version, m_facts.started, !hasEnded}));
    const bool isWatched = !m_options.metricsFile.empty() || !m_options.pageDir.empty();
    m_facts.heartbeat = isWatched ? static_cast<unsigned>(kHeartbeat.count()) : 0;
    if (m_options.strict && m_options.pageDir.empty())
        return;
    const std::string json = FiguresJson(m_figures, m_history, m_facts);
    if (!m_options.pageDir.empty())
        Replace(platform::JoinPath(m_options.pageDir, kPageData), "zelData(" + json + ");\n");
    if (!m_options.strict)
        Replace(StatsFile(m_options), json + "\n");
}

void CFigureKeeper::LookAtDisks()
{
    if (m_lastDiskLook.count() != 0 && m_facts.steadyNow - m_lastDiskLook < kBetweenDiskLooks)
        return;
    m_lastDiskLook = m_facts.steadyNow;
    for (const auto& [directory, space] : {std::pair(&m_options.requestDir, &m_facts.requestSpace),
                                           std::pair(&m_options.outputDir, &m_facts.outputSpace)}) {
        platform::SDiskSpace told;
        if (platform::Succeeded(platform::GetDiskSpace(*directory, told)))
            *space = told;
        else
            space->reset();
    }
}

/// A failure is told once, and tried again with the next second.
void CFigureKeeper::Replace(const std::wstring& path, const std::string& bytes)
{
    const platform::eOsError error = ReplaceFile(path, bytes);
    if (platform::Succeeded(error)) {
        m_failing.erase(path);
        return;
    }
    m_bUnwritten = true;
    if (m_failing.insert(path).second)
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_FIGURES_NOT_WRITTEN, {path, platform::OsErrorText(error)}));
}
