#include "bench/Side.h"

#include "bench/BenchDirectories.h"
#include "bench/BenchError.h"
#include "bench/Part.h"
#include "platform/Module.h"
#include "platform/Os.h"

#include <exception>
#include <sstream>

using std::chrono::nanoseconds;

namespace {

constexpr std::chrono::seconds kStartPatience{30};
constexpr std::chrono::seconds kEndPatience{30};
constexpr std::chrono::hours kMeasuringTime{2};
constexpr std::chrono::milliseconds kLookAtServer{200};
constexpr std::chrono::milliseconds kNoTime{0};

} // namespace

CSide::CSide(const SPlan& plan) : m_root(plan.root), m_hasServer(plan.server != nullptr)
{
    SBenchDirectories(m_root).Create();
    if (plan.server)
        Start(m_server, plan.server, plan);
    if (plan.client)
        Start(m_client, plan.client, plan);
}

CSide::~CSide()
{
    End(m_client);
    End(m_server);
    try {
        RemoveTree(m_root);
    } catch (const std::exception& exception) {
        platform::WriteConsoleText(platform::eStream_Error, L"zel-bench: left behind: " + m_root + L": " +
                                                                platform::FromUtf8(exception.what()) + L"\n");
    }
}

void CSide::End(platform::CProcess& process) noexcept
{
    process.CloseInput();
    int exitCode = 0;
    if (!process.Wait(kEndPatience, exitCode))
        process.Kill();
}

void CSide::Start(platform::CProcess& process, const wchar_t* part, const SPlan& plan)
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    options.pipeOutput = true;
    Check(process.Start(platform::ProgramPath(),
                        {kPartSwitch, part, plan.root, plan.syncing ? L"sync" : L"no-sync", plan.components}, options),
          L"start a part");
    std::wstring line;
    if (!process.ReadLine(line, kStartPatience) || line != L"ready")
        Fail(std::wstring(L"the part ") + part + L" did not start");
}

void CSide::Ask(const std::wstring& line)
{
    if (!m_client.WriteLine(line))
        Fail(L"the client is gone");
}

std::wstring CSide::Answer()
{
    std::wstring line;
    const auto end = platform::Clock().Steady() + kMeasuringTime;
    int exitCode = 0;
    while (!m_client.ReadLine(line, kLookAtServer)) {
        if (m_client.Wait(kNoTime, exitCode) || platform::Clock().Steady() >= end)
            Fail(L"the client gave no answer");
        if (m_hasServer && m_server.Wait(kNoTime, exitCode)) {
            m_client.Kill(); // it waits for the server, and for minutes
            Fail(L"the server has ended");
        }
    }
    return line;
}

void CSide::Measure(const std::string& command, std::size_t count, CSeries& series, const std::string& task)
{
    const nanoseconds before = m_hasServer ? m_server.CpuTime() : nanoseconds{};
    Ask(platform::FromUtf8(command + " " + std::to_string(count) + " " + task));
    std::wistringstream numbers(Answer());
    const nanoseconds after = m_hasServer ? m_server.CpuTime() : nanoseconds{};
    std::vector<nanoseconds> times;
    for (nanoseconds::rep time = 0; numbers >> time;)
        times.emplace_back(time);
    if (times.empty())
        Fail(L"the client's answer is no number");
    const nanoseconds total = times.front();
    times.erase(times.begin());
    series.Add(count, total, after - before, times);
}

void CSide::StartListening(std::chrono::seconds time)
{
    Ask(L"listen " + std::to_wstring(time.count()));
    if (Answer() != L"listening")
        Fail(L"the client does not listen");
}

void CSide::FinishListening()
{
    static_cast<void>(Answer());
}
