#include "apps/zel/TaskFault.h"

#include "apps/common/CommandLine.h"
#include "framework/CrashReport.h"
#include "framework/texts/TextModule.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"

#include "ToolTexts.h"

namespace {

constexpr std::size_t kLongestReport = 1 << 20;

/// Of a crash report what is about the fault: kind, place and stack.
std::wstring Excerpt(const std::wstring& path)
{
    std::string report;
    if (path.empty() ||
        !platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, report, kLongestReport)))
        return {};
    const std::size_t start = report.find("\nKind: ");
    if (start == std::string::npos)
        return {};
    std::string excerpt = report.substr(start, report.find("\nLoaded modules:") - start);
    while (excerpt.ends_with('\n'))
        excerpt.pop_back();
    return platform::FromUtf8(excerpt);
}

/// The text for people, after the crash report was written.
std::wstring Report(const platform::SFaultRecord& record)
{
    SMOXCrashRecord crash;
    crash.size = sizeof(crash);
    crash.exceptionPointers = &record;
    const bool isReported = MOXCrashRpt::GenerateErrorReport(crash) == 1;
    const std::wstring path = isReported ? MOXCrashRpt::LastReportPath() : std::wstring();
    return WQ_ModuleText(ToolTexts::IDS_TASK_FAULTED,
                         {record.exception[0] != '\0' ? platform::FromUtf8(record.exception)
                                                      : platform::FaultKindName(record.kind),
                          path.empty() ? L"-" : path}) +
           Excerpt(path);
}

} // namespace

bool RunTaskContained(const std::function<void()>& body, std::wstring& fault)
{
    MOXCrashRpt::PrepareLastWords();
    platform::SFaultRecord record;
    const bool returned = platform::RunContained(
        [&] {
            try {
                body();
            } catch (...) {
                platform::RecordCurrentException(record);
            }
        },
        record);
    if (returned && record.kind != platform::eFaultKind_Exception)
        return true;
    fault = Report(record);
    return false;
}

void TellStrayFault(const platform::SFaultRecord& record)
{
    PrintError(L"zel", Report(record));
}
