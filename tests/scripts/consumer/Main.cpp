// A server and a client in one program, with public headers only: consumer PLUGINS WORK
// Serves with the plug-ins of the folder PLUGINS, sends itself WORK/query.drq and leaves the response in
// WORK/response.xml. The exit code is 0 when that has happened.

#include <ZEL_Processor/ZelProcessorClient.h>
#include <ZEL_Processor/ZelProcessorContext.h>
#include <ZEL_Processor/ZelProcessorServer.h>
#include <ZEL_Processor/ZelRequestWatch.h>
#include <com/Components.h>
#include <com/ZelCom.h>
#include <platform/Path.h>
#include <platform/Text.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr int kFailed = 1;

class CContext : public CZelProcessorContext {
public:
    virtual ~CContext() = default;
    HRESULT GetHostService(REFIID, void** service) override
    {
        *service = nullptr;
        return E_NOINTERFACE;
    }
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    bool IsCanceled() override { return m_bCanceled; }

private:
    std::atomic<bool> m_bCanceled = false;
};

class CCom {
public:
    CCom() : m_isReady(SUCCEEDED(CoInitializeSYS(nullptr)) && SUCCEEDED(CoInitializeZEL(nullptr))) {}
    ~CCom()
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }
    CCom(const CCom&) = delete;
    CCom& operator=(const CCom&) = delete;
    [[nodiscard]] bool IsReady() const { return m_isReady; }

private:
    bool m_isReady;
};

int Fail(const std::string& text)
{
    std::cerr << text << '\n';
    return kFailed;
}

int ServeOneRequest(const std::wstring& work)
{
    const std::wstring requests = platform::JoinPath(work, L"requests");
    const std::wstring output = platform::JoinPath(work, L"output");
    CContext context;
    CZelProcessorServer server;
    server.SetZelProcessorContext(&context);
    if (!server.SetDirs(requests, output) || !server.Run())
        return Fail("the server does not start");

    CZelProcessorClient client;
    client.Init(requests, output, work);
    CZelRequestWatch watch(client, output);
    const std::wstring request = platform::JoinPath(work, L"query.drq");
    if (client.SendRequest(request) != eRequestStatus_Sent)
        return Fail("the request is not sent");
    CZelProcessorClient::CAdditionalRequestStatus status;
    const eZelProcRequestStatus end = watch.WaitForEnd(request, std::chrono::seconds(60), &status);
    if (end == eRequestStatus_Done && !client.ReceiveOutput(request, platform::JoinPath(work, L"response.xml")))
        return Fail("the response can't be taken");
    server.Stop(true);
    std::cerr << "status " << end << ": " << platform::ToUtf8(status.GetProgressComment()) << '\n';
    return end == eRequestStatus_Done ? 0 : kFailed;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return Fail("consumer PLUGINS WORK");
    const CCom com;
    if (!com.IsReady())
        return Fail("no COM");
    std::vector<std::wstring> errors;
    AddComponentFolder(platform::FromUtf8(argv[1]), errors);
    for (const std::wstring& error : errors)
        std::cerr << platform::ToUtf8(error) << '\n';
    return errors.empty() ? ServeOneRequest(platform::AbsolutePath(platform::FromUtf8(argv[2]))) : kFailed;
}
