#include "ZEL_Processor/ZelProcessorServer.h"

#include "PublishedInfo.h"
#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"

CZelProcessorServer::CZelProcessorServer() : m_pState(std::make_unique<SState>()) {}

CZelProcessorServer::~CZelProcessorServer() = default;

void CZelProcessorServer::SetOptions(const SZelServerOptions& options)
{
    m_pState->m_settings.m_options = options;
}

bool CZelProcessorServer::SetDirs(const CString& requestDir, const CString& outputDir)
{
    return m_pState->SetDirs(requestDir, outputDir);
}

void CZelProcessorServer::SetZelProcessorEvent(CZelProcessorEvent* event)
{
    m_pState->m_settings.m_pEvent = event;
}

CZelProcessorEvent* CZelProcessorServer::GetZelProcessorEvent() const
{
    return m_pState->m_settings.m_pEvent;
}

void CZelProcessorServer::SetZelProcessorContext(CZelProcessorContext* context)
{
    m_pState->SetContext(context);
}

CZelProcessorContext* CZelProcessorServer::GetZelProcessorContext() const
{
    return m_pState->m_settings.m_pContext;
}

void CZelProcessorServer::SetNoExecutiveThread(bool noExecutiveThread)
{
    m_pState->m_settings.m_bNoExecutiveThread = noExecutiveThread;
}

void CZelProcessorServer::SetPalette(IWQ_Palette* palette)
{
    m_pState->m_pPalette = CComPtr<IWQ_Palette>(palette);
}

void CZelProcessorServer::SetProject(IWQ_Project* project)
{
    m_pState->m_pProject = CComPtr<IWQ_Project>(project);
}

bool CZelProcessorServer::Run()
{
    return m_pState->Run();
}

void CZelProcessorServer::Stop(bool bWait)
{
    m_pState->Stop(bWait);
}

bool CZelProcessorServer::HasFailed() const
{
    return m_pState->m_bFailed;
}

bool CZelProcessorServer::PublishInfo(const SZelServerInfo& info)
{
    return PublishServerInfo(m_pState->m_settings, info);
}

bool CZelProcessorServer::MakesProgress()
{
    return m_pState->MakesProgress();
}

bool CZelProcessorServer::GetFigures(SZelServerFigures& figures) const
{
    return m_pState->GetFigures(figures);
}

void CZelProcessorServer::SetManualProceedQueue(bool manual)
{
    if (CZelProcessor* const processor = m_pState->Stepping())
        processor->SetManualProceedQueue(manual);
}

void CZelProcessorServer::ProceedQueue()
{
    if (CZelProcessor* const processor = m_pState->Stepping())
        processor->ProceedQueue(true);
}

bool CZelProcessorServer::CanProceedQueue() const
{
    const CZelProcessor* const processor = m_pState->Stepping();
    return processor && processor->CanProceedQueue();
}

void CZelProcessorServer::OnChangedDs(IWQ_DsEventsData* events)
{
    m_pState->OnChangedDs(events);
}

void CZelProcessorServer::OnChangedLockResults()
{
    m_pState->m_notifier.TellLockResults();
}

CString CZelProcessorServer::GetFileInQueueFullPath(const CString& path) const
{
    return m_pState->m_settings.m_paths.InQueue(path);
}

CString CZelProcessorServer::GetFileInRequestDirFullPath(const CString& path) const
{
    return m_pState->m_settings.m_paths.InRequestDir(path);
}

CString CZelProcessorServer::GetDsEventsFileFullPath(const GUID& clientId) const
{
    return m_pState->m_settings.m_paths.DsEvents(clientId);
}

CString CZelProcessorServer::GetInsertableItemsChangeFile(const GUID& clientId) const
{
    return m_pState->m_settings.m_paths.InsertableItems(clientId);
}

CString CZelProcessorServer::GetLockResultsChangeFile(const GUID& clientId) const
{
    return m_pState->m_settings.m_paths.LockResults(clientId);
}
