#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The host services under the names by which the system calls them. All of them ask WQ_Host().

/// Styles and answers of message boxes, with the numbers of Windows.
enum eMessageStyle : unsigned {
    eMessageStyle_YesNo = 4,
    eMessageStyle_Error = 16,
    eMessageStyle_Warning = 48,
};
enum eMessageAnswer : int { eMessageAnswer_Ok = 1, eMessageAnswer_Yes = 6, eMessageAnswer_No = 7 };

ZEL_FRAMEWORK_API void WQ_ReportError(std::int64_t time, const wchar_t* sourceFile, long sourceLine,
                                      const std::wstring& function, const std::wstring& message);

/// The same with the time of now.
ZEL_FRAMEWORK_API void WQ_ReportErrorNow(const wchar_t* sourceFile, long sourceLine, const std::wstring& function,
                                         const std::wstring& message);

ZEL_FRAMEWORK_API int WQ_MessageBox(const std::wstring& text, unsigned style, unsigned flags = 0);
ZEL_FRAMEWORK_API int WQ_MessageBoxAuto(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags);

/// The localised text of an identifier with its code name ("IDS_DONE").
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring RootApp_RSC_CStr(unsigned id, const char* codeName);

/// A text fetched by number alone, from the resource module that is current on this thread.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring WQ_LoadString(unsigned id);

/// Makes the resources of a module current on this thread for the life of the object, then those before it again. The
/// name is that of a text table ("ZEL_Processor").
class ZEL_FRAMEWORK_API CWQ_SetResource {
public:
    explicit CWQ_SetResource(const char* moduleName);
    ~CWQ_SetResource();
    CWQ_SetResource(const CWQ_SetResource&) = delete;
    CWQ_SetResource& operator=(const CWQ_SetResource&) = delete;

    /// Name of the current resource module of this thread; empty when none was set.
    [[nodiscard]] static const char* Current();

private:
    const char* m_pPrevious;
};

/// Replaces the printf-style placeholders of a text (%s, %ls, %d, %ld, %li, %lx, 0x%lx, %%) by the arguments in order.
/// A text that has more placeholders than arguments keeps the rest as they stand, so a faulty translation is seen and
/// never a crash.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring FormatText(std::wstring_view format,
                                                        const std::vector<std::wstring>& arguments);
