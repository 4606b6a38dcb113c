#include "plugins/datastore/SourceWatcher.h"

#include "com/ZelCom.h"
#include "framework/Log.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "plugins/common/PluginOs.h"
#include "plugins/datastore/DataSource.h"

#include <algorithm>
#include <array>
#include <exception>
#include <set>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;

/// A commit touches files several times; this long they are let come together. As long as the last look took when that
/// is more, so that somebody who writes all the time keeps this thread busy for half of its time at most.
constexpr milliseconds kGatherTime(50);
constexpr milliseconds kLongestGatherTime(500);

/// The system notifies of what is written to files, while a commit may count only after that: when the writer has let
/// go of its lock or, with a write-ahead log, when its disk has answered. So the sources are looked at again some
/// times.
constexpr std::array<milliseconds, 4> kLookAgain = {milliseconds(100), milliseconds(300), milliseconds(900),
                                                    milliseconds(3000)};

/// A source that is locked is asked again at least so often, for the end of a lock is no change in the folder.
constexpr milliseconds kBusyPause(500);

/// A folder that is gone is looked for so often.
constexpr milliseconds kFolderPause(1000);

/// Rows whose states are kept, of all sources together: some 32 MB.
constexpr std::size_t kMaxKeptRows = 2'000'000;

constexpr milliseconds kForever = std::chrono::hours(24);

/// The name of the data source that a file could be, however its extension is spelled; empty for other files.
CString NameOfFile(const CString& file)
{
    const CString extension = CDataSource::kExtension;
    const std::size_t length = file.size() - std::min(file.size(), extension.size());
    return platform::EqualsNoCase(file.substr(length), extension) ? file.substr(0, length) : CString();
}

} // namespace

HRESULT CSourceWatcher::Start(IWQ_DsEventSink* sink)
{
    if (sink == nullptr)
        return E_POINTER;
    if (m_pSink)
        return E_UNEXPECTED;
    m_strFolder = CDataSource::Folder();
    if (m_strFolder.empty())
        return S_FALSE;
    const platform::eOsError error =
        platform::Files().Watch(m_strFolder, platform::eWatchFilter_FileNameAndLastWrite, m_pWatch);
    if (!platform::Succeeded(error)) {
        LogOnce(platform::OsErrorText(error));
        return S_FALSE;
    }
    m_pSink = sink;
    m_bStop = false;
    m_stopping.Reset();
    m_bFirst = true;
    m_nLooks = 0;
    m_strLast.clear();
    CSourceChanges none; // the sources have no tables yet that could be gone
    FindSources(none);
    for (auto& [name, source] : m_sources)
        source->RememberFiles();
    if (m_thread.Start([this] { return Work(); }))
        return S_OK;
    Stop();
    return E_OUTOFMEMORY;
}

HRESULT CSourceWatcher::StopTelling()
{
    if (!m_pSink)
        return S_FALSE;
    Stop();
    return S_OK;
}

void CSourceWatcher::Stop()
{
    m_bStop = true;
    m_stopping.Set();
    if (m_pWatch != nullptr)
        m_pWatch->Wake();
    static_cast<void>(m_thread.Join()); // false when there is none
    m_thread = {};
    m_sources.clear();
    m_pWatch.reset();
    m_pSink.Reset();
    m_strLogged.clear();
}

unsigned CSourceWatcher::Work()
{
    platform::SetCurrentThreadName("DataStore::SourceWatcher");
    const HRESULT initialised = CoInitializeZEL(nullptr);
    while (Step()) {
    }
    if (SUCCEEDED(initialised))
        CoUninitializeZEL();
    return 0;
}

bool CSourceWatcher::Step()
{
    try {
        if (!std::exchange(m_bFirst, false) && !Wait())
            return false;
        LookAndTell();
    } catch (const CComError& error) {
        LogOnce(L"error " + std::to_wstring(error.Code()));
    } catch (const std::exception& exception) {
        LogOnce(platform::FromUtf8(exception.what()));
    }
    return !m_bStop;
}

bool CSourceWatcher::Wait()
{
    milliseconds timeout = m_nLooks < kLookAgain.size() ? kLookAgain[m_nLooks] : kForever;
    if (m_bBusy)
        timeout = std::min(timeout, kBusyPause);
    if (m_bPutOff)
        timeout = GatherTime();
    else
        ++m_nLooks; // it went over all of them
    const platform::eWaitResult result = m_pWatch->Wait(timeout);
    if (m_bStop)
        return false;
    if (result == platform::eWaitResult_Timeout || result == platform::eWaitResult_Woken)
        return true;
    m_nLooks = 0;
    if (m_stopping.WaitFor(result == platform::eWaitResult_Failed ? kFolderPause : GatherTime()))
        return false;
    Rearm();
    return true;
}

milliseconds CSourceWatcher::GatherTime() const
{
    return std::clamp(m_lookTime, kGatherTime, kLongestGatherTime);
}

void CSourceWatcher::Rearm()
{
    const platform::eOsError error = m_pWatch->Rearm();
    if (platform::Succeeded(error))
        m_strLogged.clear();
    else
        LogOnce(platform::OsErrorText(error));
}

void CSourceWatcher::LookAndTell()
{
    const milliseconds start = ElapsedTime();
    CSourceChanges changes;
    FindSources(changes);
    LookAt(changes);
    m_lookTime = ElapsedTime() - start;
    if (!m_bStop)
        changes.Tell(*m_pSink);
}

CString CSourceWatcher::PathOf(const CString& name) const
{
    return platform::JoinPath(m_strFolder, name + CDataSource::kExtension);
}

void CSourceWatcher::FindSources(CSourceChanges& changes)
{
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError error = platform::Files().List(m_strFolder, entries);
    if (!platform::Succeeded(error) && !platform::IsAbsent(error)) {
        LogOnce(platform::OsErrorText(error));
        return;
    }
    std::set<CString> present;
    for (const platform::SDirectoryEntry& entry : entries) {
        const CString name = NameOfFile(entry.name);
        if (!entry.isDirectory && CDataSource::IsName(name) && platform::PathExists(PathOf(name)))
            present.insert(name);
    }
    std::erase_if(m_sources, [&](const auto& source) {
        const bool isGone = !present.contains(source.first);
        if (isGone)
            source.second->Leave(changes);
        return isGone;
    });
    for (const CString& name : present) {
        auto& source = m_sources[name];
        if (source == nullptr)
            source = std::make_unique<CWatchedSource>(name, PathOf(name));
    }
}

void CSourceWatcher::LookAt(CSourceChanges& changes)
{
    m_bBusy = false;
    m_bPutOff = false;
    std::size_t kept = 0;
    std::size_t bytes = 0;
    for (const auto& [name, source] : m_sources)
        kept += source->KeptRows();
    // From where the last look ended: one that is written all the time keeps no other from its turn.
    auto next = m_sources.upper_bound(m_strLast);
    for (std::size_t left = m_sources.size(); left != 0 && !m_bStop; --left) {
        m_bPutOff = bytes >= m_nLookBytes;
        if (m_bPutOff)
            return;
        if (next == m_sources.end())
            next = m_sources.begin();
        CWatchedSource& source = *next->second;
        m_strLast = (next++)->first;
        kept -= source.KeptRows();
        const std::size_t mayKeep = kMaxKeptRows - std::min(kMaxKeptRows, kept);
        m_bBusy = source.Look(changes, m_bStop, mayKeep, bytes) == eLook_Busy || m_bBusy;
        kept += source.KeptRows();
    }
}

void CSourceWatcher::LogOnce(const CString& text)
{
    if (m_strLogged == text)
        return;
    m_strLogged = text;
    Brel::Log::Write(*Brel::Log::Get("ZelProcessor"), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"The data sources in \"" + m_strFolder + L"\" can't be watched: " + text);
}
