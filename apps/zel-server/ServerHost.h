#pragma once

#include "apps/zel-server/ServerMessages.h"
#include "framework/DefaultHost.h"
#include "platform/Fault.h"

#include <chrono>

/// The services of this program: the default ones, and whoever started it is told of crash reports. Installed for the
/// life of the object, which must be longer than that of the server.
class CServerHost final : public CWQ_DefaultHost {
public:
    CServerHost(const CServerMessages& messages, const SServerOptions& options);
    ~CServerHost() override;

    /// Functions are named with the places of the source: to whoever debugs, and when the server is strict.
    void ReportError(const SWQ_ErrorReport& report) override;
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override;
    /// Whoever reads the log of a server has no buttons: the question is of the level "debug", unless the server is
    /// strict.
    int AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags) override;
    /// How long the report of what ends the server may take.
    static constexpr std::chrono::seconds kReportTime{30};
    /// A plug-in ends the server: writes the crash report, and says so.
    void TellEnd(const platform::SFaultRecord& fault);

    int GenerateErrorReport(const SMOXCrashRecord& record) override;

private:
    const CServerMessages& m_messages;
    const bool m_bTellsQuestions;
    IWQ_Host* const m_pPrevious;
};
