#include "platform/win32/Containment.h"

#include "platform/win32/SystemError.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <psapi.h>

namespace platform {
namespace win32 {

CHandle MakeJob(const SContainment& containment)
{
    CHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    if (containment.memory != 0) {
        limits.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_MEMORY;
        limits.ProcessMemoryLimit = static_cast<SIZE_T>(containment.memory);
    }
    if (job && !SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits)) {
        job.Close();
    }
    return job;
}

void EndJob(const CHandle& job, UINT exitCode)
{
    constexpr auto kLongest = std::chrono::seconds(5);
    TerminateJobObject(job.Get(), exitCode);
    const auto end = std::chrono::steady_clock::now() + kLongest;
    JOBOBJECT_BASIC_ACCOUNTING_INFORMATION counts{};
    while (QueryInformationJobObject(job.Get(), JobObjectBasicAccountingInformation, &counts, sizeof counts, nullptr) &&
           counts.ActiveProcesses != 0 && std::chrono::steady_clock::now() < end) {
        Sleep(1);
    }
}

DWORD PriorityClassOf(const SContainment& containment)
{
    constexpr int kIdle = 10;
    if (containment.nice >= kIdle) {
        return IDLE_PRIORITY_CLASS;
    }
    return containment.nice > 0 ? BELOW_NORMAL_PRIORITY_CLASS : 0;
}

} // namespace win32

namespace {

/// The system may count a console among them.
std::atomic<DWORD> g_processesAtStart = 1;

DWORD ProcessesOfJob()
{
    JOBOBJECT_BASIC_ACCOUNTING_INFORMATION counts{};
    const BOOL isKnown =
        QueryInformationJobObject(nullptr, JobObjectBasicAccountingInformation, &counts, sizeof counts, nullptr);
    return isKnown ? counts.ActiveProcesses : 0;
}

} // namespace

eOsError EnterContainment()
{
    BOOL isInJob = FALSE;
    if (!IsProcessInJob(GetCurrentProcess(), nullptr, &isInJob)) {
        return win32::LastOsError();
    }
    g_processesAtStart = std::max<DWORD>(ProcessesOfJob(), 1);
    return isInJob ? eOsError_None : eOsError_NotSupported;
}

std::uint64_t MemoryInUse()
{
    PROCESS_MEMORY_COUNTERS counters{};
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) ? counters.WorkingSetSize : 0;
}

bool HasLeftProcesses()
{
    return ProcessesOfJob() > g_processesAtStart;
}

} // namespace platform
