#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/zel/StagingFolder.h"
#include "apps/zel/ToolSession.h"
#include "com/ComThread.h"

#include <memory>

/// A client that can send commands and make requests: on a thread with COM, and with a folder of its own for the files
/// of the way, so that a user need not name a client directory.
class CCommandClient {
public:
    explicit CCommandClient(CToolSession& session);
    /// Unregisters a client that listens, as End does.
    ~CCommandClient();
    CCommandClient(const CCommandClient&) = delete;
    CCommandClient& operator=(const CCommandClient&) = delete;

    /// False with the reason. Before anything else.
    [[nodiscard]] bool Open(std::wstring& error);
    [[nodiscard]] CZelProcessorClient& Client() { return *m_pClient; }
    [[nodiscard]] const CStagingFolder& Folder() const { return m_folder; }
    /// Ends the client; one that listens is unregistered, for which the server has the time of a command.
    void End() { m_pClient.reset(); }

private:
    const CComThread m_com;
    CStagingFolder m_folder;
    std::unique_ptr<CZelProcessorClient> m_pClient;
};
