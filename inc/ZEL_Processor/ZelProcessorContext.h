#pragma once

#include "com/Com.h"

/// The host's side of a running request: the cancel flag, and what a task may ask of the host. A host derives from it,
/// hands the object to the server before Run, and keeps it until the server is destroyed. SetCanceled is called by the
/// server's threads while IsCanceled is asked by the running task: the flag must be safe for that.
class CZelProcessorContext {
public:
    /// A service of the host for tasks that know the host: S_OK and a reference in *service, or E_NOINTERFACE. The
    /// server never calls it.
    virtual HRESULT GetHostService(REFIID iid, void** service) = 0;
    /// True when the host is about to end, so that a task need not start anything long. The server never calls it.
    virtual bool IsClosing() = 0;
    /// False before each request starts; true when the running request is to stop. Called under the server's lock: it
    /// must return at once and not call the server.
    virtual void SetCanceled(bool canceled) = 0;
    /// True when the running request is to stop. A long task asks often: users expect an end within 100 ms.
    virtual bool IsCanceled() = 0;

protected:
    ~CZelProcessorContext() = default;
};

/// The host's event sink.
class CZelProcessorEvent {
public:
    /// A request was completed and its response is in place. On the server's executive thread, which waits for it. An
    /// exception is logged and changes nothing; a processor fault is contained as in a task, with a crash report, and
    /// the request stays done.
    virtual void OnRequestDone() = 0;

protected:
    ~CZelProcessorEvent() = default;
};
