// An application with an event loop that never waits for a file: client REQUESTS OUTPUT REQUEST RESPONSE
// Hands the file REQUEST over, shows how it gets on, and takes the response. The exit code is 0 when it is there.

#include <ZEL_Processor/zel.hpp>

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <iostream>
#include <mutex>
#include <optional>
#include <string>

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

/// One request on its way. All of it runs on the loop's thread.
class CFollowedRequest {
public:
    CFollowedRequest(CEventLoop& loop, const zel::Options& directories, std::filesystem::path target)
        : m_loop(loop), m_client(directories), m_target(std::move(target))
    {}

    void Send(const std::filesystem::path& file)
    {
        zel::Result<zel::Request> sent = m_client.send(file);
        if (!sent)
            return Fail(sent.reason());
        m_request = *std::move(sent);
        const auto post = [this](const zel::Status& status) { m_loop.Post([this, status] { Show(status); }); };
        if (const zel::Result<void> followed = m_request->onChange(post); !followed)
            Fail(followed.reason());
    }

private:
    void Show(const zel::Status& status)
    {
        std::cout << zel::nameOf(status.state);
        if (status.percent)
            std::cout << " " << *status.percent << " %";
        std::cout << " " << status.comment << '\n' << std::flush;
        if (!status.hasEnded())
            return;
        const zel::Result<void> received = m_request->receive(m_target);
        if (!received)
            return Fail(received.reason());
        m_loop.End(0);
    }
    void Fail(const std::string& reason)
    {
        std::cerr << reason << '\n';
        m_loop.End(1);
    }

    CEventLoop& m_loop;
    zel::Client m_client;
    const std::filesystem::path m_target;
    std::optional<zel::Request> m_request;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::cerr << "client REQUESTS OUTPUT REQUEST RESPONSE\n";
        return 2;
    }
    CEventLoop loop;
    CFollowedRequest request(loop, {.requests = argv[1], .output = argv[2]}, argv[4]);
    loop.Post([&] { request.Send(argv[3]); });
    return loop.Run();
}
