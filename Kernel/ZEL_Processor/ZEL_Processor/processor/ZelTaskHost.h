#pragma once

#include "ZEL_Processor/ZelExport.h"

#include <memory>

namespace platform {
class CParentChannel;
struct SFaultRecord;
} // namespace platform

/// The side of a process that runs tasks for a server (SZelIsolation), for its program alone: zel-task-host. One object
/// in a process, used by the thread that made it, which has COM.
class ZEL_API CZelTaskHost {
public:
    /// The channel must live longer.
    explicit CZelTaskHost(platform::CParentChannel& channel);
    ~CZelTaskHost();
    CZelTaskHost(const CZelTaskHost&) = delete;
    CZelTaskHost& operator=(const CZelTaskHost&) = delete;

    /// Takes what the server tells at the start, and loads its plug-ins. False when that fails; the server was told
    /// why.
    [[nodiscard]] bool Prepare();
    /// Runs one request after the other until the server wants no more. Without the server the process ends at once,
    /// and so it does after a fault of a task, of which the server is told.
    void Serve();
    /// Tells the server of a fault that is about to end this process, with a crash report. From any thread.
    void TellFault(const platform::SFaultRecord& fault);

private:
    struct SState;
    const std::unique_ptr<SState> m_pState;
};
