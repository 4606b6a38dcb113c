#include "ZEL_Processor/ZelProcessor.h"

#include "ZelProcessorFactories.h"
#include "com/Bstr.h"
#include "com/XmlScan.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <chrono>
#include <exception>

namespace {

constexpr long kLineNoContext = 68;
constexpr long kLineCantDeleteRequest = 166;

/// Another name of a file may be on its way into the queue, which keeps everybody off the file for an instant.
template <class Attempt>
bool TryBesideOtherNames(const CString& path, const Attempt& attempt)
{
    constexpr int kMoreTries = 20;
    for (int tries = 0; !attempt(); ++tries) {
        if (tries == kMoreTries || !platform::HasSeveralNames(path))
            return false;
        platform::Clock().SleepFor(std::chrono::milliseconds(1));
    }
    return true;
}

/// SourceNames::kZelProcessor as the log takes it.
constexpr const char* kLogSource = "Kernel/ZEL_Processor/ZEL_Processor/ZelProcessor";

void LogHostFailure(std::wstring_view what)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Error, ZEL_SOURCE_LOCATION,
                     std::wstring(L"The host's OnRequestDone threw an exception: ").append(what));
}

/// A response that its plug-in wrote in a way of its own has to be made private afterwards, where files are. One that
/// can't be is not left for everybody.
bool MakePrivate(const CString& path)
{
    const platform::FileOwner* const owner = platform::CPrivateFiles::Current();
    const platform::eOsError error =
        owner != nullptr ? platform::Files().MakePrivate(path, *owner) : platform::eOsError_None;
    if (platform::Succeeded(error) || platform::IsAbsent(error))
        return true;
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Error, ZEL_SOURCE_LOCATION,
                     L"The response " + path + L" cannot be made private: " + platform::OsErrorText(error));
    static_cast<void>(platform::Files().Remove(path));
    return false;
}

/// Why the look before the parser refused a document; empty when it did not, or found no XML.
CString WhyRefused(const CString& path)
{
    std::string bytes;
    SXmlError error;
    if (ReadXmlFile(path, XmlLimitsOfThread(), bytes, error))
        return {};
    const bool isRule = error.code == kXmlError_DocumentType || error.code >= kXmlError_Limit;
    return isRule ? platform::FromUtf8(error.reason) + L"." : CString();
}

/// The request is done when the host is told so, whatever the host makes of it.
void TellRequestDone(CZelProcessorEvent& event)
{
    try {
        event.OnRequestDone();
    } catch (const std::exception& exception) {
        LogHostFailure(platform::FromUtf8(exception.what()));
    } catch (...) {
        LogHostFailure(L"unknown exception");
    }
}

} // namespace

/// One run of ProcessRequest. What it holds is released from the last member to the first on every way out: a task may
/// use the request it was made from, and a response both.
struct CZelProcessor::SRun {
    const CString& requestPath;
    CZelProcessorProgress* progress;
    CComPtr<IWQ_ZELProcessorTask> task;
    CComPtr<IWQ_ZELProcessorRequest> request;
    CComPtr<IWQ_ZELProcessorResponse> response;
};

CZelProcessor::CZelProcessor() : m_pFactories(std::make_unique<CZelProcessorFactories>())
{
    if (!m_pFactories->LoadFactories()) {
        m_pFactories.reset();
        ThrowNoFactory();
    }
}

CZelProcessor::~CZelProcessor() = default;

bool CZelProcessor::SetOutputDir(const CString& dir)
{
    if (!platform::DirectoryExists(dir))
        return false;
    m_strOutputDir = dir;
    return true;
}

CString CZelProcessor::GetOutputFilePath(const CString& requestPath) const
{
    return platform::JoinPath(m_strOutputDir, platform::FileNameOf(requestPath));
}

CString CZelProcessor::GetOutputStatusFilePath(const CString& requestPath) const
{
    return GetOutputFilePath(requestPath) + Protocol::kStatusExtension;
}

void CZelProcessor::SetEvent(CZelProcessorEvent* event)
{
    m_pEvent = event;
}

void CZelProcessor::SetContext(CZelProcessorContext* context)
{
    m_pContext = context;
}

void CZelProcessor::SetManualProceedQueue(bool manual)
{
    const std::lock_guard lock(m_cs);
    m_bManualProceedQueue = manual;
}

bool CZelProcessor::IsManualProceedQueue() const
{
    const std::lock_guard lock(m_cs);
    return m_bManualProceedQueue;
}

void CZelProcessor::ProceedQueue(bool proceed)
{
    const std::lock_guard lock(m_cs);
    m_bProceedQueue = proceed;
}

bool CZelProcessor::CanProceedQueue() const
{
    const std::lock_guard lock(m_cs);
    return !m_bManualProceedQueue || m_bProceedQueue;
}

void CZelProcessor::SetStatus(CZelProcessorProgress* progress, eZelProcRequestStatus status, const CString& text)
{
    progress->SetStatusAndComment(status, text.c_str());
    platform::SSourceLocation location = ZEL_SOURCE_LOCATION;
    location.file = kLogSource; // as in reports, wherever this is built
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Debug, location, text);
}

CString CZelProcessor::CreateErrorXmlString(const CString& text) const
{
    constexpr std::size_t kMaxExcerpt = 2048;
    return text.substr(0, kMaxExcerpt);
}

bool CZelProcessor::ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce,
                                   bool& bRetry)
{
    m_bToldDone = false;
    const CWQ_SetResource resource(kResourceModule);
    bRetry = false;
    SRun run{requestPath, progress, {}, {}, {}};
    if (!ReadRequest(run) || !ObtainData(run, bForce, bRetry) || !WriteResponse(run))
        return false;
    DeleteRequestFile(requestPath);
    run.response.Reset();
    run.request.Reset();
    run.task.Reset();
    Report(run, StringCodes::kDone, eRequestStatus_Done);
    m_bToldDone = true;
    if (CZelProcessorEvent* const event = m_pEvent)
        TellRequestDone(*event);
    return true;
}

bool CZelProcessor::HasToldDone() const
{
    return m_bToldDone;
}

bool CZelProcessor::ReadRequest(SRun& run)
{
    if (!m_pContext) {
        WQ_ReportErrorNow(SourceNames::kZelProcessor, kLineNoContext, L"CZelProcessor::ProcessRequest",
                          L"m_pContext == NULL !");
        Report(run, StringCodes::kRequestCanceled, eRequestStatus_Canceled);
        return false;
    }
    if (IsCanceled(run))
        return false;
    Report(run, StringCodes::kReadingRequest, eRequestStatus_Parsing);
    const bool isKnown = TryBesideOtherNames(run.requestPath, [&] {
        run.request = m_pFactories->FindRequest(run.requestPath.c_str());
        return static_cast<bool>(run.request);
    });
    if (!isKnown)
        return FailUnknown(run);

    CBstr xml;
    if (!run.request->GetXml(xml.Put())) {
        CBstr errorText;
        static_cast<void>(run.request->GetErrorText(errorText.Put()));
        SetStatus(run.progress, eRequestStatus_ServerError, TextOf(StringCodes::kServerError).append(errorText.View()));
        return false;
    }
    if (IsCanceled(run))
        return false;
    Report(run, StringCodes::kGettingData, eRequestStatus_GettingData);
    if (!CreateAndInitTask(xml.Text(), run.task.Put()))
        return Fail(run, StringCodes::kCanNotInitializeTask);
    return !IsCanceled(run);
}

bool CZelProcessor::ObtainData(SRun& run, bool bForce, bool& bRetry)
{
    if (const auto readiness = run.task.QueryTo<IWQ_ZELProcessorTaskReadiness>();
        readiness && !readiness->CanProcess(m_pContext, bForce)) {
        bRetry = true;
        return false;
    }
    if (!run.task->ObtainData(m_pContext, run.progress))
        return Fail(run, StringCodes::kCanNotObtainData);
    return !IsCanceled(run);
}

bool CZelProcessor::WriteResponse(SRun& run)
{
    Report(run, StringCodes::kPreparingResponse, eRequestStatus_PreparingResponse);
    run.response = m_pFactories->FindResponse(run.request.Get());
    if (!run.response)
        return Fail(run, StringCodes::kCanNotInitializeResponse);
    if (!run.response->SetTask(run.task.Get()))
        return Fail(run, StringCodes::kCanNotSetResponse);
    const CString path = GetOutputFilePath(run.requestPath);
    if (!run.response->Save(path.c_str()) || !MakePrivate(path))
        return Fail(run, StringCodes::kCanNotSaveResponse);
    return true;
}

void CZelProcessor::DeleteRequestFile(const CString& requestPath)
{
    if (TryBesideOtherNames(requestPath, [&] { return platform::Succeeded(platform::Files().Remove(requestPath)); }))
        return;
    const CString text = FormatText(TextOf(StringCodes::kCantDeleteRequestFile), {requestPath});
    WQ_MessageBox(text, eMessageStyle_Warning);
    WQ_ReportErrorNow(SourceNames::kZelProcessor, kLineCantDeleteRequest, L"CZelProcessor::ProcessRequest", text);
}

bool CZelProcessor::IsCanceled(SRun& run)
{
    if (!m_pContext->IsCanceled())
        return false;
    Report(run, StringCodes::kRequestCanceled, eRequestStatus_Canceled);
    return true;
}

/// No factory knew the request. That it can't be read at all is the better answer.
bool CZelProcessor::FailUnknown(SRun& run)
{
    std::unique_ptr<platform::IFile> file;
    const platform::eOsError error = platform::Files().Open(run.requestPath, platform::eOpenMode_ReadShared, file);
    const CString reason =
        platform::Succeeded(error) ? WhyRefused(run.requestPath) : platform::OsErrorText(error) + L".";
    if (reason.empty())
        return Fail(run, StringCodes::kUnknownRequestFormat);
    SetStatus(run.progress, eRequestStatus_ServerError, TextOf(StringCodes::kServerError) + reason);
    return false;
}

bool CZelProcessor::Fail(SRun& run, const SStringCode& code)
{
    Report(run, code, eRequestStatus_ServerError);
    return false;
}

void CZelProcessor::Report(SRun& run, const SStringCode& code, eZelProcRequestStatus status)
{
    SetStatus(run.progress, status, TextOf(code));
}
