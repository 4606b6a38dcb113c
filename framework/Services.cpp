#include "framework/Services.h"

#include "framework/Host.h"
#include "platform/Os.h"

namespace {

/// The placeholders that the texts use, longest first where one begins like another.
constexpr std::wstring_view kPlaceholders[] = {L"%ls", L"%ld", L"%li", L"%lu", L"%lx",
                                               L"%s",  L"%d",  L"%i",  L"%u",  L"%x"};

/// Length of the placeholder that the text begins with; 0 when it begins with none.
std::size_t PlaceholderLength(std::wstring_view text)
{
    for (const std::wstring_view placeholder : kPlaceholders) {
        if (text.starts_with(placeholder))
            return placeholder.size();
    }
    return 0;
}

thread_local const char* currentModule = "";

} // namespace

void WQ_ReportError(std::int64_t time, const wchar_t* sourceFile, long sourceLine, const std::wstring& function,
                    const std::wstring& message)
{
    SWQ_ErrorReport report;
    report.time = time;
    report.sourceFile = sourceFile != nullptr ? sourceFile : L"";
    report.sourceLine = sourceLine;
    report.function = function;
    report.message = message;
    WQ_Host().ReportError(report);
}

void WQ_ReportErrorNow(const wchar_t* sourceFile, long sourceLine, const std::wstring& function,
                       const std::wstring& message)
{
    WQ_ReportError(platform::Clock().UtcSeconds(), sourceFile, sourceLine, function, message);
}

int WQ_MessageBox(const std::wstring& text, unsigned style, unsigned flags)
{
    return WQ_Host().ShowMessage(text, style, flags);
}

int WQ_MessageBoxAuto(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags)
{
    return WQ_Host().AskMessage(text, style, defaultAnswer, flags);
}

std::wstring RootApp_RSC_CStr(unsigned id, const char* codeName)
{
    return WQ_Host().GetText(id, codeName);
}

std::wstring WQ_LoadString(unsigned id)
{
    return WQ_Host().GetText(id, nullptr);
}

CWQ_SetResource::CWQ_SetResource(const char* moduleName) : m_pPrevious(currentModule)
{
    currentModule = moduleName != nullptr ? moduleName : "";
}

CWQ_SetResource::~CWQ_SetResource()
{
    currentModule = m_pPrevious;
}

const char* CWQ_SetResource::Current()
{
    return currentModule;
}

std::wstring FormatText(std::wstring_view format, const std::vector<std::wstring>& arguments)
{
    std::wstring result;
    auto next = arguments.begin();
    while (!format.empty()) {
        if (format.starts_with(L"%%")) {
            result += L'%';
            format.remove_prefix(2);
            continue;
        }
        const std::size_t length = PlaceholderLength(format);
        if (length != 0 && next != arguments.end()) {
            result += *next++;
            format.remove_prefix(length);
            continue;
        }
        result += format.front();
        format.remove_prefix(1);
    }
    return result;
}
