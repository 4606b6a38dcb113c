#include "ZEL_Processor/ZelProcessorClient.h"

#include "ClientState.h"

#include <utility>

CZelProcessorClient::CZelProcessorClient() : m_pState(std::make_unique<SState>()) {}

CZelProcessorClient::~CZelProcessorClient() = default;

void CZelProcessorClient::Init(CString requestDirectory, CString outputDirectory, CString clientDirectory)
{
    m_pState->Init(std::move(requestDirectory), std::move(outputDirectory), std::move(clientDirectory));
}

void CZelProcessorClient::SetSyncing(bool syncing)
{
    m_pState->SetSyncing(syncing);
}

void CZelProcessorClient::SetAllowReading(bool allow)
{
    m_pState->SetAllowReading(allow);
}

void CZelProcessorClient::SetGoOn(std::function<bool()> goOn)
{
    m_pState->SetGoOn(std::move(goOn));
}

void CZelProcessorClient::SetCommandTimeout(std::chrono::milliseconds timeout)
{
    m_pState->SetCommandTimeout(timeout);
}

eZelProcRequestStatus CZelProcessorClient::SendRequest(const CString& requestPath)
{
    return m_pState->SendRequest(requestPath);
}

eZelProcRequestStatus CZelProcessorClient::GetStatus(const CString& requestPath, CAdditionalRequestStatus* additional)
{
    return m_pState->GetStatus(requestPath, additional);
}

bool CZelProcessorClient::IsStatusFileChanged(const CString& requestPath, std::int64_t snapshotHash)
{
    return m_pState->IsStatusFileChanged(requestPath, snapshotHash);
}

bool CZelProcessorClient::ReceiveOutput(const CString& requestPath, const CString& targetPath)
{
    return m_pState->ReceiveOutput(requestPath, targetPath);
}

eZelProcRequestStatus CZelProcessorClient::CancelRequest(const CString& requestPath)
{
    return m_pState->CancelRequest(requestPath);
}

eZelProcRequestStatus CZelProcessorClient::PauseRequest(const CString& requestPath)
{
    return m_pState->PauseRequest(requestPath);
}

bool CZelProcessorClient::ListenDsEvents()
{
    return m_pState->ListenDsEvents();
}

bool CZelProcessorClient::StopListeningDsEvents()
{
    return m_pState->StopListeningDsEvents();
}

bool CZelProcessorClient::IsOutputDirChange() const
{
    return m_pState->IsOutputDirChange();
}

void CZelProcessorClient::ResetOutputDirChange()
{
    m_pState->ResetOutputDirChange();
}

bool CZelProcessorClient::IsNewDsEvent() const
{
    return m_pState->IsNewDsEvent();
}

bool CZelProcessorClient::IsInsertableItemsUpdated() const
{
    return m_pState->IsInsertableItemsUpdated();
}

bool CZelProcessorClient::IsLockResultsChanged() const
{
    return m_pState->IsLockResultsChanged();
}

bool CZelProcessorClient::GetDsEvents(std::vector<CComPtr<IWQ_DsEventsData>>& events)
{
    return m_pState->GetDsEvents(events);
}

bool CZelProcessorClient::GetChangedInsertableItemsGroups(IWQ_CLSIDArray** groups)
{
    return m_pState->GetChangedInsertableItemsGroups(groups);
}

bool CZelProcessorClient::ResetLockResultsChanged()
{
    return m_pState->ResetLockResultsChanged();
}

CString CZelProcessorClient::GetDsEventsFileFullPath() const
{
    return m_pState->GetDsEventsFileFullPath();
}

CString CZelProcessorClient::GetInsertableItemsChangeFile() const
{
    return m_pState->GetInsertableItemsChangeFile();
}

CString CZelProcessorClient::GetLockResultsChangeFile() const
{
    return m_pState->GetLockResultsChangeFile();
}
