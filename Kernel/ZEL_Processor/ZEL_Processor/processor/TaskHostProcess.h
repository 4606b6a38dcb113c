#pragma once

#include "TaskHostLine.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/Process.h"
#include "platform/ScratchFolder.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// How a process of tasks is started, and what it is told then.
struct STaskHostSetup {
    CString program;
    platform::SContainment containment;
    std::vector<std::pair<CString, CString>> environment;
    std::vector<std::vector<CString>> lines;
};

/// A process that runs tasks, and how it ended. It gets ready by itself after its start. For one thread.
class CTaskHostProcess {
public:
    /// scratch: what it is to have as long as it runs, and goes with it.
    CTaskHostProcess(const STaskHostSetup& setup, std::unique_ptr<platform::CScratchFolder> scratch)
        : m_setup(setup), m_pScratch(std::move(scratch))
    {}
    ~CTaskHostProcess();
    CTaskHostProcess(const CTaskHostProcess&) = delete;
    CTaskHostProcess& operator=(const CTaskHostProcess&) = delete;

    [[nodiscard]] platform::eOsError Start();
    [[nodiscard]] bool IsRunning();
    /// It has loaded its plug-ins. False when it has ended instead, at that time of the steady clock, and when it is
    /// not to be waited for any more.
    [[nodiscard]] bool WaitUntilReady(std::chrono::nanoseconds end, const std::function<bool()>& goesOn);

    /// Of one that has ended while nothing ran: what it had to say.
    void ReadToEnd();

    enum eRead { eRead_Line, eRead_Time, eRead_Lost };
    /// Lost: it has ended, with all that it has started, or has been ended, for what it sent is no line of ours.
    [[nodiscard]] eRead Read(std::vector<CString>& words, std::chrono::milliseconds timeout);
    bool Send(const std::vector<CString>& words);
    /// With all that it has started, when this returns.
    void Kill();
    /// Asks it to end by itself; the destructor waits for that.
    void Retire();

    /// It has told of a fault that ends it: what, and where its crash report is.
    void SetFault(const CString& kind, const CString& report);
    /// It has sent what it should not.
    void SetNonsense() { m_bNonsense = true; }
    /// Of one that is lost: how it has ended, for the sender of the request.
    [[nodiscard]] CString EndText() const;
    /// The crash report of its end; empty without one.
    [[nodiscard]] CString Report() const;

private:
    [[nodiscard]] eRead Lose();
    void TakeIdle(const std::vector<CString>& words);
    [[nodiscard]] CString FindReport() const;

    const STaskHostSetup& m_setup;
    const std::unique_ptr<platform::CScratchFolder> m_pScratch; ///< outlives the process
    platform::CProcess m_process;
    std::uint32_t m_nId = 0; ///< of the process that runs the tasks, which on POSIX is a child of the started one
    int m_nExitCode = -1;
    bool m_bEnded = true;
    bool m_bReady = false;
    bool m_bNonsense = false;
    bool m_bRetired = false;
    CString m_strFault;
    CString m_strReport;
    CString m_strOldReport; ///< of another process of the same number
};
