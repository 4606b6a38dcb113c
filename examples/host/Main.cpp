// An application that is a server besides: host PLUGINS REQUESTS OUTPUT
// Serves requests when it is told to: a line "step" on its input runs what is queued, the end of the input ends it.

#include <ZEL_Processor/ZelProcessorContext.h>
#include <ZEL_Processor/ZelProcessorServer.h>
#include <com/Components.h>
#include <com/ZelCom.h>
#include <framework/DefaultHost.h>
#include <platform/Path.h>
#include <platform/Text.h>

#include <atomic>
#include <iostream>
#include <string>
#include <vector>

namespace {

/// What the library has to say goes into this application's own window, which is standard output here.
class CMyHost : public CWQ_DefaultHost {
public:
    CMyHost() : m_pPrevious(SetWQ_Host(this)) {}
    ~CMyHost() override { SetWQ_Host(m_pPrevious); }

    void ReportError(const SWQ_ErrorReport& report) override { Print(L"report: " + report.message); }
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override
    {
        Print(L"box: " + text);
        return CWQ_DefaultHost::ShowMessage(text, style, flags);
    }

private:
    static void Print(const std::wstring& text) { std::cout << platform::ToUtf8(text + L"\n") << std::flush; }

    IWQ_Host* m_pPrevious;
};

/// What a running task may ask, and what the server tells.
class CMyContext : public CZelProcessorContext, public CZelProcessorEvent {
public:
    virtual ~CMyContext() = default;
    HRESULT GetHostService(REFIID, void** service) override
    {
        *service = nullptr;
        return E_NOINTERFACE;
    }
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    bool IsCanceled() override { return m_bCanceled; }

    void OnRequestDone() override { std::cout << "request done\n" << std::flush; }

private:
    std::atomic<bool> m_bCanceled = false;
};

int Serve(const std::vector<std::wstring>& folders)
{
    std::vector<std::wstring> errors;
    AddComponentFolder(folders[0], errors);
    for (const std::wstring& error : errors)
        std::cout << platform::ToUtf8(error) << '\n';

    CMyContext context;
    CZelProcessorServer server;
    server.SetZelProcessorContext(&context);
    server.SetZelProcessorEvent(&context);
    if (!server.SetDirs(folders[1], folders[2]) || !server.Run())
        return 1;
    server.SetManualProceedQueue(true);
    std::cout << "ready\n" << std::flush;
    for (std::string line; std::getline(std::cin, line);) {
        if (line.starts_with("step"))
            server.ProceedQueue();
    }
    server.Stop(true);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "host PLUGINS REQUESTS OUTPUT\n";
        return 2;
    }
    std::vector<std::wstring> folders;
    for (int index = 1; index < argc; ++index)
        folders.push_back(platform::AbsolutePath(platform::FromUtf8(argv[index])));
    const CMyHost host;
    if (FAILED(CoInitializeSYS(nullptr)) || FAILED(CoInitializeZEL(nullptr)))
        return 1;
    const int code = Serve(folders);
    CoUninitializeZEL();
    CoUninitializeSYS();
    return code;
}
