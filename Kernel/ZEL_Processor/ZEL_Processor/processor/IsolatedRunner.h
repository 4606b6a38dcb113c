#pragma once

#include "IRequestRunner.h"
#include "TaskHostProcess.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "ZEL_Processor/ZelServerOptions.h"
#include "platform/OsError.h"
#include "platform/Sandbox.h"
#include "platform/ScratchFolder.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class CCallGate;

/// What a runner has to know of the server that it runs requests for.
struct SIsolatedRunnerSetup {
    SZelIsolation isolation;
    CString outputDir;
    bool tellReasons = false;
    std::vector<CString> leftOut;
    bool privateFiles = false;
    SXmlLimits xmlLimits;
    std::chrono::milliseconds grace{0};      ///< from a cancel on
    CZelProcessorContext* context = nullptr; ///< borrowed
    const std::atomic<bool>& isRunning;      ///< the server
    /// Takes the file of a request away whose response is saved; empty: it is deleted.
    std::function<platform::eOsError(const CString&)> removeRequest;
    std::function<bool()> isEndedByLimit; ///< of what runs: it is cancelled because of it
    CCallGate* eventGate = nullptr;       ///< see CProcessorRunner
    std::function<void()> onRestart = {}; ///< a process takes the place of another one; empty for nobody
};

/// Runs requests in a process of their own, which is started ahead, runs one after the other, and is replaced when it
/// has ended, has run so many, has grown too much, or has left processes behind. What it reports is passed on here, and
/// the file of a request is taken away here: nothing that outlasts the run but the response is the other process's
/// work, so one that is killed leaves nothing that this one does not know. For one thread.
class CIsolatedRunner final : public IRequestRunner {
public:
    /// processor: borrowed; whose turns and whose events these are.
    CIsolatedRunner(CZelProcessor& processor, SIsolatedRunnerSetup setup);
    ~CIsolatedRunner() override;
    CIsolatedRunner(const CIsolatedRunner&) = delete;
    CIsolatedRunner& operator=(const CIsolatedRunner&) = delete;

    /// The program beside the running one when no other is named. Empty when there is none.
    [[nodiscard]] static CString FindProgram(const SZelIsolation& isolation);
    /// What the sandbox that is asked for keeps tasks from on this system, for the log; and whether that is all of it.
    /// Empty where there is no sandbox.
    [[nodiscard]] static CString SandboxText(const SZelIsolation& isolation, bool& isWhole);
    /// The same of a system that can do so much.
    [[nodiscard]] static CString SandboxText(const SZelIsolation& isolation, const platform::SSandboxSupport& support,
                                             bool& isWhole);

    void Prepare() override;
    void Finish() override;
    [[nodiscard]] bool CanProceedQueue() const override;
    void ProceedQueue(bool proceed) override;
    /// Waits for the process: not when the server stops, and not for a request that is cancelled.
    void GetReady() override;
    /// Throws std::runtime_error when the process has ended in the run.
    bool ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce,
                        bool& bRetry) override;
    void EndRun() override;
    [[nodiscard]] bool HasToldDone() const override;
    [[nodiscard]] CString TaskType() const override;
    void SetOnTask(std::function<void(const CString& type)> onTask) override { m_onTask = std::move(onTask); }
    [[nodiscard]] CString LostBy() const override { return m_strLostBy; }
    [[nodiscard]] CString LostReport() const override { return m_strLostReport; }

private:
    struct SRun;

    void MakeSetup();
    [[nodiscard]] std::unique_ptr<platform::CScratchFolder> MakeSandbox();
    void StartAnother();
    [[nodiscard]] bool GoesOn() const;
    bool EndUnready(CZelProcessorProgress* progress, bool& bRetry);
    [[nodiscard]] bool TellCancel(SRun& run);
    /// False for what is no line of a run.
    [[nodiscard]] bool Understand(const std::vector<CString>& words, SRun& run);
    void SetStatus(const std::vector<CString>& words, SRun& run);
    void TakeRefusal(const CString& call, SRun& run);
    [[nodiscard]] CString RefusalText(const SRun& run) const;
    void TakeAway(SRun& run);
    void TellDone(SRun& run, const CString& text) const;
    bool Conclude(const SRun& run, bool& bRetry);
    bool EndKilled(SRun& run);
    bool EndLost(SRun& run);
    void RemoveResponse(const SRun& run) const;

    CZelProcessor& m_processor;
    const SIsolatedRunnerSetup m_setup;
    STaskHostSetup m_hostSetup;
    std::unique_ptr<CTaskHostProcess> m_pHost;
    std::unique_ptr<CTaskHostProcess> m_pRetired; ///< ends by itself
    unsigned m_nRequests = 0;                     ///< of the present process
    std::function<void(const CString& type)> m_onTask;
    bool m_bStarted = false; ///< a first process was
    bool m_bReady = false;   ///< by GetReady, for one request
    bool m_bInRun = false;   ///< the process has been given a request, and has not told of its end
    CString m_strNotReady;   ///< why
    CString m_strLostBy;
    CString m_strLostReport;
};
