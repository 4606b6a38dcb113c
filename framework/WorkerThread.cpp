#include "framework/WorkerThread.h"

#include "framework/Exceptions.h"
#include "framework/Services.h"

#include <utility>

namespace {

thread_local const std::atomic<bool>* currentQuit = nullptr;

std::atomic<unsigned> g_runningThreads = 0;

/// The one place where exceptions of a thread end.
unsigned RunProcedure(AFX_THREADPROC procedure, void* parameter)
{
    try {
        return procedure(parameter);
    } catch (...) {
        WQ_ReportErrorNow(L"framework/WorkerThread", 17, L"CWQ_Thread::Run",
                          L"An exception ended a thread: " + WQ_ReasonOfException());
    }
    return kFailedThreadExitCode;
}

} // namespace

CWQ_Thread::CWQ_Thread(SKey /*key*/) : m_pQuit(std::make_shared<std::atomic<bool>>(false)) {}

CWQ_Thread::~CWQ_Thread() = default;

bool CWQ_Thread::Start(AFX_THREADPROC procedure, void* parameter)
{
    // Counted before it runs: whoever has started it must see it.
    g_runningThreads.fetch_add(1);
    const bool started = m_thread.Start([quit = m_pQuit, procedure, parameter] {
        currentQuit = quit.get();
        const unsigned exitCode = RunProcedure(procedure, parameter);
        currentQuit = nullptr;
        g_runningThreads.fetch_sub(1);
        return exitCode;
    });
    if (!started)
        g_runningThreads.fetch_sub(1);
    return started;
}

bool CWQ_Thread::Wait()
{
    if (m_bJoined)
        return true;
    if (!m_thread.Join())
        return false;
    m_bJoined = true;
    return true;
}

bool CWQ_Thread::WaitFor(std::chrono::milliseconds timeout)
{
    return m_bJoined || m_thread.WaitFor(timeout);
}

void CWQ_Thread::PostQuit()
{
    m_pQuit->store(true);
}

bool CWQ_Thread::IsQuitPosted() const
{
    return m_pQuit->load();
}

bool CWQ_Thread::IsQuitPostedToCurrent()
{
    return currentQuit != nullptr && currentQuit->load();
}

unsigned CWQ_Thread::RunningCount()
{
    return g_runningThreads.load();
}

unsigned CWQ_Thread::ExitCode() const
{
    return m_thread.ExitCode();
}

/// A friend of the class; the function itself cannot be one and imported from this library at the same time.
struct SThreadStarter {
    static std::unique_ptr<CWQ_Thread> Start(AFX_THREADPROC procedure, void* parameter)
    {
        auto thread = std::make_unique<CWQ_Thread>(CWQ_Thread::SKey{});
        return thread->Start(procedure, parameter) ? std::move(thread) : nullptr;
    }
};

std::unique_ptr<CWQ_Thread> AfxBeginThread(AFX_THREADPROC procedure, void* parameter)
{
    return SThreadStarter::Start(procedure, parameter);
}
