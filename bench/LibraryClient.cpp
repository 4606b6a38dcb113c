#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProtocolNames.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "bench/BenchError.h"
#include "bench/ClientPart.h"
#include "bench/PartCom.h"
#include "framework/LogOptions.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/ZelProcessorProgressStatusFile.h"

#include <memory>

namespace {

constexpr auto kStatusPoll = std::chrono::milliseconds(1);

class CLibraryClient final : public IBenchClient {
public:
    CLibraryClient(const SBenchDirectories& directories, bool syncing)
        : m_directories(directories),
          m_statusFile(L"zel-bench", platform::JoinPath(directories.output,
                                                        std::wstring(kStatusRequest) + ZelProtocol::kStatusExtension))
    {
        m_client.Init(directories.request, directories.output, directories.client);
        m_client.SetSyncing(syncing);
    }

    void Send(const std::wstring& name, const std::string& request) override
    {
        // Not before: a watch makes every write to the output directory dearer, also those of the status rows.
        if (!m_pWatch)
            m_pWatch = std::make_unique<CZelRequestWatch>(m_client, m_directories.output);
        const std::wstring path = platform::JoinPath(m_directories.client, name);
        Check(platform::WriteWholeFile(path, request), L"write " + path);
        if (m_client.SendRequest(path) != eRequestStatus_Sent)
            Fail(L"cannot send " + path);
    }

    void WaitForEnd(const std::wstring& name) override
    {
        CZelProcessorClient::CAdditionalRequestStatus additional;
        if (m_pWatch->WaitForEnd(name, kPatience, &additional) != eRequestStatus_Done)
            Fail(L"the request " + name + L" failed: " + additional.GetProgressComment());
    }

    void Take(const std::wstring& name) override
    {
        if (!m_client.ReceiveOutput(name, platform::JoinPath(m_directories.target, name)))
            Fail(L"cannot receive " + name);
    }

    void Listen(const std::wstring& name, std::chrono::milliseconds time) override
    {
        if (m_pWatch->WaitForEnd(name, time, nullptr) != eRequestStatus_Waiting)
            Fail(L"the request " + name + L" was not left waiting");
    }

    void WriteStatus(unsigned percent) override
    {
        if (!m_statusFile.WriteStatusAndPercent(eRequestStatus_GettingData, static_cast<std::int32_t>(percent)))
            Fail(L"cannot write the status file");
    }

    void ReadStatus() override
    {
        CZelProcessorClient::CAdditionalRequestStatus additional;
        if (m_client.GetStatus(kStatusRequest, &additional) != eRequestStatus_GettingData)
            Fail(L"cannot read the status file");
    }

    void WaitUntilRuns(const std::wstring& name) override
    {
        const auto end = platform::Clock().Steady() + kPatience;
        while (m_client.GetStatus(name, nullptr) != eRequestStatus_GettingData) {
            if (platform::Clock().Steady() > end)
                Fail(L"the request " + name + L" did not begin");
            platform::Clock().SleepFor(kStatusPoll);
        }
    }

    void Cancel(const std::wstring& name) override
    {
        if (m_client.CancelRequest(name) != eRequestStatus_Done ||
            m_pWatch->WaitForEnd(name, kPatience, nullptr) != eRequestStatus_Canceled)
            Fail(L"cannot cancel " + name);
        static_cast<void>(m_client.ForgetRequest(name));
    }

    void HoldQueue(bool isHeld) override
    {
        if ((isHeld ? m_client.HoldQueue() : m_client.ReleaseQueue()) != eRequestStatus_Done)
            Fail(L"the queue cannot be held or released");
    }

private:
    const SBenchDirectories& m_directories;
    CZelProcessorClient m_client;
    CZelProcessorProgressStatusFile m_statusFile;
    std::unique_ptr<CZelRequestWatch> m_pWatch;
};

} // namespace

int RunLibraryClient(const SPartOptions& options)
{
    Brel::Log::SLogOptions log;
    log.level = Brel::Log::eLogLevel_Warning;
    static_cast<void>(Brel::Log::Configure(log));
    const CPartCom com; // commands are XML
    const SBenchDirectories directories(options.root);
    CLibraryClient client(directories, options.syncing);
    return ServeParent(client, directories);
}
