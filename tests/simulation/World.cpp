#include "tests/simulation/World.h"

#include "platform/Text.h"

#include <array>
#include <cstdio>

namespace sim {
namespace {

CWorld* g_world = nullptr;

} // namespace

CWorld::CWorld(const SSettings& settings)
    : m_settings(settings),
      m_random(settings.seed),
      m_scheduler(m_random, AddProcess(L"driver")),
      m_disk(settings.manner, m_random)
{
    g_world = this;
    m_disk.m_onChange = [this](const std::wstring& directory, CDisk::eChange change) {
        for (IDiskListener* const listener : m_listeners)
            listener->Hear(directory, change);
    };
}

CWorld::~CWorld()
{
    g_world = nullptr;
}

CWorld* CWorld::Current()
{
    return g_world;
}

SProcess& CWorld::Process()
{
    return *CScheduler::Current()->process;
}

SProcess& CWorld::AddProcess(const std::wstring& name)
{
    const auto id = static_cast<std::uint32_t>(m_processes.size() + 1);
    return m_processes.emplace_back(SProcess{.name = name, .id = id});
}

platform::eOsError CWorld::Enter(const char* call, const std::wstring& path)
{
    SProcess& process = Process();
    if (process.isDead)
        return platform::eOsError_IoError;
    m_scheduler.Advance(std::chrono::microseconds(1 + m_random.Below(20)));
    m_scheduler.Pause(false);
    if (process.isDead)
        return platform::eOsError_IoError;
    ++m_calls;
    ++process.calls;
    Trace(std::to_string(m_scheduler.Now().count()) + " " + platform::ToUtf8(process.name) + "." +
          std::to_string(CScheduler::Current()->number) + " " + call + " " + platform::ToUtf8(path));
    if (m_calls == m_cutAt) {
        CutPower();
        return platform::eOsError_IoError;
    }
    if (process.calls == process.diesAt) {
        Kill(process);
        return platform::eOsError_IoError;
    }
    return process.calls == process.failsAt ? AnyFailure() : platform::eOsError_None;
}

platform::eOsError CWorld::AnyFailure()
{
    constexpr std::array errors = {platform::eOsError_DiskFull, platform::eOsError_IoError,
                                   platform::eOsError_AccessDenied, platform::eOsError_TooManyOpenFiles,
                                   platform::eOsError_OutOfMemory};
    ++m_failures;
    const platform::eOsError error = errors[m_random.Below(errors.size())];
    Trace("  which fails with " + std::to_string(error));
    return error;
}

void CWorld::Kill(SProcess& process)
{
    Trace("  which kills " + platform::ToUtf8(process.name));
    m_deaths += process.name == L"server" ? 1U : 0U;
    process.isDead = true;
    if (!IsPlanted(ePlanted_HoldKept))
        m_disk.LetGo(process);
}

void CWorld::CutPower()
{
    Trace("  in which the power is cut");
    ++m_cuts;
    for (SProcess& process : m_processes) {
        if (&process != &m_processes.front())
            process.isDead = true;
    }
    m_disk.CutPower();
}

void CWorld::Trace(const std::string& line)
{
    for (const char c : line)
        m_sum = (m_sum ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    if (m_settings.isTraced)
        std::printf("%s\n", line.c_str());
}

} // namespace sim
