#include "framework/DefaultHost.h"

#include "framework/Language.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/crash/CrashReportWriter.h"
#include "framework/log/LogRegistry.h"
#include "framework/texts/TextTable.h"
#include "platform/FaultMutex.h"
#include "platform/NeverDestroyed.h"
#include "platform/Text.h"

#include <set>

namespace {

constexpr char kLoggerName[] = "ZelProcessor";
/// The bits of a message style that choose its icon.
constexpr unsigned kIconMask = 0xF0;

Brel::Log::eLogLevel LevelOfStyle(unsigned style)
{
    switch (style & kIconMask) {
    case eMessageStyle_Error: return Brel::Log::eLogLevel_Error;
    case eMessageStyle_Warning: return Brel::Log::eLogLevel_Warning;
    default: return Brel::Log::eLogLevel_Info;
    }
}

std::wstring AnswerName(int answer)
{
    switch (answer) {
    case eMessageAnswer_Ok: return L"OK";
    case eMessageAnswer_Yes: return L"yes";
    case eMessageAnswer_No: return L"no";
    default: return L"button " + std::to_wstring(answer);
    }
}

std::wstring DescribeTextId(unsigned id, const char* codeName)
{
    std::wstring text = std::to_wstring(id);
    if (codeName != nullptr && *codeName != '\0')
        text = platform::FromUtf8(codeName) + L" (" + text + L")";
    return text;
}

/// Whose texts count on this thread: a module without a table of its own uses the system's.
std::string TextModule()
{
    std::string module = CWQ_SetResource::Current();
    return CTextTable::Find(module, CTextTable::kFallbackLanguage) == nullptr ? CTextTable::kSystemModule : module;
}

/// True for the first complaint about an identifier in this process. None any more when a fault has left the lock
/// taken.
bool IsFirstComplaint(const std::string& module, unsigned id)
{
    struct SComplaints {
        platform::CFaultMutex mutex;
        std::set<std::pair<std::string, unsigned>> made ZEL_GUARDED_BY(mutex);
    };
    static CNeverDestroyed<SComplaints> kept;
    SComplaints& complaints = kept.Get();
    const platform::CFaultLock guard(complaints.mutex);
    return guard.IsHeld() && complaints.made.emplace(module, id).second;
}

void ComplainOnce(IWQ_Host& host, const std::string& module, unsigned id, const std::wstring& text)
{
    if (IsFirstComplaint(module, id))
        Brel::Log::Write(*host.GetLogger(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION, text);
}

const STextEntry* FindText(const std::string& module, std::string_view language, unsigned id)
{
    const CTextTable* const table = CTextTable::Find(module, language);
    return table != nullptr ? table->FindEntry(id) : nullptr;
}

} // namespace

CWQ_DefaultHost::CWQ_DefaultHost() = default;
CWQ_DefaultHost::~CWQ_DefaultHost() = default;

void CWQ_DefaultHost::ReportError(const SWQ_ErrorReport& report)
{
    const std::string file = platform::ToUtf8(report.sourceFile);
    const std::string function = platform::ToUtf8(report.function);
    const platform::SSourceLocation location{file.c_str(), static_cast<int>(report.sourceLine), function.c_str()};
    std::wstring text = report.function;
    if (!text.empty())
        text += L": ";
    text += report.message;
    Brel::Log::Write(*GetLogger(kLoggerName), Brel::Log::eLogLevel_Error, location, text);
}

int CWQ_DefaultHost::ShowMessage(const std::wstring& text, unsigned style, unsigned /*flags*/)
{
    Brel::Log::Write(*GetLogger(kLoggerName), LevelOfStyle(style), ZEL_SOURCE_LOCATION, text);
    return eMessageAnswer_Ok;
}

int CWQ_DefaultHost::AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned /*flags*/)
{
    Brel::Log::Write(*GetLogger(kLoggerName), LevelOfStyle(style), ZEL_SOURCE_LOCATION,
                     text + L"\nNobody is asked here; the answer taken is: " + AnswerName(defaultAnswer) + L".");
    return defaultAnswer;
}

std::wstring CWQ_DefaultHost::GetText(unsigned id, const char* codeName)
{
    const std::string module = TextModule();
    const std::string language = platform::ToUtf8(WQ_FindLanguage());
    const STextEntry* entry = FindText(module, language, id);
    if (entry == nullptr) {
        const bool hasLanguage = CTextTable::Find(module, language) != nullptr;
        std::wstring text = L"Text " + DescribeTextId(id, codeName) + L" is missing";
        entry = FindText(module, CTextTable::kFallbackLanguage, id);
        if (entry == nullptr) {
            text += L".";
            ComplainOnce(*this, module, id, text);
            return text;
        }
        // A module without the language at all is no fault of its texts.
        if (hasLanguage)
            ComplainOnce(*this, module, id, text + L" in the language '" + platform::FromUtf8(language) + L"'.");
    }
    if (codeName != nullptr && entry->codeName != codeName)
        ComplainOnce(*this, module, id,
                     L"Text " + DescribeTextId(id, codeName) + L" is known by another name: '" +
                         platform::FromUtf8(entry->codeName) + L"'.");
    return entry->text;
}

std::shared_ptr<spdlog::logger> CWQ_DefaultHost::GetLogger(const std::string& name)
{
    return CLogRegistry::Instance().Get(name);
}

int CWQ_DefaultHost::GenerateErrorReport(const SMOXCrashRecord& record)
{
    std::wstring path;
    std::wstring error;
    const bool written = WriteCrashReport(record, path, error);
    Brel::Log::Write(*GetLogger(kLoggerName), written ? Brel::Log::eLogLevel_Warning : Brel::Log::eLogLevel_Error,
                     ZEL_SOURCE_LOCATION,
                     written ? L"A crash report was written: " + path : L"No crash report was written. " + error);
    return written ? 1 : 0;
}
