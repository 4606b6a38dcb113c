#pragma once

#include "platform/Mutex.h"
#include "platform/Os.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

/// The operations of the file layer, by which calls are counted and failures planned.
enum eFileCall {
    eFileCall_Open,
    eFileCall_Read,
    eFileCall_Write,
    eFileCall_FileAttributes, ///< of an open file
    eFileCall_Sync,
    eFileCall_Close,
    eFileCall_OpenLockFile,
    eFileCall_Move,
    eFileCall_Remove,
    eFileCall_GetAttributes, ///< of a path
    eFileCall_MakeDirectory,
    eFileCall_RemoveEmptyDirectory,
    eFileCall_List, ///< a visit
    eFileCall_GetOwner,
    eFileCall_MakePrivate,
    eFileCall_OpenForSync,
    eFileCall_SyncDirectory,
    eFileCall_Watch,
    eFileCall_Rearm,
    eFileCall_AllowReading,
    eFileCall_Seek
};

/// One call, as it was made.
struct SFileCall {
    eFileCall call = eFileCall_Open;
    std::wstring path;
    std::wstring target = {}; ///< of a move; the directory for whose owner reading is allowed
    unsigned mode = 0;        ///< open mode, flags of a move or filter of a watch
    platform::eOsError result = platform::eOsError_None;
    std::string content = {}; ///< of a lock file
    std::size_t bytes = 0;    ///< of a write
};

/// Passes everything on to another file system, counts and records the calls, and fails those that a test planned to
/// fail. A call that is made to fail does not reach the other file system, except that a failing close still closes.
/// Install it with platform::CScopedOs. Safe from any thread.
class CFaultyFiles final : public platform::IFileSystem {
public:
    explicit CFaultyFiles(platform::IFileSystem& files = platform::SystemFiles()) : m_files(files) {}

    /// Makes the n-th call from now (1: the next) of this kind fail, and the count - 1 after it. Only calls whose path
    /// contains the text count; every path does by default.
    void FailCall(eFileCall call, unsigned n, platform::eOsError error, unsigned count = 1, std::wstring pathPart = {});
    /// Fails every call of this kind until StopFailing.
    void FailAlways(eFileCall call, platform::eOsError error, std::wstring pathPart = {});
    /// Makes the n-th call from now fail, whatever it is, and the count - 1 after it. With all that come after it the
    /// disk stays as a kill leaves it.
    void FailAnyCall(unsigned n, platform::eOsError error, unsigned count = 1);
    /// Whether such a plan has come to a call.
    [[nodiscard]] bool HasFailed() const;
    void StopFailing();
    /// From now on all watches hear of nothing but wake-ups, as on a file system that other machines change.
    void GoDeaf() { m_isDeaf = true; }
    /// Called before each call, outside of any lock: the place to make another process interfere at a certain point.
    void OnCall(std::function<void(const SFileCall&)> hook);

    [[nodiscard]] unsigned Count(eFileCall call) const;
    [[nodiscard]] std::vector<SFileCall> Calls() const;
    void ForgetCalls();

    platform::eOsError Open(const std::wstring& path, platform::eOpenMode mode,
                            std::unique_ptr<platform::IFile>& file) override;
    platform::eOsError OpenLockFile(const std::wstring& path, const std::string& content,
                                    std::unique_ptr<platform::ILockFile>& lockFile) override;
    platform::eOsError Move(const std::wstring& from, const std::wstring& to, unsigned flags) override;
    platform::eOsError Remove(const std::wstring& path) override;
    platform::eOsError GetAttributes(const std::wstring& path, platform::SFileAttributes& attributes) override;
    platform::eOsError SyncFile(const std::wstring& path) override;
    platform::eOsError GetChangeTime(const std::wstring& path, platform::FileTimeNs& time) override;
    platform::eOsError MakeDirectory(const std::wstring& path) override;
    platform::eOsError RemoveEmptyDirectory(const std::wstring& path) override;
    platform::eOsError Visit(const std::wstring& directory, const Visitor& visitor) override;
    platform::eOsError GetOwner(const std::wstring& path, platform::FileOwner& owner) override;
    platform::eOsError MakePrivate(const std::wstring& path, const platform::FileOwner& owner) override;
    platform::eOsError CanMakePrivate(const std::wstring& directory) override;
    platform::eOsError AllowReading(const std::wstring& path, const std::wstring& directory) override;
    platform::eOsError OpenForSync(const std::wstring& directory,
                                   std::unique_ptr<platform::IDirectorySync>& sync) override;
    platform::eOsError Watch(const std::wstring& directory, platform::eWatchFilter filter,
                             std::unique_ptr<platform::IDirectoryWatch>& watch) override;

private:
    struct SPlan {
        eFileCall call;
        unsigned callsBefore; // 1: the next call fails
        platform::eOsError error;
        unsigned count;
        std::wstring pathPart;
    };

    class CFaultyFile;
    class CFaultySync;
    class CFaultyWatch;

    platform::eOsError Pass(SFileCall call, const std::function<platform::eOsError()>& forward);
    std::function<void(const SFileCall&)> Hook() const;
    platform::eOsError PlannedFailure(const SFileCall& call);

    platform::IFileSystem& m_files;
    std::atomic<bool> m_isDeaf = false;
    mutable platform::CMutex m_mutex;
    std::function<void(const SFileCall&)> m_hook ZEL_GUARDED_BY(m_mutex);
    std::vector<SPlan> m_plans ZEL_GUARDED_BY(m_mutex);
    SPlan m_any ZEL_GUARDED_BY(m_mutex){eFileCall_Open, 1, platform::eOsError_None, 0, {}}; ///< of any kind
    std::vector<SFileCall> m_calls ZEL_GUARDED_BY(m_mutex);
    std::map<eFileCall, unsigned> m_counts ZEL_GUARDED_BY(m_mutex);
};

} // namespace testsupport
