// An application with an event loop that never waits for a file: client REQUESTS OUTPUT REQUEST RESPONSE
// Hands the file REQUEST over, shows how it gets on, and takes the response. The exit code is 0 when it is there.

#include <ZEL_Processor/ZelProcessorClient.h>
#include <ZEL_Processor/ZelRequestWatch.h>
#include <com/ZelCom.h>
#include <platform/Path.h>
#include <platform/Text.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <iostream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

/// Stands for the loop of a user interface: runs on one thread what any thread posts.
class CEventLoop {
public:
    void Post(std::function<void()> event)
    {
        const std::lock_guard lock(m_mutex);
        m_events.push_back(std::move(event));
        m_posted.notify_one();
    }
    void End(int code)
    {
        Post([this, code] { m_code = code; });
    }
    int Run()
    {
        while (!m_code) {
            std::unique_lock lock(m_mutex);
            m_posted.wait(lock, [this] { return !m_events.empty(); });
            const std::function<void()> event = std::move(m_events.front());
            m_events.pop_front();
            lock.unlock();
            event();
        }
        return *m_code;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_posted;
    std::deque<std::function<void()>> m_events;
    std::optional<int> m_code;
};

/// One request on its way. All of it runs on the loop's thread, but for the waiting.
class CFollowedRequest {
public:
    CFollowedRequest(CEventLoop& loop, const std::vector<std::wstring>& paths)
        : m_loop(loop), m_strRequest(paths[2]), m_strResponse(paths[3]), m_watch(m_client, paths[1])
    {
        m_client.Init(paths[0], paths[1], platform::DirectoryOf(paths[2]));
    }
    ~CFollowedRequest()
    {
        m_bEnded = true;
        m_watch.Wake();
        if (m_waiting.joinable())
            m_waiting.join();
    }

    void Send()
    {
        if (m_client.SendRequest(m_strRequest) != eRequestStatus_Sent)
            return m_loop.End(1);
        m_waiting = std::thread([this] {
            while (!m_bEnded) {
                if (m_watch.WaitForChange(std::chrono::seconds(1)))
                    m_loop.Post([this] { Show(); });
            }
        });
    }

private:
    void Show()
    {
        if (m_bEnded)
            return;
        CZelProcessorClient::CAdditionalRequestStatus more;
        const eZelProcRequestStatus status = m_client.GetStatus(m_strRequest, &more);
        long percent = -1;
        static_cast<void>(more.GetProgress(percent));
        const std::string line =
            std::to_string(status) + " " + std::to_string(percent) + " " + platform::ToUtf8(more.GetProgressComment());
        if (line != m_strShown)
            std::cout << line << '\n' << std::flush;
        m_strShown = line;
        if (!CZelRequestWatch::IsFinal(status))
            return;
        m_bEnded = true;
        const bool isTaken = status == eRequestStatus_Done && m_client.ReceiveOutput(m_strRequest, m_strResponse);
        m_loop.End(isTaken ? 0 : 1);
    }

    CEventLoop& m_loop;
    const std::wstring m_strRequest;
    const std::wstring m_strResponse;
    CZelProcessorClient m_client;
    CZelRequestWatch m_watch;
    std::thread m_waiting;
    std::atomic<bool> m_bEnded = false;
    std::string m_strShown;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::cerr << "client REQUESTS OUTPUT REQUEST RESPONSE\n";
        return 2;
    }
    std::vector<std::wstring> paths;
    for (int index = 1; index < argc; ++index)
        paths.push_back(platform::AbsolutePath(platform::FromUtf8(argv[index])));
    if (FAILED(CoInitializeSYS(nullptr)) || FAILED(CoInitializeZEL(nullptr)))
        return 1;
    CEventLoop loop;
    CFollowedRequest request(loop, paths);
    loop.Post([&request] { request.Send(); });
    const int code = loop.Run();
    CoUninitializeZEL();
    CoUninitializeSYS();
    return code;
}
