#pragma once

#include "apps/zel-server/ServerMessages.h"
#include "framework/DefaultHost.h"

/// The services of this program: the default ones, and whoever started it is told of crash reports. Installed for the
/// life of the object, which must be longer than that of the server.
class CServerHost final : public CWQ_DefaultHost {
public:
    explicit CServerHost(const CServerMessages& messages);
    ~CServerHost() override;

    int GenerateErrorReport(const SMOXCrashRecord& record) override;

private:
    const CServerMessages& m_messages;
    IWQ_Host* const m_pPrevious;
};
