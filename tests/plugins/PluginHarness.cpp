#include "tests/plugins/PluginHarness.h"

#include "com/Bstr.h"
#include "com/Components.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Path.h"

#include <ZEL_Processor/XMLTools.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace plugintest {

CComponents::CComponents()
{
    EXPECT_GE(CoInitializeZEL(nullptr), 0);
    const std::wstring bin = platform::DirectoryOf(platform::ProgramPath());
    AddComponentFolder(platform::JoinPath(bin, L"plugins"), m_errors);
    AddComponentFolder(platform::JoinPath(bin, L"test-plugins"), m_errors);
}

CComponents::~CComponents()
{
    CoUninitializeZEL();
}

CComPtr<IWQ_ZELProcessorFactory> CComponents::MakeFactory(REFCLSID classId) const
{
    CComPtr<IWQ_ZELProcessorFactory> factory;
    const HRESULT result = CoCreateInstanceZEL(classId, nullptr, CLSCTX_INPROC_SERVER,
                                               ComIid<IWQ_ZELProcessorFactory>(), factory.PutVoid());
    EXPECT_EQ(result, S_OK);
    for (const std::wstring& line : m_errors)
        EXPECT_EQ(line, L"");
    return factory;
}

void CRecordingProgress::Record(std::wstring report)
{
    m_reports.push_back(report);
    if (m_hook)
        m_hook(report);
}

void CRecordingProgress::SetRange(std::uint64_t low, std::uint64_t high)
{
    m_nPosition = 0;
    Record(L"range " + std::to_wstring(low) + L" " + std::to_wstring(high));
}

void CRecordingProgress::SetPos(std::uint64_t position)
{
    m_nPosition = position;
    Record(L"pos " + std::to_wstring(position));
}

void CRecordingProgress::SetComment(const wchar_t* comment)
{
    Record(std::wstring(L"comment ") + (comment == nullptr ? L"" : comment));
}

void CRecordingProgress::SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment)
{
    Record(L"status " + std::to_wstring(status) + L" " + (comment == nullptr ? L"" : comment));
}

std::size_t CRecordingProgress::CountOf(const std::wstring& beginning) const
{
    return static_cast<std::size_t>(std::count_if(
        m_reports.begin(), m_reports.end(), [&](const std::wstring& report) { return report.starts_with(beginning); }));
}

std::wstring CRecordingProgress::LastComment() const
{
    const auto found = std::find_if(m_reports.rbegin(), m_reports.rend(),
                                    [](const std::wstring& report) { return report.starts_with(L"comment "); });
    return found == m_reports.rend() ? std::wstring() : found->substr(8);
}

SOutcome CRequestRun::Run(const std::string& requestText)
{
    SOutcome outcome;
    const std::wstring path = m_folder / (testsupport::UniqueText() + L".drq");
    const std::wstring responsePath = m_folder / (testsupport::UniqueText() + L".xml");
    EXPECT_EQ(platform::WriteWholeFile(path, requestText), platform::eOsError_None);
    outcome.stage = Work(path, responsePath, outcome);
    outcome.leftFile = platform::PathExists(responsePath);
    if (outcome.leftFile) {
        EXPECT_EQ(platform::ReadWholeFile(responsePath, platform::eOpenMode_ReadShared, outcome.response,
                                          std::size_t{1} << 30),
                  platform::eOsError_None);
    }
    return outcome;
}

eStage CRequestRun::RunFile(const std::wstring& path, const std::wstring& responsePath)
{
    SOutcome outcome;
    return Work(path, responsePath, outcome);
}

eStage CRequestRun::Work(const std::wstring& path, const std::wstring& responsePath, SOutcome& outcome)
{
    CComPtr<IWQ_ZELProcessorRequest> request;
    if (!m_factory.CreateRequest(path.c_str(), request.Put()))
        return eStage_NotTaken;
    CBstr xml;
    if (!request->GetXml(xml.Put())) {
        CBstr error;
        EXPECT_TRUE(request->GetErrorText(error.Put()));
        outcome.error = error.Text();
        return eStage_NoXml;
    }
    CComPtr<IWQ_ZELProcessorTask> task;
    const eStage stage = MakeTask(xml.Get(), task);
    if (stage != eStage_Done)
        return stage;
    const auto readiness = task.QueryTo<IWQ_ZELProcessorTaskReadiness>();
    if (readiness && !readiness->CanProcess(&context, force))
        return eStage_NotReady;
    if (!task->ObtainData(&context, &progress))
        return eStage_NotObtained;
    if (context.IsCanceled())
        return eStage_Canceled;
    CComPtr<IWQ_ZELProcessorResponse> response;
    if (!m_factory.CreateResponse(request.Get(), response.Put()))
        return eStage_NoResponse;
    if (!response->SetTask(task.Get()))
        return eStage_NotSet;
    return response->Save(responsePath.c_str()) ? eStage_Done : eStage_NotSaved;
}

eStage CRequestRun::MakeTask(BSTR xml, CComPtr<IWQ_ZELProcessorTask>& task)
{
    CComPtr<IXMLDOMDocument> document;
    std::wstring error;
    EXPECT_TRUE(CXMLTools::CreateXmlDomFromString(xml, document.Put(), error)) << "GetXml gave what is no XML";
    CComPtr<IXMLDOMNode> element;
    EXPECT_TRUE(CXMLTools::GetNodeByName(document.Get(), L"Task", element.Put()));
    std::wstring type;
    if (!element || !CXMLTools::GetAttributeValue(element.Get(), L"Type", type) ||
        !m_factory.CreateTask(type.c_str(), task.Put()) || !task)
        return eStage_NoTask;
    return task->Init(element.Get()) ? eStage_Done : eStage_NotInited;
}

std::string ElementOf(const std::string& xml, const std::string& name, std::size_t from)
{
    std::size_t start = xml.find("<" + name + ">", from);
    const std::size_t withAttributes = xml.find("<" + name + " ", from);
    start = std::min(start, withAttributes);
    if (start == std::string::npos)
        return {};
    start = xml.find('>', start) + 1;
    return xml.substr(start, xml.find("</" + name + ">", start) - start);
}

} // namespace plugintest
