#pragma once

#include "framework/DefaultHost.h"

/// The host services of a tool: what the library has to say goes to standard error as a plain line of the program, for
/// a person at a terminal has no use for a log.
class CToolHost : public CWQ_DefaultHost {
public:
    CToolHost();
    virtual ~CToolHost();

    void ReportError(const SWQ_ErrorReport& report) override;
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override;

    /// Keeps the library silent while a step is tried whose failure is told in other words. One thread at a time.
    void SetMuted(bool muted) { m_bMuted = muted; }

private:
    void Tell(const std::wstring& text) const;

    IWQ_Host* m_pPrevious;
    bool m_bMuted = false;
};

/// The library is silent while an object of this class lives.
class CMutedHost {
public:
    explicit CMutedHost(CToolHost& host) : m_host(host) { m_host.SetMuted(true); }
    ~CMutedHost() { m_host.SetMuted(false); }
    CMutedHost(const CMutedHost&) = delete;
    CMutedHost& operator=(const CMutedHost&) = delete;

private:
    CToolHost& m_host;
};
