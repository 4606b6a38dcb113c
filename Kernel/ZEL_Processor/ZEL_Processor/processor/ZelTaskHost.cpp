#include "ZelTaskHost.h"

#include "HostMessages.h"
#include "ProcessorRunner.h"
#include "TaskHostInbox.h"
#include "TaskHostLine.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "com/Components.h"
#include "com/XmlLimits.h"
#include "framework/CrashReport.h"
#include "framework/Exceptions.h"
#include "framework/Language.h"
#include "framework/Services.h"
#include "platform/Containment.h"
#include "platform/Fault.h"
#include "platform/FaultDeadline.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "platform/Process.h"
#include "platform/Sandbox.h"
#include "platform/Text.h"
#include "reports/SourceNames.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

using namespace std::chrono_literals;
using TaskHostLine::NumberOf;

namespace {

/// How long what follows a fault may take: a lock that the fault has left taken would have it wait for ever.
constexpr std::chrono::milliseconds kReportTime = 30s;
constexpr int kEndedByFault = 1;

/// Before anything that could be the end of a run: which call the sandbox has refused it.
void SendRefusal(const HostMessages::CSender::Send& send)
{
    if (const std::string call = platform::TakeRefusedCall(); !call.empty())
        send({L"refused", platform::FromUtf8(call)});
}

/// What a task reports, on its way to the server.
class CSentProgress final : public CZelProcessorProgress {
public:
    explicit CSentProgress(const HostMessages::CSender::Send& send) : m_send(send) {}

    void SetRange(std::uint64_t low, std::uint64_t high) override
    {
        m_send({L"range", NumberText(low), NumberText(high)});
    }
    void SetPos(std::uint64_t position) override { m_send({L"position", NumberText(position)}); }
    void SetStep(std::int32_t step) override { m_send({L"step", TaskHostLine::TextOf(step)}); }
    void StepIt() override { m_send({L"stepit"}); }
    void SetComment(const wchar_t* comment) override { m_send({L"comment", Text(comment)}); }
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override
    {
        const CString text = Text(comment);
        SendRefusal(m_send);
        MOXCrashRpt::CScopedSubject::SetState(EnumToName(status, GetRequestStatusNames()), text);
        m_send({L"status", TaskHostLine::TextOf(status), text});
    }

private:
    static CString NumberText(std::uint64_t number) { return TaskHostLine::TextOf(static_cast<std::int64_t>(number)); }
    static CString Text(const wchar_t* text)
    {
        return text ? CString(text).substr(0, TaskHostLine::kLongestText) : CString();
    }

    const HostMessages::CSender::Send& m_send;
};

CString FaultText(const platform::SFaultRecord& fault)
{
    return fault.exception[0] != '\0' ? platform::FromUtf8(fault.exception) : platform::FaultKindName(fault.kind);
}

} // namespace

struct CZelTaskHost::SState {
    explicit SState(platform::CParentChannel& parent) : channel(parent), inbox(parent) {}

    bool Take(const std::vector<CString>& words);
    bool SetLimits(const std::vector<CString>& words) const;
    void SetLogLevel(std::int64_t level);

    platform::CParentChannel& channel;
    const HostMessages::CSender::Send send = [this](const std::vector<CString>& words) {
        channel.WriteLine(TaskHostLine::Join(words));
    };
    HostMessages::CSender host{send};
    std::vector<CString> leftOut;
    CString outputDir;
    bool tellReasons = false;
    std::int64_t logLevel = -1;
    std::uint64_t mostMemory = 0; ///< with more of it the process has grown; 0: it never has
    CTaskHostInbox inbox;
    std::unique_ptr<CZelProcessor> processor;
    std::unique_ptr<CProcessorRunner> runner;
};

CZelTaskHost::CZelTaskHost(platform::CParentChannel& channel) : m_pState(std::make_unique<SState>(channel)) {}

CZelTaskHost::~CZelTaskHost() = default;

bool CZelTaskHost::SState::Take(const std::vector<CString>& words)
{
    if (words[0] == L"limits")
        return SetLimits(words);
    if (words.size() != 2)
        return false;
    const CString& value = words[1];
    if (words[0] == L"output") {
        outputDir = value;
    } else if (words[0] == L"reasons") {
        tellReasons = value == L"1";
    } else if (words[0] == L"private") {
        if (value == L"1")
            platform::KeepNewFilesPrivate();
    } else if (words[0] == L"language") {
        WQ_SetLanguage(value);
    } else if (words[0] == L"recycle") {
        mostMemory = static_cast<std::uint64_t>(NumberOf(value).value_or(0));
    } else if (words[0] == L"leftout") {
        leftOut.push_back(value);
    } else if (words[0] == L"folder") {
        std::vector<std::wstring> errors; // the server has told the same
        AddComponentFolder(value, errors);
    } else {
        return false;
    }
    return true;
}

bool CZelTaskHost::SState::SetLimits(const std::vector<CString>& words) const
{
    SXmlLimits limits;
    for (std::size_t index = 0; index < kXmlLimits.size(); ++index) {
        const auto value = index + 1 < words.size() ? NumberOf(words[index + 1]) : std::nullopt;
        if (!value || *value < 0)
            return false;
        limits.*kXmlLimits[index].value = static_cast<std::uint64_t>(*value);
    }
    SetXmlLimitsOfThread(limits);
    return words.size() == kXmlLimits.size() + 1;
}

void CZelTaskHost::SState::SetLogLevel(std::int64_t level)
{
    if (std::exchange(logLevel, level) != level && level >= Brel::Log::eLogLevel_Trace &&
        level <= Brel::Log::eLogLevel_Critical)
        HostMessages::CSender::SetLevel(static_cast<Brel::Log::eLogLevel>(level), send);
}

bool CZelTaskHost::Prepare()
{
    SState& state = *m_pState;
    state.SetLogLevel(Brel::Log::eLogLevel_Warning);
    // All of it before any plug-in is loaded, for the server waits until it is read.
    std::vector<std::vector<CString>> setup(1);
    while (state.inbox.Read(setup.back()) && setup.back()[0] != L"begin")
        setup.emplace_back();
    if (setup.back().empty() || setup.back()[0] != L"begin")
        return false;
    setup.pop_back();
    for (const std::vector<CString>& words : setup) {
        if (!state.Take(words))
            return false;
    }
    try {
        state.processor = std::make_unique<CZelProcessor>();
    } catch (const CUserException&) {
        return false; // told by a box
    }
    const auto remove = [&state](const CString&) {
        state.send({L"remove"});
        return state.inbox.WaitForRemoval();
    };
    state.runner = std::make_unique<CProcessorRunner>(*state.processor, remove, state.leftOut);
    state.runner->SetOnTask([&state](const CString& type) { state.send({L"task", type}); });
    state.processor->SetContext(&state.inbox);
    state.processor->SetTellReasons(state.tellReasons);
    if (!state.processor->SetOutputDir(state.outputDir))
        return false;
    state.send({L"ready", std::to_wstring(platform::CurrentProcessId())});
    return true;
}

void CZelTaskHost::Serve()
{
    MOXCrashRpt::PrepareLastWords();
    while (const std::optional<CTaskHostInbox::SRequest> request = m_pState->inbox.WaitForRequest()) {
        m_pState->SetLogLevel(request->logLevel);
        const CWQ_SetResource resource(kResourceModule);
        const MOXCrashRpt::CScopedSubject subject(request->path);
        const platform::CPrivateFiles files(platform::ToUtf8(request->owner));
        platform::SFaultRecord fault;
        platform::CFaultDeadline deadline(kReportTime);
        CSentProgress progress(m_pState->send);
        bool retry = false;
        const bool returned = platform::RunContained(
            [&] {
                try {
                    m_pState->runner->ProcessRequest(request->path, &progress, request->isForced, retry);
                } catch (...) {
                    platform::RecordCurrentException(fault);
                }
            },
            fault);
        if (!returned || fault.kind == platform::eFaultKind_Exception) {
            deadline.Start(fault);
            TellFault(fault);
            platform::EndProcess(kEndedByFault);
        }
        SendRefusal(m_pState->send);
        m_pState->send({L"end", retry ? L"1" : L"0", platform::HasLeftProcesses() ? L"1" : L"0",
                        m_pState->mostMemory != 0 && platform::MemoryInUse() > m_pState->mostMemory ? L"1" : L"0"});
    }
}

void CZelTaskHost::TellFault(const platform::SFaultRecord& fault)
{
    const platform::CPrivateFiles asUsual({}); // the crash report is the operator's
    SMOXCrashRecord record;
    record.size = sizeof record;
    record.exceptionPointers = &fault;
    const bool isWritten = m_pState->host.GenerateErrorReport(record) == 1;
    SendRefusal(m_pState->send);
    m_pState->send({L"fault", FaultText(fault), isWritten ? MOXCrashRpt::LastReportPath() : CString()});
}
