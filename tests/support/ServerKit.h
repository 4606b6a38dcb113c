#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "client/ClientState.h"
#include "com/ZelCom.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Thread.h"
#include "server/ServerState.h"
#include "tests/support/Directories.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/RequestDoubles.h"
#include "tests/support/ScriptedPlugin.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

/// Reaches what a server keeps to itself.
struct SServerTestAccess {
    static CServerState& StateOf(CZelProcessorServer& server) { return *server.m_pState; }
};

/// What tests ask of the parts of a server.
struct SServerParts {
    CServerState& server;

    bool AddRequestToQueue(const std::wstring& path) { return server.m_listener.Taker().AddRequestToQueue(path); }
    bool RemoveRequestFromQueue(const std::wstring& name)
    {
        return server.m_listener.Commands().RemoveRequestFromQueue(name);
    }
    CRequestQueue& Requests() { return server.m_requests; }
    [[nodiscard]] bool IsRequestInQueue(const std::wstring& name) const
    {
        return server.m_requests.IsRequestInQueue(server.m_settings.m_paths.InQueue(name));
    }
    [[nodiscard]] bool IsRequestPaused(const std::wstring& name) const
    {
        return server.m_requests.IsRequestPaused(server.m_settings.m_paths.InQueue(name));
    }
    /// Of what waits, sorted.
    [[nodiscard]] std::vector<std::wstring> QueuedNames() const
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_TRUE(platform::Succeeded(platform::Files().List(server.m_settings.m_paths.m_strQueueDir, entries)));
        std::vector<std::wstring> names;
        for (const platform::SDirectoryEntry& entry : entries) {
            if (IsRequestInQueue(entry.name))
                names.push_back(entry.name);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    bool RegisterNewClient(const std::wstring& requestId)
    {
        return server.m_listener.Commands().RegisterNewClient(requestId, {});
    }
    bool UnregisterClient(const GUID& clientId) { return server.m_registry.UnregisterClient(clientId); }
    std::vector<GUID> Clients() { return server.m_registry.All(); }
    std::size_t PendingEvents() { return server.m_notifier.CountWaitingEvents(); }
    std::size_t PendingGroups() { return server.m_notifier.CountWaitingGroups(); }
    [[nodiscard]] bool HasThreads() const { return server.m_pMHThread || server.HasExecutiveThread(); }
    [[nodiscard]] bool HasExecutiveThread() const { return server.HasExecutiveThread(); }
    [[nodiscard]] bool IsRunning() const { return server.m_bRunning; }
    /// Whether the listener has come so far that it accepts, unless it is stopped.
    [[nodiscard]] bool IsListening() const { return server.m_listener.IsListening(); }
};

/// Reaches what a client keeps to itself.
struct SClientTestAccess {
    CZelProcessorClient& facade;
    CClientState& client = *facade.m_pState;

    [[nodiscard]] std::wstring InRequestDir(const std::wstring& path) const
    {
        return client.m_paths.InRequestDir(path);
    }
    [[nodiscard]] std::wstring InQueue(const std::wstring& path) const { return client.m_paths.InQueue(path); }
    [[nodiscard]] std::wstring Output(const std::wstring& path) const { return client.m_paths.Output(path); }
    [[nodiscard]] std::wstring CreateCommandFile(eCommandType type, const std::wstring& path) const
    {
        return client.CreateCommandFile(type, path);
    }
    [[nodiscard]] GUID Id() const { return client.m_clientID; }
    [[nodiscard]] bool HasWatchThread() const { return client.m_watcher.HasThread(); }
};

/// A server in this process with scripted plug-ins, and a client for it.
class CServerFixture : public testing::Test, public CDirectories {
protected:
    static constexpr std::chrono::seconds kPatience{20};

    CServerFixture()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~CServerFixture() override
    {
        m_pServer.reset();
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    void SetUp() override
    {
        MakeDirectories();
        m_client.Init(m_requestDir, m_outputDir, m_clientDir);
        m_client.SetSyncing(false);
        Make();
    }

    void Make(const SZelServerOptions& options = {.syncing = false})
    {
        m_pServer = std::make_unique<CZelProcessorServer>();
        m_pServer->SetOptions(options);
        m_pServer->SetZelProcessorContext(&m_context);
        ASSERT_TRUE(m_pServer->SetDirs(m_requestDir, m_outputDir));
    }
    void Run() { ASSERT_TRUE(m_pServer->Run()); }

    [[nodiscard]] SServerParts Access() const { return {SServerTestAccess::StateOf(*m_pServer)}; }
    /// Hands a request of this name over.
    void Send(const std::wstring& name, const std::string& bytes = "<Request/>")
    {
        const std::wstring path = In(m_clientDir, name);
        Write(path, bytes);
        ASSERT_EQ(m_client.SendRequest(path), eRequestStatus_Sent);
    }
    /// The status with which a request ends.
    eZelProcRequestStatus WaitForEnd(const std::wstring& name)
    {
        if (!m_pWatch)
            m_pWatch = std::make_unique<CZelRequestWatch>(m_client, m_outputDir);
        return m_pWatch->WaitForEnd(name, kPatience, &m_additional);
    }
    eZelProcRequestStatus SendAndWait(const std::wstring& name)
    {
        Send(name);
        return WaitForEnd(name);
    }
    /// For what no notification tells. False when it does not come true in time.
    template <class Condition>
    [[nodiscard]] static bool WaitUntil(const Condition& condition)
    {
        return testsupport::WaitUntil(condition, kPatience);
    }

    /// For tests that install them: every thread that may have met them has ended when they go.
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;

    CRecordingHost m_host;
    SPluginScript m_script;
    CScriptedPlugin m_plugin{m_script};
    CTestContext m_context;
    CZelProcessorClient m_client;
    CZelProcessorClient::CAdditionalRequestStatus m_additional;
    std::unique_ptr<CZelRequestWatch> m_pWatch; ///< one for all requests: to end one takes Linux some 20 ms
    std::unique_ptr<CZelProcessorServer> m_pServer;
};
