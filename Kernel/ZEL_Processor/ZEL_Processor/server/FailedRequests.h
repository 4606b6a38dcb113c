#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/OsError.h"
#include "protocol/FailedRecord.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

struct CServerSettings;
struct TSRequestItem;

/// The requests that failed and are kept (SZelServerOptions::keepFailed), in a folder of the server's own: the file of
/// each under its name, and a record of why. What is kept is taken in two steps, so that neither is lost when the
/// server is killed between them: Begin writes the record, then Take moves the file to it. A name that fails again
/// takes the place of the earlier one. Has no state but a count, so there may be several objects, and each is safe from
/// any thread.
class CFailedRequests {
public:
    static constexpr std::size_t kMost = 1000;
    /// So many more are taken, by each object, before the oldest go.
    static constexpr std::size_t kSlack = 100;

    explicit CFailedRequests(const CServerSettings& settings) : m_settings(settings) {}

    /// The next step is Take. False when the request is not to be kept, or cannot be, of which the log tells.
    [[nodiscard]] bool Begin(const TSRequestItem& item, const SFailedRecord& record);
    /// Moves the file there, wherever it is, in place of deleting it.
    [[nodiscard]] platform::eOsError Take(const CString& path);
    /// The two halves of Take, for who must not wait while nobody else may have the file: the first moves it and does
    /// no more, the second is told of its result, and may wait for readers and look for those beyond the limit.
    [[nodiscard]] platform::eOsError MoveThere(const CString& path) const;
    [[nodiscard]] platform::eOsError Finish(const CString& name, platform::eOsError moved);
    [[nodiscard]] bool IsBegun(const CString& name) const;
    /// Takes Begin back.
    void Forget(const CString& name) const;

    /// At a start, before the requests that wait are looked at: what a kill has left between two steps.
    void TakeOver() const;
    /// Moves the file of a kept one into the queue. What is told of it stays until Forgive.
    [[nodiscard]] platform::eOsError PutIntoQueue(const CString& name) const;
    void Forgive(const CString& name) const;
    /// FileNotFound when it is not kept.
    [[nodiscard]] platform::eOsError Discard(const CString& name) const;
    /// Removes those that were kept for long enough. goOn: asked before each.
    void RemoveOld(const std::function<bool()>& goOn) const;

private:
    [[nodiscard]] CString PathOf(const CString& name) const;
    [[nodiscard]] CString BegunPathOf(const CString& name) const;
    void FinishRecord(const CString& name) const;
    [[nodiscard]] bool IsOurs() const;
    void VisitKept(const std::function<bool(const CString& name, std::int64_t when)>& visitor) const;
    [[nodiscard]] bool Drop(const CString& name, std::int64_t when) const;
    void RemoveBeyondLimit();

    const CServerSettings& m_settings;
    std::atomic<std::size_t> m_nTaken = kSlack; ///< since they were counted
};
