#include "ZEL_Processor/ZelProtocolNames.h"
#include "bench/BareStatus.h"
#include "bench/BenchDirectories.h"
#include "bench/BenchError.h"
#include "bench/Part.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/Thread.h"

#include <atomic>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <vector>

namespace {

constexpr std::size_t kResponseBytes = 1024;
constexpr std::chrono::hours kLong{1};

/// The file operations of a request, and nothing else: no XML, no plug-ins, no report, one thread.
class CBareServer {
public:
    explicit CBareServer(const SPartOptions& options)
        : m_directories(options.root), m_syncing(options.syncing), m_response(kResponseBytes, 'x')
    {
        // As many writes, of the same lengths, as the library makes for an echo.
        constexpr const wchar_t* kComments[] = {L"Processing started.", L"Reading request...", L"Getting data...",
                                                L"Preparing response..."};
        for (const wchar_t* comment : kComments)
            m_statuses.push_back(BareStatus::Text(6, 0, comment));
        m_done = BareStatus::Text(BareStatus::kDone, 0, L"Done.");
        m_directories.Create();
        Check(platform::Files().Watch(m_directories.request, platform::eWatchFilter_FileName, m_pWatch),
              L"watch the request directory");
    }

    void Serve()
    {
        while (!m_stop) {
            if (m_pWatch->Wait(kLong) != platform::eWaitResult_Changed)
                continue;
            Check(m_pWatch->Rearm(), L"watch the request directory");
            for (const std::wstring& name : TakeOver())
                Process(name);
        }
    }

    void Stop()
    {
        m_stop = true;
        m_pWatch->Wake();
    }

private:
    /// Moves everything that was handed over into the queue; one sync for all of it.
    std::vector<std::wstring> TakeOver()
    {
        std::vector<platform::SDirectoryEntry> entries;
        Check(platform::Files().List(m_directories.request, entries), L"list the request directory");
        std::vector<std::wstring> names;
        for (platform::SDirectoryEntry& entry : entries) {
            BareRename(platform::JoinPath(m_directories.request, entry.name),
                       platform::JoinPath(m_directories.queue, entry.name));
            names.push_back(std::move(entry.name));
        }
        if (m_syncing && !names.empty())
            Check(platform::SyncDirectory(m_directories.queue), L"sync the queue");
        return names;
    }

    void Process(const std::wstring& name) const
    {
        const std::wstring queued = platform::JoinPath(m_directories.queue, name);
        const std::wstring output = platform::JoinPath(m_directories.output, name);
        const std::wstring status = output + ZelProtocol::kStatusExtension;
        std::string request;
        Check(platform::ReadWholeFile(queued, platform::eOpenMode_ReadShared, request, std::size_t{1} << 20),
              L"read " + queued);
        for (const std::string& text : m_statuses)
            BareStatus::Write(status, text);
        Check(platform::WriteWholeFile(output, m_response), L"write " + output);
        BareStatus::Write(status, m_done);
        // Last, for it is what wakes the client.
        BareRemove(queued);
    }

    const SBenchDirectories m_directories;
    const bool m_syncing;
    const std::string m_response;
    std::vector<std::string> m_statuses;
    std::string m_done;
    std::unique_ptr<platform::IDirectoryWatch> m_pWatch;
    std::atomic<bool> m_stop = false;
};

} // namespace

int RunBareServer(const SPartOptions& options)
{
    CBareServer server(options);
    platform::CThread stopper;
    const bool started = stopper.Start([&] {
        for (std::string line; std::getline(std::cin, line);) {
        }
        server.Stop();
        return 0U;
    });
    if (!started)
        Fail(L"cannot start a thread");
    TellParent(L"ready");
    try {
        server.Serve();
    } catch (const std::exception& exception) {
        platform::WriteConsoleText(platform::eStream_Error,
                                   platform::FromUtf8("zel-bench: " + std::string(exception.what()) + "\n"));
        std::_Exit(1); // the stopper sits in a read that only the parent ends
    }
    return 0;
}
