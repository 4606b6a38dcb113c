#include "ZEL_Processor/ZelProcessorClient.h"

#include "ClientState.h"

#include <utility>

CZelProcessorClient::CZelProcessorClient() : m_pState(std::make_unique<SState>()) {}

CZelProcessorClient::~CZelProcessorClient() = default;

void CZelProcessorClient::Init(CString requestDirectory, CString outputDirectory, CString clientDirectory)
{
    m_pState->Init(requestDirectory, outputDirectory, std::move(clientDirectory));
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

void CZelProcessorClient::SetPresence(bool keep)
{
    m_pState->m_bPresence = keep;
}

void CZelProcessorClient::SetCheckedWatch(bool checked, std::chrono::milliseconds poll)
{
    m_pState->SetCheckedWatch(checked, poll);
}

void CZelProcessorClient::SetRegistersAgain(bool again)
{
    m_pState->m_bRegistersAgain = again;
}

void CZelProcessorClient::SetWithdrawsCommands(bool withdraws)
{
    m_pState->m_bWithdraws = withdraws;
}

void CZelProcessorClient::SetYields(bool yields)
{
    m_pState->m_bYields = yields;
}

bool CZelProcessorClient::IsCommandWithdrawn() const
{
    return m_pState->m_bWithdrawn;
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

eZelProcRequestStatus CZelProcessorClient::ForgetRequest(const CString& requestPath)
{
    return m_pState->ForgetRequest(requestPath);
}

eZelProcRequestStatus CZelProcessorClient::CancelRequest(const CString& requestPath)
{
    return m_pState->CancelRequest(requestPath);
}

eZelProcRequestStatus CZelProcessorClient::PauseRequest(const CString& requestPath)
{
    return m_pState->PauseRequest(requestPath);
}

eZelProcRequestStatus CZelProcessorClient::HoldQueue()
{
    return m_pState->HoldQueue();
}

eZelProcRequestStatus CZelProcessorClient::ReleaseQueue()
{
    return m_pState->ReleaseQueue();
}

eZelProcRequestStatus CZelProcessorClient::MoveRequest(const CString& requestPath, eRequestPlace place,
                                                       const CString& otherPath)
{
    return m_pState->MoveRequest(requestPath, place, otherPath);
}

eZelProcRequestStatus CZelProcessorClient::DrainServer()
{
    return m_pState->DrainServer();
}

eZelProcRequestStatus CZelProcessorClient::RetryFailed(const CString& requestPath)
{
    return m_pState->RetryFailed(requestPath);
}

eZelProcRequestStatus CZelProcessorClient::DiscardFailed(const CString& requestPath)
{
    return m_pState->DiscardFailed(requestPath);
}

SZelServerInfo CZelProcessorClient::GetServerInfo() const
{
    return m_pState->GetServerInfo();
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
    return m_pState->m_watcher.IsChanged();
}

void CZelProcessorClient::ResetOutputDirChange()
{
    m_pState->m_watcher.Reset();
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

CString CZelProcessorClient::GetLastErrorText() const
{
    return m_pState->LastErrorText();
}

CString CZelProcessorClient::GetDsEventsFileFullPath() const
{
    return m_pState->m_paths.DsEvents(m_pState->m_clientID);
}

CString CZelProcessorClient::GetInsertableItemsChangeFile() const
{
    return m_pState->m_paths.InsertableItems(m_pState->m_clientID);
}

CString CZelProcessorClient::GetLockResultsChangeFile() const
{
    return m_pState->m_paths.LockResults(m_pState->m_clientID);
}
