#pragma once

#include "platform/Export.h"
#include "platform/Thread.h"

#include <atomic>
#include <chrono>
#include <memory>

/// A thread procedure. It returns the thread's exit code.
using AFX_THREADPROC = unsigned (*)(void* parameter);

/// Exit code of a thread that an exception ended.
constexpr unsigned kFailedThreadExitCode = 1;

/// A running or ended thread. Its owner destroys it, which waits for the end: whoever owns one tells the thread to stop
/// first. An exception that leaves the procedure is reported and ends this thread only, with kFailedThreadExitCode.
class ZEL_FRAMEWORK_API CWQ_Thread {
    struct SKey {};
    friend struct SThreadStarter;

public:
    /// For AfxBeginThread: nobody else gets the key.
    explicit CWQ_Thread(SKey key);
    ~CWQ_Thread();
    CWQ_Thread(const CWQ_Thread&) = delete;
    CWQ_Thread& operator=(const CWQ_Thread&) = delete;

    /// Waits for the end, however long that takes. May be called again. False when it cannot wait: on this very thread.
    [[nodiscard]] bool Wait();
    /// Waits for the end; false when it has not come in time.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds timeout);

    /// Asks the thread to end. Nothing more happens by itself: the procedure has to look (IsQuitPosted), and whatever
    /// it waits on has to be signalled by the caller.
    void PostQuit();
    [[nodiscard]] bool IsQuitPosted() const;
    /// The same for the thread that calls, for use inside the procedure; false on a thread that was not started here.
    [[nodiscard]] static bool IsQuitPostedToCurrent();

    /// How many procedures run now, in the whole process: code that must not be unloaded.
    [[nodiscard]] static unsigned RunningCount();

    /// What the procedure returned; valid once a wait was successful.
    [[nodiscard]] unsigned ExitCode() const;

private:
    [[nodiscard]] bool Start(AFX_THREADPROC procedure, void* parameter);

    /// Shared with the thread, which may look at it in its very last moment.
    std::shared_ptr<std::atomic<bool>> m_pQuit;
    platform::CThread m_thread;
    std::atomic<bool> m_bJoined{false};
};

/// Starts a thread that runs the procedure with this parameter at once. Null when the system has no thread to give.
[[nodiscard]] ZEL_FRAMEWORK_API std::unique_ptr<CWQ_Thread> AfxBeginThread(AFX_THREADPROC procedure, void* parameter);
