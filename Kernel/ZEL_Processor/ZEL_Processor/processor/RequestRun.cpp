#include "RequestRun.h"

#include "ZelProcessorFactories.h"
#include "com/Bstr.h"
#include "com/XmlScan.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"
#include "protocol/HandOver.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <chrono>

namespace {

/// Who moves another name may be left without a processor for some time slices, and the sender of such files costs
/// others no more by it than by a task of a quarter of a second.
constexpr std::chrono::milliseconds kPatienceBesideOtherNames{250};

/// Another name of a file may be on its way into the queue, which keeps everybody off the file for an instant.
template <class Attempt>
bool TryBesideOtherNames(const CString& path, const Attempt& attempt)
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kPatienceBesideOtherNames;
    while (!attempt()) {
        if (platform::Clock().Steady() >= end || !platform::HasSeveralNames(path))
            return false;
        platform::Clock().SleepFor(std::chrono::milliseconds(1));
    }
    return true;
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

} // namespace

bool CRequestRun::Run(bool bForce, bool& bRetry)
{
    if (!ReadRequest(bRetry) || !ObtainData(bForce, bRetry) || !WriteResponse())
        return false;
    DeleteRequestFile();
    m_response.Reset();
    m_request.Reset();
    m_task.Reset();
    Report(StringCodes::kDone, eRequestStatus_Done);
    return true;
}

bool CRequestRun::ReadRequest(bool& bRetry)
{
    if (!m_pContext) {
        WQ_ReportErrorNow(SourceNames::kZelProcessor, ReportLines::kNoContext, L"CZelProcessor::ProcessRequest",
                          L"m_pContext == NULL !");
        Report(StringCodes::kRequestCanceled, eRequestStatus_Canceled);
        return false;
    }
    if (IsCanceled())
        return false;
    Report(StringCodes::kReadingRequest, eRequestStatus_Parsing);
    const bool isKnown = TryBesideOtherNames(m_requestPath, [&] {
        m_request = m_factories.FindRequest(m_requestPath.c_str());
        return static_cast<bool>(m_request);
    });
    if (!isKnown)
        return m_factories.HasGivenUp() ? GiveUp(bRetry) : FailUnknown();

    CBstr xml;
    if (!m_request->GetXml(xml.Put())) {
        CBstr errorText;
        static_cast<void>(m_request->GetErrorText(errorText.Put()));
        CZelProcessor::SetStatus(m_progress, eRequestStatus_ServerError,
                                 TextOf(StringCodes::kServerError).append(errorText.View()));
        return false;
    }
    if (IsCanceled())
        return false;
    Report(StringCodes::kGettingData, eRequestStatus_GettingData);
    if (!m_processor.CreateAndInitTask(xml.Text(), m_task.Put()))
        return m_factories.HasGivenUp() ? GiveUp(bRetry)
                                        : Fail(StringCodes::kCanNotInitializeTask, m_reasons.taskError);
    return !IsCanceled();
}

bool CRequestRun::ObtainData(bool bForce, bool& bRetry)
{
    if (const auto readiness = m_task.QueryTo<IWQ_ZELProcessorTaskReadiness>();
        readiness && !readiness->CanProcess(m_pContext, bForce)) {
        bRetry = true;
        return false;
    }
    if (!m_task->ObtainData(m_pContext, m_progress))
        return Fail(StringCodes::kCanNotObtainData, m_reasons.isWanted ? OwnErrorText(*m_task.Get()) : CString());
    return !IsCanceled();
}

bool CRequestRun::WriteResponse()
{
    Report(StringCodes::kPreparingResponse, eRequestStatus_PreparingResponse);
    m_response = m_factories.FindResponse(m_request.Get(), [this] { return !m_pContext->IsCanceled(); });
    if (!m_response)
        return Fail(StringCodes::kCanNotInitializeResponse);
    if (!m_response->SetTask(m_task.Get()))
        return Fail(StringCodes::kCanNotSetResponse);
    const CString path = m_processor.GetOutputFilePath(m_requestPath);
    if (!m_response->Save(path.c_str()))
        return FailToSave();
    return MakePrivate(path) || Fail(StringCodes::kCanNotSaveResponse);
}

void CRequestRun::DeleteRequestFile()
{
    const auto remove = [&] {
        return platform::Succeeded(m_removeRequest ? m_removeRequest(m_requestPath)
                                                   : platform::Files().Remove(m_requestPath));
    };
    if (TryBesideOtherNames(m_requestPath, remove)) // a file that stays would keep its name from being used again
        return;
    const CString text = FormatText(TextOf(StringCodes::kCantDeleteRequestFile), {m_requestPath});
    WQ_MessageBox(text, eMessageStyle_Warning);
    WQ_ReportErrorNow(SourceNames::kZelProcessor, ReportLines::kCantDeleteRequest, L"CZelProcessor::ProcessRequest",
                      text);
}

/// Somebody cancelled it while it waited for a plug-in, or the server ends: then the next one runs it.
bool CRequestRun::GiveUp(bool& bRetry)
{
    bRetry = !IsCanceled();
    return false;
}

bool CRequestRun::IsCanceled()
{
    if (!m_pContext->IsCanceled())
        return false;
    Report(StringCodes::kRequestCanceled, eRequestStatus_Canceled);
    return true;
}

/// No factory knew the request. That it can't be read at all is the better answer.
bool CRequestRun::FailUnknown()
{
    std::unique_ptr<platform::IFile> file;
    const platform::eOsError error = platform::Files().Open(m_requestPath, platform::eOpenMode_ReadShared, file);
    CString reason = platform::Succeeded(error) ? WhyRefused(m_requestPath) : platform::OsErrorText(error) + L".";
    file.reset();
    if (reason.empty() && m_reasons.isWanted)
        reason = WhyNotTaken(m_requestPath, m_factories, m_reasons.leftOut);
    return Fail(StringCodes::kUnknownRequestFormat, reason);
}

/// What to look at, and behind it what the response found.
bool CRequestRun::FailToSave()
{
    CString text = TextOf(StringCodes::kCanNotSaveResponse);
    if (const CString words = m_reasons.isWanted ? OwnErrorText(*m_response.Get()) : CString(); !words.empty())
        text += L" " + words;
    CZelProcessor::SetStatus(m_progress, eRequestStatus_ServerError, text);
    return false;
}

bool CRequestRun::Fail(const SStringCode& code)
{
    Report(code, eRequestStatus_ServerError);
    return false;
}

bool CRequestRun::Fail(const SStringCode& code, const CString& reason)
{
    if (reason.empty())
        return Fail(code);
    CZelProcessor::SetStatus(m_progress, eRequestStatus_ServerError, TextOf(StringCodes::kServerError) + reason);
    return false;
}

void CRequestRun::Report(const SStringCode& code, eZelProcRequestStatus status)
{
    CZelProcessor::SetStatus(m_progress, status, TextOf(code));
}
