#pragma once

#include "com/ZelCom.h"
#include "platform/Os.h"
#include "processor/IRequestRunner.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "server/RequestQueue.h"
#include "server/ServerSettings.h"
#include "tests/support/Directories.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/RequestDoubles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

/// A runner that does what a test says.
class CScriptedRunner final : public IRequestRunner {
public:
    [[nodiscard]] bool CanProceedQueue() const override { return m_mayProceed; }
    void ProceedQueue(bool proceed) override { m_mayProceed = proceed; }
    void GetReady() override { m_getReady(); }
    bool ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce, bool& bRetry) override
    {
        m_served.push_back(platform::FileNameOf(requestPath));
        m_forced.push_back(bForce);
        m_hasToldDone = false;
        if (m_onTask)
            m_onTask(TaskType());
        return m_run(*progress, bRetry);
    }
    [[nodiscard]] bool HasToldDone() const override { return m_hasToldDone; }
    [[nodiscard]] CString TaskType() const override { return L"Scripted"; }
    void SetOnTask(std::function<void(const CString& type)> onTask) override { m_onTask = std::move(onTask); }

    [[nodiscard]] CString LostBy() const override { return m_lostBy; }
    void Finish() override { ++m_finished; }

    /// One run: true when it is done. The progress, and whether the task declines.
    std::function<bool(CZelProcessorProgress&, bool&)> m_run = [](auto&, bool&) { return true; };
    std::function<void()> m_getReady = [] {};
    std::function<void(const CString& type)> m_onTask;
    CString m_lostBy;
    int m_finished = 0;
    bool m_mayProceed = true;
    bool m_hasToldDone = false;
    std::vector<std::wstring> m_served;
    std::vector<bool> m_forced;
};

/// What the parts of a server are made of that run requests, without a server, a plug-in or a thread.
class CRunFixture : public testing::Test, protected CDirectories {
protected:
    CRunFixture()
    {
        m_settings.m_paths = SProtocolPaths::Of(m_requestDir, m_outputDir);
        m_settings.m_pContext = &m_context;
        m_requests.SetContext(&m_context);
    }
    void SetUp() override
    {
        MakeDirectories();
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_settings.m_paths.m_strQueueDir)));
    }
    /// As the listener leaves it.
    void Queue(const std::wstring& name)
    {
        Write(Queued(name));
        m_requests.Add({Queued(name)});
    }
    [[nodiscard]] bool HasFile(const std::wstring& name) const { return platform::PathExists(Queued(name)); }
    [[nodiscard]] CZelProcessorRequestStatusFile::SContent Status(const std::wstring& name) const
    {
        CZelProcessorRequestStatusFile file(L"ZelProcessor", m_settings.m_paths.Status(name));
        CZelProcessorRequestStatusFile::SContent content;
        EXPECT_EQ(file.ReadContent(content), CZelProcessorRequestStatusFile::eRead_Ok);
        return content;
    }

    CRecordingHost m_host;
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
    CTestContext m_context;
    CServerSettings m_settings;
    std::atomic<bool> m_bRunning = true;
    CRequestQueue m_requests{m_bRunning};
    CScriptedRunner m_runner;
};
