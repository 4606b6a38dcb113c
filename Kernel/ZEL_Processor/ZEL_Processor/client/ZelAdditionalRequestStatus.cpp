#include "ZEL_Processor/ZelProcessorClient.h"

using CAdditionalRequestStatus = CZelProcessorClient::CAdditionalRequestStatus;

CAdditionalRequestStatus::CAdditionalRequestStatus() = default;

CAdditionalRequestStatus::CAdditionalRequestStatus(const CAdditionalRequestStatus& other)
{
    Copy(other);
    m_strProgressComment.clear();
}

CAdditionalRequestStatus& CAdditionalRequestStatus::operator=(const CAdditionalRequestStatus& other)
{
    Copy(other);
    return *this;
}

void CAdditionalRequestStatus::Copy(const CAdditionalRequestStatus& other)
{
    m_eStatus = other.m_eStatus;
    m_bHasProgress = other.m_bHasProgress;
    m_nProgress = other.m_nProgress;
    m_bHasTimes = other.m_bHasTimes;
    m_strProgressComment = other.m_strProgressComment;
    m_timeCreated = other.m_timeCreated;
    m_timeModified = other.m_timeModified;
}

void CAdditionalRequestStatus::Clear()
{
    *this = CAdditionalRequestStatus();
}

eZelProcRequestStatus CAdditionalRequestStatus::GetStatus() const
{
    return m_eStatus;
}

void CAdditionalRequestStatus::SetStatus(eZelProcRequestStatus status)
{
    m_eStatus = status;
}

int CAdditionalRequestStatus::GetProgress(long& progress) const
{
    progress = m_bHasProgress ? m_nProgress : -1;
    return m_bHasProgress ? 1 : 0;
}

void CAdditionalRequestStatus::SetProgress(long progress)
{
    m_nProgress = progress;
    m_bHasProgress = 1;
}

const CString& CAdditionalRequestStatus::GetProgressComment() const
{
    return m_strProgressComment;
}

void CAdditionalRequestStatus::SetProgressComment(const CString& comment)
{
    m_strProgressComment = comment;
}

int CAdditionalRequestStatus::GetTimeCreated(CTime& time) const
{
    time = m_bHasTimes ? m_timeCreated : CTime();
    return m_bHasTimes ? 1 : 0;
}

int CAdditionalRequestStatus::GetTileModifyed(CTime& time) const
{
    time = m_bHasTimes ? m_timeModified : CTime();
    return m_bHasTimes ? 1 : 0;
}

void CAdditionalRequestStatus::SetTimes(const CTime& created, const CTime& modified)
{
    m_timeCreated = created;
    m_timeModified = modified;
    m_bHasTimes = 1;
}

std::int64_t CAdditionalRequestStatus::GetSnapshotHash() const
{
    return m_bHasTimes ? m_timeModified.GetTime() : 0;
}
