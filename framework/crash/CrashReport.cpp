#include "framework/CrashReport.h"

#include "framework/Host.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Trust.h"

#include <array>
#include <cstddef>

namespace MOXCrashRpt {

namespace {

// Copies, not a pointer to the object: a fault may jump over the frame of the object, and the report is written after
// that. Arrays, for MinGW frees the memory of a thread's variables before it calls their destructors.
template <std::size_t Size>
using TextRoom = std::array<wchar_t, Size>;
thread_local TextRoom<1024> currentSubject{};
thread_local TextRoom<128> currentStatus{};
thread_local TextRoom<1024> currentComment{};

template <std::size_t Size>
void Keep(TextRoom<Size>& room, const std::wstring& text)
{
    room[text.copy(room.data(), Size - 1)] = L'\0';
}

} // namespace

int GenerateErrorReport(const SMOXCrashRecord& record)
{
    return WQ_Host().GenerateErrorReport(record);
}

CScopedSubject::CScopedSubject(const std::wstring& subject)
    : m_strPrevious(Current()), m_strPreviousStatus(CurrentStatus()), m_strPreviousComment(CurrentComment())
{
    Keep(currentSubject, subject);
    Keep(currentStatus, {});
    Keep(currentComment, {});
}

CScopedSubject::~CScopedSubject()
{
    Keep(currentSubject, m_strPrevious);
    Keep(currentStatus, m_strPreviousStatus);
    Keep(currentComment, m_strPreviousComment);
}

std::wstring CScopedSubject::Current()
{
    return currentSubject.data();
}

std::wstring CScopedSubject::CurrentName()
{
    return platform::FileNameOf(Current());
}

void CScopedSubject::SetState(const std::wstring& status, const std::wstring& comment)
{
    if (currentSubject.front() == L'\0')
        return;
    Keep(currentStatus, status);
    Keep(currentComment, comment);
}

std::wstring CScopedSubject::CurrentStatus()
{
    return currentStatus.data();
}

std::wstring CScopedSubject::CurrentComment()
{
    return currentComment.data();
}

const wchar_t* CurrentSubjectText()
{
    return currentSubject.data();
}

std::wstring ReportDirectory()
{
    std::wstring directory = platform::Environment(L"ZEL_CRASH_DIR");
    if (directory.empty())
        directory = platform::JoinPath(platform::TemporaryDirectory(), L"zel-crash-" + platform::UserTag());
    return directory;
}

} // namespace MOXCrashRpt
