#include "bench/ClientPart.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "bench/BenchError.h"
#include "bench/RequestTask.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <iostream>
#include <iterator>
#include <numeric>
#include <sstream>
#include <vector>

using std::chrono::nanoseconds;

namespace {

/// Of the server whose running requests are cancelled.
constexpr std::size_t kBusySlots = 4;
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

    std::wstring Run(const std::string& command, std::size_t count, const std::string& task)
    {
        m_task = task;
        if (command == "serial")
            return Serial(count);
        if (command == "burst")
            return Burst(count);
        if (command == "held-burst")
            return HeldBurst(count);
        if (command == "cancel")
            return Cancel(count);
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
                Send(name, 0);
                m_client.WaitForEnd(name);
                m_client.Take(name);
            },
            [&] { RemoveResponse(name); });
    }

    std::wstring Burst(std::size_t count)
    {
        std::vector<std::wstring> names = NewNames(count);
        const nanoseconds time = TimeOf([&] {
            SendAll(names);
            TakeAll(names);
        });
        for (const std::wstring& name : names)
            RemoveResponse(name);
        return Number(time);
    }

    /// All of them are queued before the first one runs.
    std::wstring HeldBurst(std::size_t count)
    {
        const std::vector<std::wstring> names = NewNames(count);
        std::vector<std::size_t> order(count);
        std::iota(order.begin(), order.end(), 0U);
        std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
            return PriorityOf(m_task, left) > PriorityOf(m_task, right);
        });
        std::vector<std::wstring> asRun;
        std::transform(order.begin(), order.end(), std::back_inserter(asRun),
                       [&](std::size_t index) { return names[index]; });
        m_client.HoldQueue(true);
        const nanoseconds time = TimeOf([&] {
            SendAll(names);
            WaitUntilQueued();
            m_client.HoldQueue(false);
            TakeAll(asRun);
        });
        for (const std::wstring& name : names)
            RemoveResponse(name);
        return Number(time);
    }

    /// From the cancel of a request that runs in one of the slots, all of which are busy, until its sender knows of its
    /// end.
    std::wstring Cancel(std::size_t count)
    {
        std::deque<std::wstring> running;
        const auto start = [&] {
            running.push_back(NewName());
            Send(running.back(), 0);
            m_client.WaitUntilRuns(running.back());
        };
        const auto cancelFirst = [&] {
            m_client.Cancel(running.front());
            running.pop_front();
        };
        while (running.size() < kBusySlots)
            start();
        const std::wstring times = Each(
            count, [&](std::size_t) { cancelFirst(); }, start);
        while (!running.empty())
            cancelFirst();
        return times;
    }

    /// Until the server has taken all of them over.
    std::wstring Queue(std::size_t count)
    {
        return Number(TimeOf([&] {
            SendAll(NewNames(count));
            WaitUntilQueued();
        }));
    }

    std::wstring Listen(std::chrono::milliseconds time)
    {
        const std::wstring name = NewName();
        Send(name, 0);
        TellParent(L"listening");
        return Number(TimeOf([&] { m_client.Listen(name, time); }));
    }

    [[nodiscard]] std::vector<std::wstring> NewNames(std::size_t count)
    {
        std::vector<std::wstring> names(count);
        for (std::wstring& name : names)
            name = NewName();
        return names;
    }

    void Send(const std::wstring& name, std::size_t index) { m_client.Send(name, RequestText(m_task, index)); }

    void SendAll(const std::vector<std::wstring>& names)
    {
        for (std::size_t index = 0; index < names.size(); ++index)
            Send(names[index], index);
    }

    void TakeAll(const std::vector<std::wstring>& names)
    {
        for (const std::wstring& name : names) {
            m_client.WaitForEnd(name);
            m_client.Take(name);
        }
    }

    void WaitUntilQueued() const
    {
        std::vector<platform::SDirectoryEntry> entries;
        do {
            platform::Clock().SleepFor(kQueuePoll);
            Check(platform::Files().List(m_directories.request, entries), L"list the request directory");
        } while (!entries.empty());
    }

    /// A response that did not arrive ends the run.
    void RemoveResponse(const std::wstring& name)
    {
        Check(platform::Files().Remove(platform::JoinPath(m_directories.target, name)), L"remove the response " + name);
    }

    IBenchClient& m_client;
    const SBenchDirectories& m_directories;
    std::string m_task;
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
        std::string task;
        words >> command >> count >> task;
        TellParent(commands.Run(command, count, task.empty() ? kEchoTask : task));
    }
    return 0;
}

void IBenchClient::WaitUntilRuns(const std::wstring& name)
{
    Fail(L"nobody knows whether " + name + L" runs");
}

void IBenchClient::Cancel(const std::wstring& name)
{
    Fail(L"nobody cancels " + name);
}

void IBenchClient::HoldQueue(bool)
{
    Fail(L"nobody holds the queue");
}

void TellParent(const std::wstring& line)
{
    if (!platform::WriteConsoleText(platform::eStream_Output, line + L"\n"))
        Fail(L"nobody listens any more");
}
