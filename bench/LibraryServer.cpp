#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZEL_Processor/ZelServerOptions.h"
#include "bench/BenchDirectories.h"
#include "bench/BenchError.h"
#include "bench/Part.h"
#include "bench/PartCom.h"
#include "com/Components.h"
#include "framework/LogOptions.h"

#include <atomic>
#include <iostream>

namespace {

class CBenchContext final : public CZelProcessorContext {
public:
    HRESULT GetHostService(REFIID, void** service) override
    {
        *service = nullptr;
        return E_NOINTERFACE;
    }
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override { m_canceled = canceled; }
    bool IsCanceled() override { return m_canceled; }

private:
    std::atomic<bool> m_canceled = false;
};

SZelServerOptions ServerOptionsOf(const SPartOptions& options, const std::wstring& part)
{
    SZelServerOptions server{.syncing = options.syncing, .resume = part == kResumingServer};
    if (part == kTwoSlotsServer)
        server.slots = 2;
    if (part == kFourSlotsServer)
        server.slots = 4;
    server.isolation.isOn = part == kIsolatedServer;
    server.requestAttributes = part == kQueueServer;
    server.operatorCommands = part == kQueueServer;
    return server;
}

} // namespace

int RunLibraryServer(const SPartOptions& options, const std::wstring& part)
{
    Brel::Log::SLogOptions log;
    log.level = Brel::Log::eLogLevel_Warning;
    static_cast<void>(Brel::Log::Configure(log));
    const CPartCom com;
    std::vector<std::wstring> errors;
    AddComponentFolder(options.components, errors);
    if (!errors.empty())
        Fail(errors.front());

    const SBenchDirectories directories(options.root);
    directories.Create();
    CBenchContext context;
    CZelProcessorServer server;
    server.SetOptions(ServerOptionsOf(options, part));
    if (!server.SetDirs(directories.request, directories.output))
        Fail(L"the server refused its directories");
    server.SetZelProcessorContext(&context);
    server.SetNoExecutiveThread(part == kHoldingServer);
    if (!server.Run())
        Fail(L"the server did not start");
    TellParent(L"ready");
    for (std::string line; std::getline(std::cin, line);) {
    }
    server.Stop(true);
    return 0;
}
