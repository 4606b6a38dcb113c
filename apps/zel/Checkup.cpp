#include "apps/zel/Checkup.h"

#include "apps/common/DirectoryTrial.h"
#include "apps/zel/ServerReport.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/ReliableWatch.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <nlohmann/json.hpp>
#include <utility>

using namespace std::chrono_literals;

namespace {

/// A machine under load tells late as well.
constexpr auto kNewsPatience = 10s;
/// A server of some requests a second fills it in no time.
constexpr std::uint64_t kLittleSpace = std::uint64_t{100} << 20;

constexpr const char* kLevelNames[] = {"OK", "WARN", "FAIL"};

class CCheckup {
public:
    explicit CCheckup(CToolSession& session) : m_session(session), m_options(session.Options()) {}

    std::vector<SFinding> Run()
    {
        const bool hasRequests = IsNamed("request-dir", m_options.requestDir, ToolTexts::IDS_NO_REQUEST_DIR) &&
                                 CheckDirectory("request-dir", m_options.requestDir, eFindingLevel_Fail);
        // Who may only read there can have the answers, and not take them away.
        const bool hasOutput = IsNamed("output-dir", m_options.outputDir, ToolTexts::IDS_NO_OUTPUT_DIR) &&
                               CheckDirectory("output-dir", m_options.outputDir, eFindingLevel_Warn);
        const bool hasClient =
            !m_options.clientDir.empty() && CheckDirectory("client-dir", m_options.clientDir, eFindingLevel_Fail);
        CheckTemporary();
        if (hasRequests && hasOutput)
            CheckVolume(m_options.requestDir, m_options.outputDir);
        if (hasRequests && hasClient)
            CheckVolume(m_options.clientDir, m_options.requestDir);
        CheckPlace(m_options.requestDir, hasRequests);
        CheckPlace(m_options.outputDir, hasOutput);
        if (platform::DirectoryExists(m_options.requestDir) && platform::DirectoryExists(m_options.outputDir))
            CheckServer();
        return std::move(m_findings);
    }

private:
    using Arguments = std::vector<std::wstring>;

    void Add(const char* check, eFindingLevel level, std::wstring text, const STextCode* advice = nullptr)
    {
        m_findings.push_back({check, level, std::move(text), advice == nullptr ? L"" : WQ_ModuleText(*advice)});
    }

    bool IsNamed(const char* check, const std::wstring& path, const STextCode& missing)
    {
        if (path.empty())
            Add(check, eFindingLevel_Fail, WQ_ModuleText(missing), &ToolTexts::IDS_DOCTOR_ADVICE_NAME_DIR);
        return !path.empty();
    }
    /// True when files can be made there.
    bool CheckDirectory(const char* check, const std::wstring& path, eFindingLevel withoutRights)
    {
        if (!platform::DirectoryExists(path)) {
            const bool isThere = platform::PathExists(path);
            Add(check, eFindingLevel_Fail,
                ShownText(isThere ? ToolTexts::IDS_IS_NO_DIRECTORY : ToolTexts::IDS_DOCTOR_MISSING, {path}),
                isThere ? &ToolTexts::IDS_DOCTOR_ADVICE_NO_DIR : &ToolTexts::IDS_DOCTOR_ADVICE_DIR);
            return false;
        }
        const platform::eOsError tried = TryFiles(path);
        if (platform::Succeeded(tried))
            Add(check, eFindingLevel_Ok, ShownText(ToolTexts::IDS_DOCTOR_DIR, {path}));
        else
            Add(check, withoutRights, ShownText(ToolTexts::IDS_DOCTOR_NO_WRITE, {path, platform::OsErrorText(tried)}),
                &ToolTexts::IDS_DOCTOR_ADVICE_RIGHTS);
        CheckSpace(path);
        return platform::Succeeded(tried);
    }
    void CheckSpace(const std::wstring& path)
    {
        platform::SDiskSpace space;
        if (!platform::Succeeded(platform::GetDiskSpace(path, space)))
            return; // the system does not tell
        const eFindingLevel level = space.available == 0             ? eFindingLevel_Fail
                                    : space.available < kLittleSpace ? eFindingLevel_Warn
                                                                     : eFindingLevel_Ok;
        Add("space", level, ShownText(ToolTexts::IDS_DOCTOR_SPACE, {path, SizeText(space.available)}),
            level == eFindingLevel_Ok ? nullptr : &ToolTexts::IDS_DOCTOR_ADVICE_SPACE);
    }
    void CheckTemporary()
    {
        const std::wstring path = platform::TemporaryDirectory();
        const platform::eOsError tried = TryFiles(path);
        if (platform::Succeeded(tried))
            Add("temporary", eFindingLevel_Ok, ShownText(ToolTexts::IDS_DOCTOR_DIR, {path}));
        else
            Add("temporary", eFindingLevel_Warn,
                ShownText(ToolTexts::IDS_DOCTOR_NO_WRITE, {path, platform::OsErrorText(tried)}),
                &ToolTexts::IDS_DOCTOR_ADVICE_TEMPORARY);
    }
    void CheckVolume(const std::wstring& from, const std::wstring& to)
    {
        const platform::eOsError tried = TryMove(from, to);
        if (platform::Succeeded(tried))
            Add("volume", eFindingLevel_Ok, ShownText(ToolTexts::IDS_DOCTOR_VOLUME, {from, to}));
        else
            Add("volume", eFindingLevel_Fail,
                ShownText(ToolTexts::IDS_DOCTOR_OTHER_VOLUME, {from, to, platform::OsErrorText(tried)}),
                &ToolTexts::IDS_DOCTOR_ADVICE_VOLUME);
    }
    /// What takes files of one's own only where they can be made.
    void CheckPlace(const std::wstring& path, bool canMakeFiles)
    {
        if (platform::DirectoryExists(path))
            CheckFileSystem(path);
        if (canMakeFiles) {
            CheckWatch(path);
            CheckLocks(path);
        }
    }
    void CheckFileSystem(const std::wstring& path)
    {
        const std::wstring name = platform::FileSystemName(path);
        const Arguments arguments = {path, name.empty() ? L"?" : name};
        if (platform::IsChangedFromOutside(path))
            Add("file-system", eFindingLevel_Warn, ShownText(ToolTexts::IDS_DOCTOR_REMOTE, arguments),
                &ToolTexts::IDS_DOCTOR_ADVICE_REMOTE);
        else
            Add("file-system", eFindingLevel_Ok, ShownText(ToolTexts::IDS_DOCTOR_LOCAL, arguments));
    }
    void CheckWatch(const std::wstring& path)
    {
        std::unique_ptr<platform::IDirectoryWatch> watch;
        const platform::eOsError made = platform::Files().Watch(path, platform::eWatchFilter_FileName, watch);
        if (!platform::Succeeded(made)) {
            Add("watch", eFindingLevel_Fail,
                ShownText(ToolTexts::IDS_DOCTOR_NO_WATCH, {path, platform::OsErrorText(made)}),
                &ToolTexts::IDS_DOCTOR_ADVICE_NO_WATCH);
            return;
        }
        // A stranger's change is news as well: the system tells.
        const bool isTold =
            platform::Succeeded(TryFiles(path)) && watch->Wait(kNewsPatience) == platform::eWaitResult_Changed;
        if (isTold)
            Add("watch", eFindingLevel_Ok, ShownText(ToolTexts::IDS_DOCTOR_WATCH, {path}));
        else
            Add("watch", eFindingLevel_Warn,
                ShownText(ToolTexts::IDS_DOCTOR_DEAF, {path, std::to_wstring(kNewsPatience.count())}),
                &ToolTexts::IDS_DOCTOR_ADVICE_DEAF);
    }
    void CheckLocks(const std::wstring& path)
    {
        bool isSeen = false;
        if (!platform::Succeeded(TryOpenFile(path, isSeen)))
            return; // that was told
        if (isSeen)
            Add("locks", eFindingLevel_Ok, ShownText(ToolTexts::IDS_DOCTOR_HELD, {path}));
        else
            Add("locks", eFindingLevel_Warn, ShownText(ToolTexts::IDS_DOCTOR_NOT_HELD, {path}),
                &ToolTexts::IDS_DOCTOR_ADVICE_HELD);
    }
    void CheckServer()
    {
        const SServerReport report = MakeServerReport(m_session);
        const bool serves = report.server.presence == eServerPresence_Serves;
        const eFindingLevel level = serves                                           ? eFindingLevel_Ok
                                    : report.server.presence == eServerPresence_None ? eFindingLevel_Fail
                                                                                     : eFindingLevel_Warn;
        Add("server", level, HeadLine(report), serves ? nullptr : &ToolTexts::IDS_DOCTOR_ADVICE_SERVER);
        for (const std::wstring& hindrance : report.hindrances)
            Add("server", eFindingLevel_Fail, hindrance, &ToolTexts::IDS_DOCTOR_ADVICE_SERVER);
        if (report.server.isHeld)
            Add("queue", eFindingLevel_Warn, ShownText(ToolTexts::IDS_QUEUE_HELD, {m_options.outputDir}),
                &ToolTexts::IDS_DOCTOR_ADVICE_HELD_QUEUE);
        if (!serves)
            return;
        const std::wstring own = platform::FromUtf8(ZEL_VERSION);
        const bool isSame = report.server.version == own;
        if (!report.server.version.empty())
            Add("version", isSame ? eFindingLevel_Ok : eFindingLevel_Warn,
                ShownText(ToolTexts::IDS_DOCTOR_VERSION, {report.server.version, own}),
                isSame ? nullptr : &ToolTexts::IDS_DOCTOR_ADVICE_VERSION);
        CheckPlugins(report.server);
    }
    void CheckPlugins(const SZelServerInfo& server)
    {
        for (const SZelServerPlugin& plugin : server.plugins)
            Add("plugin", eFindingLevel_Ok, ShownText(ToolTexts::IDS_DOCTOR_PLUGIN, {plugin.name, plugin.module}));
        if (server.plugins.empty())
            Add("plugin", eFindingLevel_Warn, WQ_ModuleText(ToolTexts::IDS_DOCTOR_NO_PLUGIN),
                &ToolTexts::IDS_DOCTOR_ADVICE_PLUGIN);
        for (const std::wstring& reason : server.leftOut)
            Add("plugin", eFindingLevel_Warn, ShownText(ToolTexts::IDS_SERVER_LEFT_OUT, {reason}),
                &ToolTexts::IDS_DOCTOR_ADVICE_LEFT_OUT);
    }

    CToolSession& m_session;
    const SToolOptions& m_options;
    std::vector<SFinding> m_findings;
};

} // namespace

std::vector<SFinding> CheckUp(CToolSession& session)
{
    return CCheckup(session).Run();
}

std::wstring ToJson(const SFinding& finding)
{
    nlohmann::ordered_json object;
    object["check"] = finding.check;
    object["level"] = kLevelNames[finding.level];
    object["text"] = platform::ToUtf8(finding.text);
    object["advice"] =
        finding.advice.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(platform::ToUtf8(finding.advice));
    return platform::FromUtf8(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

std::wstring ToText(const SFinding& finding)
{
    std::wstring level = platform::FromUtf8(kLevelNames[finding.level]);
    level.resize(6, L' ');
    const std::wstring text = level + OneLine(finding.text) + L"\n";
    return finding.advice.empty() ? text : text + L"      " + finding.advice + L"\n";
}
