#include "ZEL_Processor/ZelProtocolNames.h"
#include "bench/BareStatus.h"
#include "bench/BenchError.h"
#include "bench/ClientPart.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <memory>

namespace {

/// Between the removal of the queued request and its last status lie microseconds.
constexpr int kLooksAfterRemoval = 200;

class CBareClient final : public IBenchClient {
public:
    CBareClient(const SBenchDirectories& directories, bool syncing) : m_directories(directories), m_syncing(syncing) {}

    void Send(const std::wstring& name, const std::string& request) override
    {
        if (!m_pWatch)
            Check(platform::Files().Watch(m_directories.queue, platform::eWatchFilter_FileNameGone, m_pWatch),
                  L"watch the queue");
        const std::wstring path = platform::JoinPath(m_directories.client, name);
        Write(path, request);
        BareRename(path, platform::JoinPath(m_directories.request, name));
        if (m_syncing)
            Check(platform::SyncDirectory(m_directories.request), L"sync the request directory");
    }

    void WaitForEnd(const std::wstring& name) override
    {
        // In the order in which the request travels, so that it is not missed on its way.
        const std::wstring sent = platform::JoinPath(m_directories.request, name);
        const std::wstring queued = platform::JoinPath(m_directories.queue, name);
        const std::wstring status = StatusPath(name);
        while (BareExists(sent) || BareExists(queued) || !IsDone(status)) {
            if (m_pWatch->Wait(kPatience) != platform::eWaitResult_Changed)
                Fail(L"the request " + name + L" did not end");
            Check(m_pWatch->Rearm(), L"watch the queue");
        }
    }

    void Take(const std::wstring& name) override
    {
        const std::wstring output = platform::JoinPath(m_directories.output, name);
        const std::wstring target = platform::JoinPath(m_directories.target, name);
        // Syncing is the layer's move here, whose look at other users of the file does not count beside the sync.
        if (m_syncing)
            Check(platform::Files().Move(output, target, platform::eMoveFlag_WriteThrough), L"move " + output);
        else
            BareRename(output, target);
        BareRemove(StatusPath(name));
    }

    void Listen(const std::wstring&, std::chrono::milliseconds time) override
    {
        static_cast<void>(m_pWatch->Wait(time));
    }

    void WriteStatus(unsigned percent) override
    {
        BareStatus::Write(StatusPath(kStatusRequest), BareStatus::Text(8, percent, L""));
    }

    void ReadStatus() override
    {
        std::string bytes;
        if (!BareStatus::Read(StatusPath(kStatusRequest), bytes) || bytes.empty())
            Fail(L"cannot read the status file");
    }

private:
    [[nodiscard]] std::wstring StatusPath(const std::wstring& name) const
    {
        return platform::JoinPath(m_directories.output, name + ZelProtocol::kStatusExtension);
    }

    void Write(const std::wstring& path, const std::string& request) const
    {
        std::unique_ptr<platform::IFile> file;
        Check(platform::Files().Open(path, platform::eOpenMode_WriteExclusive, file), L"create " + path);
        Check(file->Write(std::as_bytes(std::span(request))), L"write " + path);
        if (m_syncing)
            Check(file->Sync(), L"sync " + path);
        Check(file->Close(), L"close " + path);
    }

    static bool IsDone(const std::wstring& status)
    {
        std::string bytes;
        for (int look = 0; look < kLooksAfterRemoval && BareStatus::Read(status, bytes); ++look) {
            if (BareStatus::IsDone(bytes))
                return true;
            platform::Clock().YieldThread();
        }
        return false;
    }

    const SBenchDirectories& m_directories;
    const bool m_syncing;
    std::unique_ptr<platform::IDirectoryWatch> m_pWatch;
};

} // namespace

int RunBareClient(const SPartOptions& options)
{
    const SBenchDirectories directories(options.root);
    CBareClient client(directories, options.syncing);
    return ServeParent(client, directories);
}
