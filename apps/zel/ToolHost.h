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

    /// Keeps the library silent while a step is tried that may fail and has another way. One thread at a time.
    void SetMuted(bool muted) { m_bMuted = muted; }

private:
    void Tell(const std::wstring& text) const;

    IWQ_Host* m_pPrevious;
    bool m_bMuted = false;
};
