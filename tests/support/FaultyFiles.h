#pragma once

#include "platform/Os.h"

#include <functional>
#include <map>
#include <mutex>
#include <utility>

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
    eFileCall_AllowReading
};

/// One call, as it was made.
struct SFileCall {
    eFileCall call = eFileCall_Open;
    std::wstring path;
    std::wstring target = {}; ///< of a move; the directory for whose owner reading is allowed
    unsigned mode = 0;        ///< open mode, flags of a move or filter of a watch
    platform::eOsError result = platform::eOsError_None;
    std::string content = {}; ///< of a lock file
};

/// Passes everything on to another file system, counts and records the calls, and fails those that a test planned to
/// fail. A call that is made to fail does not reach the other file system, except that a failing close still closes.
/// Install it with platform::CScopedOs. Safe from any thread.
class CFaultyFiles final : public platform::IFileSystem {
public:
    explicit CFaultyFiles(platform::IFileSystem& files = platform::SystemFiles()) : m_files(files) {}

    /// Makes the n-th call from now (1: the next) of this kind fail, and the count - 1 after it. Only calls whose path
    /// contains the text count; every path does by default.
    void FailCall(eFileCall call, unsigned n, platform::eOsError error, unsigned count = 1, std::wstring pathPart = {})
    {
        const std::lock_guard lock(m_mutex);
        m_plans.push_back({call, n, error, count, std::move(pathPart)});
    }
    /// Fails every call of this kind until StopFailing.
    void FailAlways(eFileCall call, platform::eOsError error, std::wstring pathPart = {})
    {
        FailCall(call, 1, error, ~0U, std::move(pathPart));
    }
    void StopFailing()
    {
        const std::lock_guard lock(m_mutex);
        m_plans.clear();
    }
    /// Called before each call, outside of any lock: the place to make another process interfere at a certain point.
    void OnCall(std::function<void(const SFileCall&)> hook)
    {
        const std::lock_guard lock(m_mutex);
        m_hook = std::move(hook);
    }

    [[nodiscard]] unsigned Count(eFileCall call) const
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_counts.find(call);
        return found == m_counts.end() ? 0 : found->second;
    }
    [[nodiscard]] std::vector<SFileCall> Calls() const
    {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }
    void ForgetCalls()
    {
        const std::lock_guard lock(m_mutex);
        m_calls.clear();
        m_counts.clear();
    }

    platform::eOsError Open(const std::wstring& path, platform::eOpenMode mode,
                            std::unique_ptr<platform::IFile>& file) override
    {
        std::unique_ptr<platform::IFile> opened;
        const auto error = Pass({eFileCall_Open, path, {}, mode}, [&] { return m_files.Open(path, mode, opened); });
        if (error == platform::eOsError_None)
            file = std::make_unique<CFaultyFile>(*this, path, std::move(opened));
        return error;
    }

    platform::eOsError OpenLockFile(const std::wstring& path, const std::string& content,
                                    std::unique_ptr<platform::ILockFile>& lockFile) override
    {
        return Pass({eFileCall_OpenLockFile, path, {}, 0, platform::eOsError_None, content},
                    [&] { return m_files.OpenLockFile(path, content, lockFile); });
    }

    platform::eOsError Move(const std::wstring& from, const std::wstring& to, unsigned flags) override
    {
        return Pass({eFileCall_Move, from, to, flags}, [&] { return m_files.Move(from, to, flags); });
    }

    platform::eOsError Remove(const std::wstring& path) override
    {
        return Pass({eFileCall_Remove, path}, [&] { return m_files.Remove(path); });
    }

    platform::eOsError GetAttributes(const std::wstring& path, platform::SFileAttributes& attributes) override
    {
        return Pass({eFileCall_GetAttributes, path}, [&] { return m_files.GetAttributes(path, attributes); });
    }

    platform::eOsError MakeDirectory(const std::wstring& path) override
    {
        return Pass({eFileCall_MakeDirectory, path}, [&] { return m_files.MakeDirectory(path); });
    }

    platform::eOsError RemoveEmptyDirectory(const std::wstring& path) override
    {
        return Pass({eFileCall_RemoveEmptyDirectory, path}, [&] { return m_files.RemoveEmptyDirectory(path); });
    }

    platform::eOsError Visit(const std::wstring& directory, const Visitor& visitor) override
    {
        return Pass({eFileCall_List, directory}, [&] { return m_files.Visit(directory, visitor); });
    }

    platform::eOsError GetOwner(const std::wstring& path, platform::FileOwner& owner) override
    {
        return Pass({eFileCall_GetOwner, path}, [&] { return m_files.GetOwner(path, owner); });
    }

    platform::eOsError MakePrivate(const std::wstring& path, const platform::FileOwner& owner) override
    {
        return Pass({eFileCall_MakePrivate, path}, [&] { return m_files.MakePrivate(path, owner); });
    }

    platform::eOsError CanMakePrivate(const std::wstring& directory) override
    {
        return Pass({eFileCall_MakePrivate, directory}, [&] { return m_files.CanMakePrivate(directory); });
    }

    platform::eOsError AllowReading(const std::wstring& path, const std::wstring& directory) override
    {
        return Pass({eFileCall_AllowReading, path, directory}, [&] { return m_files.AllowReading(path, directory); });
    }

    platform::eOsError OpenForSync(const std::wstring& directory,
                                   std::unique_ptr<platform::IDirectorySync>& sync) override
    {
        std::unique_ptr<platform::IDirectorySync> opened;
        const auto error =
            Pass({eFileCall_OpenForSync, directory}, [&] { return m_files.OpenForSync(directory, opened); });
        if (error == platform::eOsError_None)
            sync = std::make_unique<CFaultySync>(*this, directory, std::move(opened));
        return error;
    }

    platform::eOsError Watch(const std::wstring& directory, platform::eWatchFilter filter,
                             std::unique_ptr<platform::IDirectoryWatch>& watch) override
    {
        std::unique_ptr<platform::IDirectoryWatch> made;
        const auto error =
            Pass({eFileCall_Watch, directory, {}, filter}, [&] { return m_files.Watch(directory, filter, made); });
        if (error == platform::eOsError_None)
            watch = std::make_unique<CFaultyWatch>(*this, directory, std::move(made));
        return error;
    }

private:
    struct SPlan {
        eFileCall call;
        unsigned callsBefore; // 1: the next call fails
        platform::eOsError error;
        unsigned count;
        std::wstring pathPart;
    };

    class CFaultyFile final : public platform::IFile {
    public:
        CFaultyFile(CFaultyFiles& owner, std::wstring path, std::unique_ptr<platform::IFile> file)
            : m_owner(owner), m_path(std::move(path)), m_pFile(std::move(file))
        {}

        platform::eOsError Read(std::span<std::byte> buffer, std::size_t& read) override
        {
            read = 0;
            return m_owner.Pass({eFileCall_Read, m_path}, [&] { return m_pFile->Read(buffer, read); });
        }
        platform::eOsError Write(std::span<const std::byte> bytes) override
        {
            return m_owner.Pass({eFileCall_Write, m_path}, [&] { return m_pFile->Write(bytes); });
        }
        platform::eOsError GetAttributes(platform::SFileAttributes& attributes) override
        {
            return m_owner.Pass({eFileCall_FileAttributes, m_path}, [&] { return m_pFile->GetAttributes(attributes); });
        }
        platform::eOsError Sync() override
        {
            return m_owner.Pass({eFileCall_Sync, m_path}, [&] { return m_pFile->Sync(); });
        }
        platform::eOsError Close() override
        {
            const auto closed = m_pFile->Close();
            return m_owner.Pass({eFileCall_Close, m_path}, [&] { return closed; });
        }

    private:
        CFaultyFiles& m_owner;
        const std::wstring m_path;
        const std::unique_ptr<platform::IFile> m_pFile;
    };

    class CFaultySync final : public platform::IDirectorySync {
    public:
        CFaultySync(CFaultyFiles& owner, std::wstring path, std::unique_ptr<platform::IDirectorySync> sync)
            : m_owner(owner), m_path(std::move(path)), m_pSync(std::move(sync))
        {}

        platform::eOsError Sync() override
        {
            return m_owner.Pass({eFileCall_SyncDirectory, m_path}, [&] { return m_pSync->Sync(); });
        }

    private:
        CFaultyFiles& m_owner;
        const std::wstring m_path;
        const std::unique_ptr<platform::IDirectorySync> m_pSync;
    };

    class CFaultyWatch final : public platform::IDirectoryWatch {
    public:
        CFaultyWatch(CFaultyFiles& owner, std::wstring path, std::unique_ptr<platform::IDirectoryWatch> watch)
            : m_owner(owner), m_path(std::move(path)), m_pWatch(std::move(watch))
        {}

        platform::eWaitResult Wait(std::chrono::milliseconds timeout) override { return m_pWatch->Wait(timeout); }
        platform::eOsError Rearm() override
        {
            return m_owner.Pass({eFileCall_Rearm, m_path}, [&] { return m_pWatch->Rearm(); });
        }
        void Wake() override { m_pWatch->Wake(); }

    private:
        CFaultyFiles& m_owner;
        const std::wstring m_path;
        const std::unique_ptr<platform::IDirectoryWatch> m_pWatch;
    };

    template <typename TCall>
    platform::eOsError Pass(SFileCall call, TCall forward)
    {
        if (const auto hook = Hook())
            hook(call);
        const auto planned = PlannedFailure(call);
        call.result = planned != platform::eOsError_None ? planned : forward();
        const std::lock_guard lock(m_mutex);
        ++m_counts[call.call];
        m_calls.push_back(call);
        return call.result;
    }

    std::function<void(const SFileCall&)> Hook() const
    {
        const std::lock_guard lock(m_mutex);
        return m_hook;
    }

    platform::eOsError PlannedFailure(const SFileCall& call)
    {
        const std::lock_guard lock(m_mutex);
        auto failure = platform::eOsError_None;
        for (SPlan& plan : m_plans) {
            const bool concerned = plan.call == call.call && call.path.find(plan.pathPart) != std::wstring::npos;
            if (!concerned || plan.count == 0)
                continue;
            if (plan.callsBefore > 1) {
                --plan.callsBefore;
            } else {
                plan.count -= plan.count == ~0U ? 0 : 1;
                failure = plan.error;
            }
        }
        return failure;
    }

    platform::IFileSystem& m_files;
    mutable std::mutex m_mutex;
    std::function<void(const SFileCall&)> m_hook; // guarded by m_mutex
    std::vector<SPlan> m_plans;                   // guarded by m_mutex
    std::vector<SFileCall> m_calls;               // guarded by m_mutex
    std::map<eFileCall, unsigned> m_counts;       // guarded by m_mutex
};

} // namespace testsupport
