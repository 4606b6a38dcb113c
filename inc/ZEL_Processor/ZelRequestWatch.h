#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelProcessorClient.h"

#include <chrono>
#include <memory>

/// Waits for requests without polling: sleeps on notifications of the queue and output directories, which it watches
/// from the first wait on. Make one for many requests: Linux takes some 20 ms to end one. One thread at a time, but for
/// Wake.
class ZEL_API CZelRequestWatch {
public:
    /// The client must outlive the watch and keep its directories.
    CZelRequestWatch(CZelProcessorClient& client, const CString& outputDirectory);
    ~CZelRequestWatch();
    CZelRequestWatch(const CZelRequestWatch&) = delete;
    CZelRequestWatch& operator=(const CZelRequestWatch&) = delete;

    /// True for a status after which nothing more comes: done, cancelled, an error, a time-out, not requested.
    [[nodiscard]] static bool IsFinal(eZelProcRequestStatus status);

    /// Waits for the end of a request and returns its status; the last status read when the time is over or Wake was
    /// called. Sleeps through the status changes on the way.
    [[nodiscard]] eZelProcRequestStatus WaitForEnd(const CString& requestPath, std::chrono::milliseconds timeout,
                                                   CZelProcessorClient::CAdditionalRequestStatus* additional);
    /// Waits until something changed in the output directory (a status was written, a response came); false when the
    /// time is over or Wake was called. A change since the last call counts; the first call is true at once, since
    /// nobody watched before.
    [[nodiscard]] bool WaitForChange(std::chrono::milliseconds timeout);
    /// Ends the current or the next wait. Safe from any thread and from signal handlers.
    void Wake();

private:
    struct SState;
    std::unique_ptr<SState> m_pState;
};
