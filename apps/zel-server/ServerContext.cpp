#include "apps/zel-server/ServerContext.h"

CServerContext::CServerContext() = default;
CServerContext::~CServerContext() = default;

HRESULT CServerContext::GetHostService(REFIID, void** service)
{
    if (service == nullptr)
        return E_POINTER;
    *service = nullptr;
    return E_NOINTERFACE;
}

bool CServerContext::IsClosing()
{
    return m_bClosing;
}

void CServerContext::SetCanceled(bool canceled)
{
    m_bCanceled = canceled;
}

bool CServerContext::IsCanceled()
{
    return m_bCanceled || m_bCanceledForGood;
}

void CServerContext::SetClosing()
{
    m_bClosing = true;
}

void CServerContext::CancelForGood()
{
    m_bCanceledForGood = true;
}
