#pragma once

#include "FailedRequests.h"
#include "KeptNames.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/OsError.h"
#include "protocol/HandOver.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

struct CServerSettings;

/// Takes the queued files of ended requests away, for a server that resumes. With syncing such a file must outlast a
/// power cut that its response, or the last status of a request without one, does not. It is kept in a folder of the
/// server's own until those of a group are on the device: one by one, each would cost its client the time of a sync.
/// What cannot be taken away is tried again: the next start would run it once more when its client has taken the end.
/// For one thread.
class CEndedRequests {
public:
    /// So many requests may have to be run again after a power cut.
    static constexpr std::size_t kMost = 64;
    /// Files that cannot be taken away, of which the log told, and as many whose ends cannot be synced; beyond this the
    /// oldest is left to the next start.
    static constexpr std::size_t kMostLeft = 1000;
    /// How long the files of ended requests wait for others when nothing else is to be run. Most clients have taken
    /// their response by then, and synced it where they have put it.
    static constexpr std::chrono::milliseconds kPause{50};
    static constexpr std::chrono::milliseconds kLongestPause{64'000};

    /// In the folder of the server's own.
    static constexpr const wchar_t* kFolder = L"ended";

    /// What is to be on the device before the file goes. Of what an earlier server left nobody knows. Failed: as
    /// Status, and then it is kept (CFailedRequests).
    enum eEnd { eEnd_Response, eEnd_Status, eEnd_Either, eEnd_Failed };

    /// names: shared by all that keep files of this server; null when it is the only one.
    explicit CEndedRequests(const CServerSettings& settings, CKeptNames* names = nullptr)
        : m_settings(settings), m_failed(settings), m_pNames(names)
    {}

    /// Whether ends are synced.
    [[nodiscard]] bool IsWanted() const;
    /// In place of deleting the queued file of a request that has ended. goOn: asked while somebody holds the file.
    platform::eOsError Keep(const CString& queuedPath, eEnd end = eEnd_Response, const Protocol::GoOn& goOn = Once);
    /// Ends a request that has no response: no part of one, no file, and then tell, which writes its last status. None
    /// when the file is gone. end: Status, or Failed of one that CFailedRequests::Begin was called for.
    platform::eOsError EndWithoutResponse(const CString& queuedPath, const std::function<void()>& tell,
                                          eEnd end = eEnd_Status);
    [[nodiscard]] bool IsEmpty() const { return m_ended.empty() && m_left.empty(); }
    [[nodiscard]] bool IsFull() const { return m_nSinceFlush >= kMost && !IsEmpty(); }
    /// Syncs the ends that nobody has taken yet, and lets the files go. One that somebody has open, or that cannot be
    /// synced, which is reported once, stays for the next time; one that the device may have lost, until its client has
    /// it.
    void Flush();
    /// How long nothing else may be done before Flush; longer when the last one left something.
    [[nodiscard]] std::chrono::milliseconds UntilFlush() const { return m_pause; }

    /// What the server before has kept is this one's from now on. None: all of it is known.
    [[nodiscard]] platform::eOsError TakeOver();
    /// Whether the system was started since the server before kept its start, or may have been: what was not synced
    /// then may be torn.
    [[nodiscard]] bool MayHaveBeenCut() const;
    void KeepSystemStart() const;
    /// What is kept. It is not synced any more.
    [[nodiscard]] std::vector<CString> TakeNames();
    [[nodiscard]] CString PathOf(const CString& name) const;
    /// What is kept of this name goes, as one that failed if it was to be one.
    platform::eOsError LetGo(const CString& name);

private:
    struct SEnded {
        CString name;
        eEnd end = eEnd_Either;
        bool isDoubtful = false; ///< a sync of it failed in a manner that the next one does not put right
    };
    struct SLeft {
        CString path;
        eEnd end = eEnd_Either;
    };
    static bool Once() { return false; }
    [[nodiscard]] CString Folder() const;
    [[nodiscard]] platform::eOsError TakeAway(const CString& queuedPath, eEnd end);
    [[nodiscard]] platform::eOsError MoveAway(const CString& queuedPath, const CString& name) const;
    void TakeLeftAway();
    void Tell(platform::eOsError error);
    [[nodiscard]] platform::eOsError SyncGroup(std::vector<SEnded>& group, bool& isAny);
    void Hold(SEnded ended, platform::eOsError error);
    [[nodiscard]] platform::eOsError SyncEnd(const SEnded& ended) const;

    platform::eOsError LetGo(const CString& name, bool& hasFailed);

    const CServerSettings& m_settings;
    CFailedRequests m_failed;
    CKeptNames* const m_pNames;
    std::vector<SEnded> m_ended;
    std::vector<SLeft> m_left; ///< in the queue still
    std::size_t m_nSinceFlush = 0;
    bool m_bFails = false; ///< so it was told
    std::chrono::milliseconds m_pause = kPause;
};
