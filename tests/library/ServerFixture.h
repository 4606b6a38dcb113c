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
#include "tests/library/RecordingProgress.h"
#include "tests/library/ScriptedPlugin.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <thread>

/// Reaches what a server keeps to itself.
struct SServerTestAccess {
    CZelProcessorServer& facade;
    CServerState& server = *facade.m_pState;

    bool AddRequestToQueue(const std::wstring& path) { return server.AddRequestToQueue(path); }
    bool RemoveRequestFromQueue(const std::wstring& name) { return server.RemoveRequestFromQueue(name); }
    /// For a thread that does not hold the lock itself.
    bool IsQueueLocked()
    {
        const std::unique_lock lock(server.m_cs, std::try_to_lock);
        return !lock.owns_lock();
    }
    bool IsRequestInQueue(const std::wstring& name)
    {
        const std::lock_guard lock(server.m_cs);
        return server.IsRequestInQueue(name);
    }
    bool IsRequestPaused(const std::wstring& name)
    {
        const std::lock_guard lock(server.m_cs);
        return server.IsRequestPaused(name);
    }
    std::vector<std::wstring> QueuedNames() // the next to run first
    {
        const std::lock_guard lock(server.m_cs);
        std::vector<std::wstring> names;
        std::vector<TSRequestItem> items;
        for (TSRequestItem item; server.m_queue->TakeNext(item);)
            items.push_back(item);
        for (const TSRequestItem& item : items) {
            names.push_back(platform::FileNameOf(item.m_strFile));
            server.m_queue->Append(item);
        }
        return names;
    }
    std::wstring RunningName()
    {
        const std::lock_guard lock(server.m_cs);
        return server.m_strRunning;
    }
    void CancelRunningRequest()
    {
        const std::lock_guard lock(server.m_cs);
        server.CancelRunningRequest();
    }
    GUID AddClient()
    {
        GUID id{};
        EXPECT_EQ(CoCreateGuid(&id), S_OK);
        server.AddClient(id, {});
        return id;
    }
    bool RemoveClient(const GUID& clientId) { return server.RemoveClient(clientId); }
    bool RegisterNewClient(const std::wstring& requestId) { return server.RegisterNewClient(requestId); }
    bool UnregisterClient(const GUID& clientId) { return server.UnregisterClient(clientId); }
    bool SendEventsDataToClient(const GUID& clientId, IWQ_DsEventsData* events)
    {
        const std::lock_guard lock(server.m_csNotify);
        return server.SendEventsDataToClient(clientId, events);
    }
    std::vector<GUID> Clients()
    {
        const std::lock_guard lock(server.m_csClients);
        std::map<std::uint64_t, GUID> numbered;
        for (const auto& [clientId, client] : server.m_clients)
            numbered.emplace(client.number, clientId);
        std::vector<GUID> clients;
        for (const auto& [number, clientId] : numbered)
            clients.push_back(clientId);
        return clients;
    }
    std::size_t PendingEvents()
    {
        const std::lock_guard lock(server.m_csNotify);
        std::size_t count = server.m_pendingEvents.size();
        for (const auto& [client, events] : server.m_heldEvents)
            count += events.size();
        return count;
    }
    [[nodiscard]] bool IsQueueSignalled() const { return server.m_evQueue->IsSet(); }
    /// Groups that wait for clients.
    std::size_t PendingGroups()
    {
        const std::lock_guard lock(server.m_csNotify);
        ULONGLONG all = 0;
        for (const auto& [client, groups] : server.m_pendingGroups) {
            ULONGLONG count = 0;
            EXPECT_EQ(groups->GetCount(&count), S_OK);
            all += count;
        }
        return static_cast<std::size_t>(all);
    }
    [[nodiscard]] bool HasThreads() const { return server.m_pMHThread || server.m_pEThread; }
    [[nodiscard]] bool HasExecutiveThread() const { return server.m_pEThread != nullptr; }
    [[nodiscard]] bool IsRunning() const { return server.m_bRunning; }
    /// Whether the listener has come so far that it accepts, unless it is stopped.
    [[nodiscard]] bool IsListening() const { return server.m_evListening->IsSet(); }
};

/// Reaches what a client keeps to itself.
struct SClientTestAccess {
    CZelProcessorClient& facade;
    CClientState& client = *facade.m_pState;

    [[nodiscard]] std::wstring InRequestDir(const std::wstring& path) const
    {
        return client.GetFileInRequestDirFullPath(path);
    }
    [[nodiscard]] std::wstring InQueue(const std::wstring& path) const { return client.GetFileInQueueFullPath(path); }
    [[nodiscard]] std::wstring Output(const std::wstring& path) const { return client.GetOutputFilePath(path); }
    [[nodiscard]] std::wstring CreateCommandFile(eCommandType type, const std::wstring& path) const
    {
        return client.CreateCommandFile(type, path);
    }
    [[nodiscard]] GUID Id() const { return client.m_clientID; }
    [[nodiscard]] bool HasWatchThread() const { return client.m_pThreadListenFileWatch != nullptr; }
};

/// A server in this process with scripted plug-ins, and a client for it.
class CServerFixture : public testing::Test {
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
        for (const std::wstring& dir : {m_requestDir, m_outputDir, m_clientDir})
            ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(dir)));
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

    [[nodiscard]] SServerTestAccess Access() const { return {*m_pServer}; }
    [[nodiscard]] static std::wstring In(const std::wstring& dir, const std::wstring& name)
    {
        return platform::JoinPath(dir, name);
    }
    [[nodiscard]] std::wstring Queued(const std::wstring& name) const { return In(In(m_outputDir, L"Queue"), name); }

    static void Write(const std::wstring& path, const std::string& bytes = "<Request/>")
    {
        ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, bytes)));
    }
    static std::string Read(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_TRUE(platform::Succeeded(
            platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, std::size_t{1} << 20)));
        return bytes;
    }
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
    [[nodiscard]] static std::vector<std::wstring> FilesIn(const std::wstring& dir)
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_TRUE(platform::Succeeded(platform::Files().List(dir, entries)));
        std::vector<std::wstring> names;
        for (const auto& entry : entries) {
            if (!entry.isDirectory)
                names.push_back(entry.name);
        }
        return names;
    }

    /// For tests that install them: every thread that may have met them has ended when they go.
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;

    CRecordingHost m_host;
    SPluginScript m_script;
    CScriptedPlugin m_plugin{m_script};
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_requestDir = m_dir / L"requests";
    std::wstring m_outputDir = m_dir / L"output";
    std::wstring m_clientDir = m_dir / L"client";
    CTestContext m_context;
    CZelProcessorClient m_client;
    CZelProcessorClient::CAdditionalRequestStatus m_additional;
    std::unique_ptr<CZelRequestWatch> m_pWatch; ///< one for all requests: to end one takes Linux some 20 ms
    std::unique_ptr<CZelProcessorServer> m_pServer;
};

/// A gate in a script: the task says that it has entered and waits to be let through.
class CGate {
public:
    /// For the task. False when nobody opened it in time.
    bool Pass()
    {
        m_entered.Set();
        return m_open.WaitFor(std::chrono::seconds(20));
    }
    [[nodiscard]] bool WaitUntilEntered() { return m_entered.WaitFor(std::chrono::seconds(20)); }
    void Open() { m_open.Set(); }

private:
    platform::CManualResetEvent m_entered;
    platform::CManualResetEvent m_open;
};
