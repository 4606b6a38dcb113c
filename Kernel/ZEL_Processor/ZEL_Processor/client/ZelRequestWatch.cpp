#include "ZEL_Processor/ZelRequestWatch.h"

#include "ClientState.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/ProtocolPaths.h"
#include "protocol/WatchDirectory.h"

#include <algorithm>
#include <atomic>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

/// Between the removal of the queued request and its last status lie microseconds: looking again this often costs less
/// than one more notification.
constexpr int kLooksAfterRemoval = 200;
/// How often to look where a directory can't be watched (the server has not made it yet, or it is gone).
constexpr milliseconds kPollFallback = 200ms;
/// How often to read the status of a request whose file does not go away.
constexpr milliseconds kLookAnyway = 1000ms;

/// One watched directory. Made at the first wait, since a watch makes every change of the directory dearer for whoever
/// makes it. Wake is safe at any time because the watch, once made, stays for the object's life.
class CWatchedDirectory {
public:
    CWatchedDirectory(CString dir, platform::eWatchFilter filter, const platform::SWatchOptions& options)
        : m_strDir(std::move(dir)), m_filter(filter), m_options(options)
    {}

    /// Changed when something changed, or may have changed unseen.
    platform::eWaitResult Wait(milliseconds timeout)
    {
        const bool isFirst = !m_pWatch;
        if (Arm() && isFirst)
            return platform::eWaitResult_Changed;
        if (!m_bArmed) {
            platform::Clock().SleepFor(std::min(timeout, kPollFallback));
            return timeout > kPollFallback ? platform::eWaitResult_Changed : platform::eWaitResult_Timeout;
        }
        platform::eWaitResult result = m_pWatch->Wait(timeout);
        if (result == platform::eWaitResult_Failed) {
            platform::Clock().SleepFor(std::min(timeout, kPollFallback));
            result = platform::eWaitResult_Changed;
        }
        if (result == platform::eWaitResult_Changed)
            m_bArmed = platform::Succeeded(m_pWatch->Rearm());
        return result;
    }

    void Wake()
    {
        if (platform::IDirectoryWatch* watch = m_pPublished)
            watch->Wake();
    }

private:
    bool Arm()
    {
        if (m_bArmed)
            return true;
        if (m_pWatch) {
            m_bArmed = platform::Succeeded(m_pWatch->Rearm());
        } else {
            m_bArmed = platform::Succeeded(Protocol::WatchDirectory(m_strDir, m_filter, m_options, m_pWatch));
            m_pPublished = m_pWatch.get();
        }
        return m_bArmed;
    }

    CString m_strDir;
    platform::eWatchFilter m_filter;
    platform::SWatchOptions m_options;
    bool m_bArmed = false;
    std::unique_ptr<platform::IDirectoryWatch> m_pWatch;
    std::atomic<platform::IDirectoryWatch*> m_pPublished = nullptr;
};

/// Longer time-outs are cut to this, so that no sum of times overflows.
constexpr milliseconds kForever = std::chrono::hours(24 * 3650);

/// What is left of a time-out.
class CDeadline {
public:
    explicit CDeadline(milliseconds timeout) : m_end(platform::Clock().Steady() + std::min(timeout, kForever)) {}
    [[nodiscard]] milliseconds Left() const
    {
        const auto left = std::chrono::ceil<milliseconds>(m_end - platform::Clock().Steady());
        return std::max(left, milliseconds::zero());
    }

private:
    std::chrono::nanoseconds m_end;
};

} // namespace

struct CZelRequestWatch::SState {
    SState(CZelProcessorClient& watched, const CString& outputDir, const platform::SWatchOptions& options)
        : client(watched),
          queueDir(SProtocolPaths::QueueDirOf(outputDir)),
          queue(queueDir, platform::eWatchFilter_FileNameGone, options),
          output(outputDir, platform::eWatchFilter_FileNameAndLastWrite, options)
    {}

    [[nodiscard]] bool TakeWoken() { return woken.exchange(false); }
    [[nodiscard]] eZelProcRequestStatus Look(const CString& requestPath,
                                             CZelProcessorClient::CAdditionalRequestStatus* additional) const
    {
        return client.m_pState->UnlessUnwritten(client.GetStatus(requestPath, additional), requestPath, additional);
    }

    CZelProcessorClient& client;
    CString queueDir;
    CWatchedDirectory queue;
    CWatchedDirectory output;
    std::atomic<bool> woken = false;
};

CZelRequestWatch::CZelRequestWatch(CZelProcessorClient& client, const CString& outputDirectory)
    : m_pState(std::make_unique<SState>(client, outputDirectory, client.m_pState->m_watchOptions))
{}

CZelRequestWatch::~CZelRequestWatch() = default;

bool CZelRequestWatch::IsFinal(eZelProcRequestStatus status)
{
    switch (status) {
    case eRequestStatus_ClientError:
    case eRequestStatus_ServerError:
    case eRequestStatus_ServerTimeout:
    case eRequestStatus_NotRequested:
    case eRequestStatus_Canceled:
    case eRequestStatus_Done: return true;
    default: return false;
    }
}

eZelProcRequestStatus CZelRequestWatch::WaitForEnd(const CString& requestPath, milliseconds timeout,
                                                   CZelProcessorClient::CAdditionalRequestStatus* additional)
{
    const CDeadline deadline(timeout);
    const CString queued = platform::JoinPath(m_pState->queueDir, platform::FileNameOf(requestPath));
    bool timedOut = false;
    for (int looks = 0;;) {
        // While the request is queued or runs its file is there, and nothing needs to be read, except now and then: a
        // server that could not delete the file leaves it there.
        bool isWaiting = platform::PathExists(queued);
        if (!isWaiting || timedOut) {
            const eZelProcRequestStatus status = m_pState->Look(requestPath, additional);
            if (IsFinal(status))
                return status;
            isWaiting = isWaiting || status == eRequestStatus_Waiting;
            if (!isWaiting && ++looks < kLooksAfterRemoval) {
                platform::Clock().YieldThread();
                continue;
            }
        }
        looks = 0;
        const milliseconds left = deadline.Left();
        if (left == milliseconds::zero() || m_pState->TakeWoken())
            return m_pState->Look(requestPath, additional);
        // A status that does not come after the removal comes by a write, which the queue directory does not see.
        CWatchedDirectory& watched = isWaiting ? m_pState->queue : m_pState->output;
        timedOut = watched.Wait(std::min(left, kLookAnyway)) == platform::eWaitResult_Timeout;
        // Whoever removed the file writes its last status next: on a machine with nothing to spare it needs this
        // processor.
        platform::Clock().YieldThread();
    }
}

bool CZelRequestWatch::WaitForChange(milliseconds timeout)
{
    const CDeadline deadline(timeout);
    for (;;) {
        const platform::eWaitResult result = m_pState->output.Wait(deadline.Left());
        if (m_pState->TakeWoken() || result == platform::eWaitResult_Timeout)
            return false;
        if (result == platform::eWaitResult_Changed)
            return true;
        // A wake-up that an earlier wait has answered already.
    }
}

void CZelRequestWatch::Wake()
{
    m_pState->woken = true;
    m_pState->queue.Wake();
    m_pState->output.Wake();
}
