#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "bench/BenchDirectories.h"
#include "bench/BenchError.h"
#include "bench/Part.h"
#include "com/Components.h"
#include "com/ZelCom.h"
#include "framework/LogOptions.h"

#include <atomic>
#include <iostream>

namespace {

/// COM on the main thread.
class CPartCom {
public:
    CPartCom() : m_isSystem(SUCCEEDED(CoInitializeSYS(nullptr))), m_isZel(SUCCEEDED(CoInitializeZEL(nullptr)))
    {
        if (!m_isSystem || !m_isZel)
            Fail(L"COM could not be initialised");
    }
    ~CPartCom()
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }
    CPartCom(const CPartCom&) = delete;
    CPartCom& operator=(const CPartCom&) = delete;

private:
    bool m_isSystem;
    bool m_isZel;
};

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
    server.SetOptions({.syncing = options.syncing, .resume = part == kResumingServer});
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
