#include "bench/ClientPart.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "bench/BenchError.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"

#include <functional>
#include <iostream>
#include <sstream>
#include <vector>

using std::chrono::nanoseconds;

namespace {

constexpr std::size_t kRequestBytes = 1024;
constexpr auto kQueuePoll = std::chrono::milliseconds(1);

std::wstring Number(nanoseconds time)
{
    return std::to_wstring(time.count());
}

nanoseconds TimeOf(const std::function<void()>& action)
{
    const nanoseconds start = platform::Clock().Steady();
    action();
    return platform::Clock().Steady() - start;
}

class CCommands {
public:
    CCommands(IBenchClient& client, const SBenchDirectories& directories) : m_client(client), m_directories(directories)
    {}

    std::wstring Run(const std::string& command, std::size_t count)
    {
        if (command == "serial")
            return Serial(count);
        if (command == "burst")
            return Burst(count);
        if (command == "queue")
            return Queue(count);
        if (command == "listen")
            return Listen(std::chrono::seconds(count));
        if (command == "status-write")
            return Each(count, [&](std::size_t index) { m_client.WriteStatus(static_cast<unsigned>(index % 100)); });
        if (command == "status-read")
            return Each(count, [&](std::size_t) { m_client.ReadStatus(); });
        Fail(L"no such command: " + platform::FromUtf8(command));
    }

private:
    std::wstring NewName() { return L"request-" + std::to_wstring(++m_names) + ZelProtocol::kRequestExtension; }

    /// The times of single actions; what follows each is not counted.
    static std::wstring Each(
        std::size_t count, const std::function<void(std::size_t)>& action, const std::function<void()>& after = [] {})
    {
        nanoseconds total{};
        std::wstring times;
        for (std::size_t index = 0; index < count; ++index) {
            const nanoseconds time = TimeOf([&] { action(index); });
            total += time;
            (times += L' ') += Number(time);
            after();
        }
        return Number(total) + times;
    }

    std::wstring Serial(std::size_t count)
    {
        std::wstring name;
        return Each(
            count,
            [&](std::size_t) {
                name = NewName();
                m_client.Send(name);
                m_client.WaitForEnd(name);
                m_client.Take(name);
            },
            [&] { RemoveResponse(name); });
    }

    std::wstring Burst(std::size_t count)
    {
        std::vector<std::wstring> names(count);
        for (std::wstring& name : names)
            name = NewName();
        const nanoseconds time = TimeOf([&] {
            for (const std::wstring& name : names)
                m_client.Send(name);
            for (const std::wstring& name : names) {
                m_client.WaitForEnd(name);
                m_client.Take(name);
            }
        });
        for (const std::wstring& name : names)
            RemoveResponse(name);
        return Number(time);
    }

    /// Until the server has taken all of them over.
    std::wstring Queue(std::size_t count)
    {
        return Number(TimeOf([&] {
            for (std::size_t sent = 0; sent < count; ++sent)
                m_client.Send(NewName());
            std::vector<platform::SDirectoryEntry> entries;
            do {
                platform::Clock().SleepFor(kQueuePoll);
                Check(platform::Files().List(m_directories.request, entries), L"list the request directory");
            } while (!entries.empty());
        }));
    }

    std::wstring Listen(std::chrono::milliseconds time)
    {
        const std::wstring name = NewName();
        m_client.Send(name);
        TellParent(L"listening");
        return Number(TimeOf([&] { m_client.Listen(name, time); }));
    }

    /// A response that did not arrive ends the run.
    void RemoveResponse(const std::wstring& name)
    {
        Check(platform::Files().Remove(platform::JoinPath(m_directories.target, name)), L"remove the response " + name);
    }

    IBenchClient& m_client;
    const SBenchDirectories& m_directories;
    std::size_t m_names = 0;
};

} // namespace

int ServeParent(IBenchClient& client, const SBenchDirectories& directories)
{
    CCommands commands(client, directories);
    TellParent(L"ready");
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        std::size_t count = 0;
        words >> command >> count;
        TellParent(commands.Run(command, count));
    }
    return 0;
}

std::string RequestText()
{
    const std::string before = "<Request><Task Type=\"Echo\"><Text>";
    const std::string after = "</Text></Task></Request>";
    return before + std::string(kRequestBytes - before.size() - after.size(), 'a') + after;
}

void TellParent(const std::wstring& line)
{
    if (!platform::WriteConsoleText(platform::eStream_Output, line + L"\n"))
        Fail(L"nobody listens any more");
}
