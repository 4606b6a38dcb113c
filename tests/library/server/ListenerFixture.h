#pragma once

#include "com/ZelCom.h"
#include "protocol/CommandFile.h"
#include "server/ClientRegistry.h"
#include "server/RequestStatuses.h"
#include "tests/library/server/RunFixture.h"

/// What the parts of a server are made of that work on its listener's thread, which is the test's here.
class CListenerFixture : public CRunFixture {
protected:
    CListenerFixture()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~CListenerFixture() override
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    [[nodiscard]] std::wstring Sent(const std::wstring& name) const { return In(m_requestDir, name); }
    void Send(const std::wstring& name) const { Write(Sent(name)); }
    void SendCommand(const std::wstring& name, eCommandType type, const std::wstring& subject) const
    {
        HRESULT result = S_OK;
        ASSERT_TRUE(CommandFile::Write(Sent(name), type, subject, result));
    }
    [[nodiscard]] bool IsWaiting(const std::wstring& name) const { return m_requests.IsRequestInQueue(Queued(name)); }
    [[nodiscard]] bool IsPaused(const std::wstring& name) const { return m_requests.IsRequestPaused(Queued(name)); }
    [[nodiscard]] bool HasStatus(const std::wstring& name) const
    {
        return platform::PathExists(m_settings.m_paths.Status(name));
    }

    CRequestStatuses m_statuses{m_settings, m_requests};
    CClientRegistry m_registry{m_settings.m_paths, m_bRunning};
    std::atomic<std::uint32_t> m_nTurns = 0;
};
