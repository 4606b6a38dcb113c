#pragma once

#include "platform/Export.h"
#include "platform/Fault.h"

#include <cstdint>
#include <string>

/// The crash reporter's record. A caller zeroes it, then sets the size, the exception pointers and the exception type.
struct SMOXCrashRecord {
    std::uint32_t size = 0;          ///< 72
    std::uint32_t exceptionType = 0; ///< 0: a structured exception
    const platform::SFaultRecord* exceptionPointers = nullptr;
    std::uintptr_t reserved[7] = {};
};
static_assert(sizeof(SMOXCrashRecord) == 72);

namespace MOXCrashRpt {

/// Writes a crash report through the host. 1 for success.
[[nodiscard]] ZEL_FRAMEWORK_API int GenerateErrorReport(const SMOXCrashRecord& record);

/// Names what the current thread works on for the life of the object, usually a request by its file, so that a crash
/// report and every line of the log can tell. Survives a fault that jumps over the frames above it. Of a subject of
/// more than 1,023 units the rest is left out. Nests; the state that was told of an outer subject is kept.
class ZEL_FRAMEWORK_API CScopedSubject {
public:
    explicit CScopedSubject(const std::wstring& subject);
    ~CScopedSubject();
    CScopedSubject(const CScopedSubject&) = delete;
    CScopedSubject& operator=(const CScopedSubject&) = delete;

    [[nodiscard]] static std::wstring Current();
    /// What comes behind the last separator of the current subject.
    [[nodiscard]] static std::wstring CurrentName();

    /// Keeps what was last told to the world about the current subject, for the report; without a subject nothing is
    /// kept. Of long texts the rest is left out.
    static void SetState(const std::wstring& status, const std::wstring& comment);
    [[nodiscard]] static std::wstring CurrentStatus();
    [[nodiscard]] static std::wstring CurrentComment();

private:
    std::wstring m_strPrevious;
    std::wstring m_strPreviousStatus;
    std::wstring m_strPreviousComment;
};

/// Where reports are written: "ZEL_CRASH_DIR", or a folder of this user's own below that for temporary files, which the
/// first report, or PrepareLastWords, makes. Reports are readable by their user alone.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring ReportDirectory();
/// Makes ready what is told of a fault that ends this process, because it struck in the memory allocator: a short
/// report in the same place and on standard error. Called on the thread that runs tasks; once in a process, later calls
/// do nothing.
ZEL_FRAMEWORK_API void PrepareLastWords();
/// Full path of the last report that this thread wrote; empty when none.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring LastReportPath();

/// The current thread's subject where it lies, for last words.
[[nodiscard]] const wchar_t* CurrentSubjectText();

} // namespace MOXCrashRpt
