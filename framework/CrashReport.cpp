#include "framework/CrashReport.h"

#include "framework/Host.h"
#include "platform/Module.h"

#include <utility>

namespace MOXCrashRpt {

namespace {

/// A copy, not a pointer to the object: a fault may jump over the frame of the object, and the report is written after
/// that.
std::wstring& CurrentSubject()
{
    static thread_local std::wstring subject;
    return subject;
}

} // namespace

int GenerateErrorReport(const SMOXCrashRecord& record)
{
    return WQ_Host().GenerateErrorReport(record);
}

CScopedSubject::CScopedSubject(const std::wstring& subject) : m_strPrevious(CurrentSubject())
{
    CurrentSubject() = subject;
}

CScopedSubject::~CScopedSubject()
{
    CurrentSubject() = std::move(m_strPrevious);
}

std::wstring CScopedSubject::Current()
{
    return CurrentSubject();
}

std::wstring ReportDirectory()
{
    std::wstring directory = platform::Environment(L"ZEL_CRASH_DIR");
    return directory.empty() ? platform::TemporaryDirectory() : directory;
}

} // namespace MOXCrashRpt
