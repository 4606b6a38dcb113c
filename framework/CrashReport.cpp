#include "framework/CrashReport.h"

#include "framework/Host.h"
#include "platform/Module.h"

#include <array>
#include <cstddef>

namespace MOXCrashRpt {

namespace {

constexpr std::size_t kMaxSubject = 1023;

// A copy, not a pointer to the object: a fault may jump over the frame of the object, and the report is written after
// that. An array, for MinGW frees the memory of a thread's variables before it calls their destructors.
thread_local std::array<wchar_t, kMaxSubject + 1> currentSubject{};

void SetCurrentSubject(const std::wstring& subject)
{
    currentSubject[subject.copy(currentSubject.data(), kMaxSubject)] = L'\0';
}

} // namespace

int GenerateErrorReport(const SMOXCrashRecord& record)
{
    return WQ_Host().GenerateErrorReport(record);
}

CScopedSubject::CScopedSubject(const std::wstring& subject) : m_strPrevious(Current())
{
    SetCurrentSubject(subject);
}

CScopedSubject::~CScopedSubject()
{
    SetCurrentSubject(m_strPrevious);
}

std::wstring CScopedSubject::Current()
{
    return currentSubject.data();
}

std::wstring ReportDirectory()
{
    std::wstring directory = platform::Environment(L"ZEL_CRASH_DIR");
    return directory.empty() ? platform::TemporaryDirectory() : directory;
}

} // namespace MOXCrashRpt
