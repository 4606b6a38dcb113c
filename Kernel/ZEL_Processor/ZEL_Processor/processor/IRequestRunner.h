#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <functional>

class CZelProcessorProgress;

/// Runs one request after the other for whoever takes them out of the queue. What is said of the operations of the same
/// names of CZelProcessor holds here.
class IRequestRunner {
public:
    virtual ~IRequestRunner() = default;
    /// Called on the thread that will run requests, before the first.
    virtual void Prepare() {}
    /// Called on that thread after the last one.
    virtual void Finish() {}
    /// Asked before each request; ProceedQueue(false) when nothing waits any more, under the lock of the queue.
    [[nodiscard]] virtual bool CanProceedQueue() const = 0;
    virtual void ProceedQueue(bool proceed) = 0;

    /// Before each request, and before its time begins: whatever is no part of it, and may take long.
    virtual void GetReady() {}
    virtual bool ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce,
                                bool& bRetry) = 0;
    [[nodiscard]] virtual bool HasToldDone() const = 0;
    /// After each run, however it was left: a fault may have kept it from giving back what others wait for.
    virtual void EndRun() {}
    /// The type of task that the last request asked for; empty when it did not come so far.
    [[nodiscard]] virtual CString TaskType() const { return {}; }
    /// Called with that type as soon as it is known, before any code of the task, on the thread that runs the request.
    virtual void SetOnTask(std::function<void(const CString& type)> onTask) = 0;
    /// When an exception has left the last run: how the process that it ran in has ended, for the sender of the
    /// request. Empty when it was this one.
    [[nodiscard]] virtual CString LostBy() const { return {}; }
    /// The crash report of that process; empty without one.
    [[nodiscard]] virtual CString LostReport() const { return {}; }
};
