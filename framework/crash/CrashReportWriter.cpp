#include "framework/crash/CrashReportWriter.h"

#include "com/ComponentModule.h"
#include "framework/Exceptions.h"
#include "framework/log/LogText.h"
#include "platform/FileSystem.h"
#include "platform/LastWords.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "platform/Trust.h"
#include "platform/Version.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <fmt/chrono.h>
#include <vector>

namespace {

constexpr char kTitle[] = "ZEL_Processor crash report\n";
constexpr wchar_t kExtension[] = L".txt";
/// Of a report that is being written, or whose writer died over it.
constexpr wchar_t kTemporaryExtension[] = L".tmp";
/// A task that crashes at every request must not fill the disk.
constexpr std::size_t kReportsKept = 50;

/// Of each thread that runs requests its own. Without a destructor: a fault may come at a thread's very end.
thread_local std::array<wchar_t, 4096> lastReport{};

std::string Hex(std::uintptr_t value)
{
    char text[2 + 2 * sizeof value + 1] = {};
    (void)std::snprintf(text, sizeof text, "0x%0*llx", static_cast<int>(2 * sizeof value),
                        static_cast<unsigned long long>(value));
    return text;
}

void AppendLine(std::string& report, const char* label, const std::wstring& value)
{
    report += label;
    report += PrintableLogText(platform::ToUtf8(value)); // no content of a request may pass for a line of the report
    report += '\n';
}

void AppendProgram(std::string& report)
{
    AppendLine(report, "Program:     ", platform::ProgramPath());
    AppendLine(report, "Version:     ", platform::LibraryVersion() + L" (" + platform::CompilerVersion() + L")");
    AppendLine(report, "System:      ", platform::SystemVersion());
    report += "Process:     " + std::to_string(platform::CurrentProcessId()) + "\n";
    report += "Thread:      " + std::to_string(platform::CurrentThreadId());
    AppendLine(report, " ", platform::FromUtf8(platform::CurrentThreadName()));
}

void AppendSubject(std::string& report)
{
    using MOXCrashRpt::CScopedSubject;
    AppendLine(report, "Request:     ", CScopedSubject::CurrentName());
    AppendLine(report, "Subject:     ", CScopedSubject::Current());
    AppendLine(report, "Last status: ", CScopedSubject::CurrentStatus());
    AppendLine(report, "Comment:     ", CScopedSubject::CurrentComment());
}

void AppendFault(std::string& report, const platform::SFaultRecord& fault)
{
    AppendLine(report, "Kind:        ", platform::FaultKindName(fault.kind));
    if (fault.kind == platform::eFaultKind_Exception) {
        AppendLine(report, "Exception:   ", platform::FromUtf8(fault.exception));
        return;
    }
    report += "Code:        " + std::to_string(fault.code) + " (" + Hex(fault.code) + ")\n";
    report += "Instruction: " + Hex(fault.instruction) + "\n";
    report += "Address:     " + Hex(fault.address) + "\n";
}

platform::SAddressDescription LookUpFrame(const platform::SFaultRecord& fault, std::size_t index)
{
    // A return address is that of the next line's code; one byte before it still belongs to the call.
    const std::uintptr_t address = fault.frames[index];
    return platform::LookUpAddress(address != 0 && address != fault.instruction ? address - 1 : address);
}

std::size_t FrameCount(const platform::SFaultRecord& fault)
{
    return std::min(fault.frameCount, platform::kMaxFaultFrames);
}

/// The version that a plug-in was built for; empty of a module that tells none.
std::wstring ModuleVersion(const std::wstring& path)
{
    std::unique_ptr<platform::IModule> module;
    std::wstring ignored;
    if (!Succeeded(platform::LoadDynamicModule(path, module, ignored))) // it is loaded: this finds it
        return {};
    const auto tell = reinterpret_cast<std::uint32_t (*)()>(module->Symbol(kComponentVersionFunction));
    const std::uint32_t version = tell != nullptr ? tell() : 0;
    return version == 0 ? L"" : std::to_wstring(version >> 16U) + L"." + std::to_wstring(version & 0xFFFFU);
}

/// What a reader looks for first: the innermost frame whose source is known, or that lies in a plug-in, for one without
/// debug information must not shift the blame to its caller. The frames before it are those of the system's libraries.
/// Where there is no such frame it is the fault's own.
std::size_t FrameToBlame(const platform::SFaultRecord& fault)
{
    for (std::size_t i = 0; i < FrameCount(fault); ++i) {
        const platform::SAddressDescription place = LookUpFrame(fault, i);
        if (!place.file.empty() || !ModuleVersion(place.modulePath).empty())
            return i;
    }
    return 0;
}

void AppendPlace(std::string& report, const platform::SFaultRecord& fault)
{
    if (FrameCount(fault) == 0) {
        report += "Source:      unknown\n";
        return;
    }
    const platform::SAddressDescription place = LookUpFrame(fault, FrameToBlame(fault));
    if (!place.function.empty())
        AppendLine(report, "Function:    ", place.function);
    AppendLine(report,
               "Source:      ", place.file.empty() ? L"unknown" : place.file + L":" + std::to_wstring(place.line));
    if (!place.modulePath.empty())
        AppendLine(report, "Module:      ", place.modulePath);
    if (const std::wstring version = ModuleVersion(place.modulePath); !version.empty())
        AppendLine(report, "Built for:   ", version);
}

void AppendStack(std::string& report, const platform::SFaultRecord& fault)
{
    if (FrameCount(fault) == 0)
        report += "(no frame was recorded)\n";
    for (std::size_t i = 0; i < FrameCount(fault); ++i) {
        report += '#' + std::to_string(i) + (i < 10 ? "  " : " ") + Hex(fault.frames[i]);
        AppendLine(report, " ", platform::AddressText(LookUpFrame(fault, i)));
    }
}

void AppendModules(std::string& report)
{
    for (const std::wstring& module : platform::LoadedModules())
        AppendLine(report, "", module);
}

/// Runs one step of the writing so that neither an exception nor a fault of its own leaves it: after a crash the heap
/// may be damaged. False with what happened.
template <class Step>
bool RunGuarded(const Step& step, std::wstring& error)
{
    try {
        platform::SFaultRecord fault;
        if (platform::RunContained(step, fault))
            return true;
        error = platform::FaultKindName(fault.kind);
    } catch (...) {
        error = WQ_ReasonOfException();
    }
    return false;
}

/// A section that fails is left out with a note; what the others have to tell still gets written.
template <class Step>
void AppendSection(std::string& report, const char* title, const Step& step)
{
    std::string section;
    std::wstring error;
    const bool complete = RunGuarded([&] { step(section); }, error);
    if (title != nullptr)
        report += std::string("\n") + title + ":\n";
    report += section;
    if (!complete)
        report += "(incomplete: " + platform::ToUtf8(error) + ")\n";
}

std::string ComposeReport(const SMOXCrashRecord& record, const std::tm& time)
{
    std::string report = kTitle;
    report += fmt::format("Time:        {:%FT%TZ}\n", time);
    AppendSection(report, nullptr, AppendProgram);
    AppendSection(report, nullptr, AppendSubject);
    if (const platform::SFaultRecord* const fault = record.exceptionPointers) {
        AppendSection(report, nullptr, [fault](std::string& section) { AppendFault(section, *fault); });
        AppendSection(report, nullptr, [fault](std::string& section) { AppendPlace(section, *fault); });
        AppendSection(report, "Stack, innermost frame first",
                      [fault](std::string& section) { AppendStack(section, *fault); });
    } else {
        report += "Kind:        not recorded\n";
    }
    AppendSection(report, "Loaded modules", AppendModules);
    return report;
}

std::wstring ReportBaseName(const std::tm& time)
{
    static std::atomic<unsigned> counter{0};
    return platform::FromUtf8(platform::kReportNamePrefix) +
           platform::FromUtf8(fmt::format("{:%Y%m%dT%H%M%SZ}", time)) + L"-" +
           std::to_wstring(platform::CurrentProcessId()) + L"-" + std::to_wstring(++counter);
}

/// A name that nobody can have laid a link at: the folder for temporary files is everybody's.
std::wstring TemporaryName(const std::wstring& baseName)
{
    std::wstring name = baseName + L"-";
    for (const std::uint8_t byte : platform::NewUniqueId()) {
        constexpr wchar_t kDigits[] = L"0123456789abcdef";
        name += kDigits[byte >> 4U];
        name += kDigits[byte & 15U];
    }
    return name + kTemporaryExtension;
}

bool IsReportName(const std::wstring& name)
{
    return name.starts_with(platform::FromUtf8(platform::kReportNamePrefix)) &&
           (name.ends_with(kExtension) || name.ends_with(kTemporaryExtension));
}

/// The names begin with the time, so their order is that of age.
void RemoveOldReports(const std::wstring& directory)
{
    std::vector<platform::SDirectoryEntry> entries;
    if (!Succeeded(platform::Files().List(directory, entries)))
        return;
    std::vector<std::wstring> names;
    for (const platform::SDirectoryEntry& entry : entries) {
        if (!entry.isDirectory && IsReportName(entry.name) &&
            platform::IsFileOfThisUser(platform::JoinPath(directory, entry.name)))
            names.push_back(entry.name);
    }
    if (names.size() <= kReportsKept)
        return;
    std::ranges::sort(names);
    names.resize(names.size() - kReportsKept);
    for (const std::wstring& name : names) {
        // Another process may have been faster.
        (void)platform::Files().Remove(platform::JoinPath(directory, name));
    }
}

/// It tells what clients asked for: made without a content first, and written when nobody else can open it any more.
platform::eOsError WritePrivately(const std::wstring& path, const std::string& report)
{
    platform::eOsError result = platform::WriteWholeFile(path, "");
    if (Succeeded(result))
        result = platform::KeepPrivate(path);
    return Succeeded(result) ? platform::WriteWholeFile(path, report) : result;
}

/// The folder that a variable names is its setter's affair; the one of our own choice is in a place where anybody may
/// have been before.
bool PrepareFolder(const std::wstring& directory, std::wstring& error)
{
    if (!platform::Environment(L"ZEL_CRASH_DIR").empty())
        return true;
    const platform::eOsError result = platform::MakePrivateFolder(directory);
    if (Succeeded(result))
        return true;
    error = platform::DistrustOf(directory);
    if (error.empty())
        error = directory + L": " + platform::OsErrorText(result);
    return false;
}

bool StoreReport(const std::wstring& directory, const std::string& report, const std::tm& time, std::wstring& path,
                 std::wstring& error)
{
    if (!PrepareFolder(directory, error))
        return false;
    const std::wstring baseName = ReportBaseName(time);
    const std::wstring temporary = platform::JoinPath(directory, TemporaryName(baseName));
    path = platform::JoinPath(directory, baseName + kExtension);
    platform::eOsError result = WritePrivately(temporary, report);
    if (Succeeded(result))
        result = platform::Files().Move(temporary, path, platform::eMoveFlag_WriteThrough);
    if (platform::HasMoved(result))
        return true;
    error = L"Writing '" + path + L"' failed: " + platform::OsErrorText(result);
    (void)platform::Files().Remove(temporary);
    return false;
}

/// All of it; runs under a guard.
bool ComposeAndStore(const SMOXCrashRecord& record, std::wstring& path, std::wstring& error)
{
    // The system's time, not the replaceable one: old reports are told by it.
    const std::tm time = fmt::gmtime(static_cast<std::time_t>(platform::SystemClock().UtcSeconds()));
    const std::wstring directory = MOXCrashRpt::ReportDirectory();
    if (!StoreReport(directory, ComposeReport(record, time), time, path, error))
        return false;
    lastReport[path.copy(lastReport.data(), lastReport.size() - 1)] = L'\0';
    std::wstring ignored; // old reports that stay do no harm to the new one
    (void)RunGuarded([&] { RemoveOldReports(directory); }, ignored);
    return true;
}

} // namespace

bool WriteCrashReport(const SMOXCrashRecord& record, std::wstring& path, std::wstring& error)
{
    if (record.size != sizeof(SMOXCrashRecord)) {
        error = L"The size of the crash record is " + std::to_wstring(record.size) + L".";
        return false;
    }
    bool stored = false;
    return RunGuarded([&] { stored = ComposeAndStore(record, path, error); }, error) && stored;
}

void MOXCrashRpt::PrepareLastWords()
{
    std::string header = kTitle;
    AppendProgram(header);
    // When it is needed there is no time to look at the folder, nor a heap to do it with.
    std::wstring directory = ReportDirectory();
    if (std::wstring error; !PrepareFolder(directory, error))
        directory.clear();
    platform::PrepareLastWords(directory, header, &CurrentSubjectText);
}

std::wstring MOXCrashRpt::LastReportPath()
{
    return lastReport.data();
}
