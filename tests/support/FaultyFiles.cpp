#include "tests/support/FaultyFiles.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace testsupport {

namespace {

/// What the other file system opened, and whose file it is here.
template <class Interface>
class CPassedOn : public Interface {
public:
    CPassedOn(CFaultyFiles& owner, std::wstring path, std::unique_ptr<Interface> opened)
        : m_owner(owner), m_path(std::move(path)), m_pOpened(std::move(opened))
    {}

protected:
    CFaultyFiles& m_owner;
    const std::wstring m_path;
    const std::unique_ptr<Interface> m_pOpened;
};

} // namespace

class CFaultyFiles::CFaultyFile final : public CPassedOn<platform::IFile> {
public:
    using CPassedOn::CPassedOn;

    platform::eOsError Read(std::span<std::byte> buffer, std::size_t& read) override
    {
        read = 0;
        return m_owner.Pass({eFileCall_Read, m_path}, [&] { return m_pOpened->Read(buffer, read); });
    }
    platform::eOsError Write(std::span<const std::byte> bytes) override
    {
        SFileCall call{eFileCall_Write, m_path};
        call.bytes = bytes.size();
        return m_owner.Pass(std::move(call), [&] { return m_pOpened->Write(bytes); });
    }
    platform::eOsError Seek(std::uint64_t position) override
    {
        return m_owner.Pass({eFileCall_Seek, m_path}, [&] { return m_pOpened->Seek(position); });
    }
    platform::eOsError GetAttributes(platform::SFileAttributes& attributes) override
    {
        return m_owner.Pass({eFileCall_FileAttributes, m_path}, [&] { return m_pOpened->GetAttributes(attributes); });
    }
    platform::eOsError Sync() override
    {
        return m_owner.Pass({eFileCall_Sync, m_path}, [&] { return m_pOpened->Sync(); });
    }
    platform::eOsError Close() override
    {
        const auto closed = m_pOpened->Close();
        return m_owner.Pass({eFileCall_Close, m_path}, [&] { return closed; });
    }
};

class CFaultyFiles::CFaultySync final : public CPassedOn<platform::IDirectorySync> {
public:
    using CPassedOn::CPassedOn;

    platform::eOsError Sync() override
    {
        return m_owner.Pass({eFileCall_SyncDirectory, m_path}, [&] { return m_pOpened->Sync(); });
    }
};

class CFaultyFiles::CFaultyWatch final : public CPassedOn<platform::IDirectoryWatch> {
public:
    using CPassedOn::CPassedOn;

    platform::eWaitResult Wait(std::chrono::milliseconds timeout) override
    {
        using std::chrono::steady_clock;
        const auto end = steady_clock::now() + std::min<std::chrono::milliseconds>(timeout, std::chrono::hours(1));
        for (;;) {
            const auto result = m_pOpened->Wait(timeout);
            if (!m_owner.m_isDeaf || result != platform::eWaitResult_Changed ||
                m_pOpened->Rearm() != platform::eOsError_None)
                return result;
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
            timeout = std::max(left, std::chrono::milliseconds::zero());
        }
    }
    platform::eOsError Rearm() override
    {
        return m_owner.Pass({eFileCall_Rearm, m_path}, [&] { return m_pOpened->Rearm(); });
    }
    platform::eOsError RearmNaming(std::vector<std::wstring>& names) override
    {
        return m_owner.Pass({eFileCall_Rearm, m_path}, [&] { return m_pOpened->RearmNaming(names); });
    }
    void Wake() override { m_pOpened->Wake(); }
};

void CFaultyFiles::FailCall(eFileCall call, unsigned n, platform::eOsError error, unsigned count, std::wstring pathPart)
{
    const platform::CMutexLock lock(m_mutex);
    m_plans.push_back({call, n, error, count, std::move(pathPart)});
}

void CFaultyFiles::FailAlways(eFileCall call, platform::eOsError error, std::wstring pathPart)
{
    FailCall(call, 1, error, ~0U, std::move(pathPart));
}

void CFaultyFiles::FailAnyCall(unsigned n, platform::eOsError error, unsigned count)
{
    const platform::CMutexLock lock(m_mutex);
    m_any = {eFileCall_Open, n, error, count, {}};
}

bool CFaultyFiles::HasFailed() const
{
    const platform::CMutexLock lock(m_mutex);
    return m_any.callsBefore == 0;
}

void CFaultyFiles::StopFailing()
{
    const platform::CMutexLock lock(m_mutex);
    m_plans.clear();
    m_any.count = 0;
}

void CFaultyFiles::OnCall(std::function<void(const SFileCall&)> hook)
{
    const platform::CMutexLock lock(m_mutex);
    m_hook = std::move(hook);
}

unsigned CFaultyFiles::Count(eFileCall call) const
{
    const platform::CMutexLock lock(m_mutex);
    const auto found = m_counts.find(call);
    return found == m_counts.end() ? 0 : found->second;
}

std::vector<SFileCall> CFaultyFiles::Calls() const
{
    const platform::CMutexLock lock(m_mutex);
    return m_calls;
}

void CFaultyFiles::ForgetCalls()
{
    const platform::CMutexLock lock(m_mutex);
    m_calls.clear();
    m_counts.clear();
}

platform::eOsError CFaultyFiles::Open(const std::wstring& path, platform::eOpenMode mode,
                                      std::unique_ptr<platform::IFile>& file)
{
    std::unique_ptr<platform::IFile> opened;
    const auto error = Pass({eFileCall_Open, path, {}, mode}, [&] { return m_files.Open(path, mode, opened); });
    if (error == platform::eOsError_None)
        file = std::make_unique<CFaultyFile>(*this, path, std::move(opened));
    return error;
}

platform::eOsError CFaultyFiles::OpenLockFile(const std::wstring& path, const std::string& content,
                                              std::unique_ptr<platform::ILockFile>& lockFile)
{
    return Pass({eFileCall_OpenLockFile, path, {}, 0, platform::eOsError_None, content},
                [&] { return m_files.OpenLockFile(path, content, lockFile); });
}

platform::eOsError CFaultyFiles::Move(const std::wstring& from, const std::wstring& to, unsigned flags)
{
    return Pass({eFileCall_Move, from, to, flags}, [&] { return m_files.Move(from, to, flags); });
}

platform::eOsError CFaultyFiles::Remove(const std::wstring& path)
{
    return Pass({eFileCall_Remove, path}, [&] { return m_files.Remove(path); });
}

platform::eOsError CFaultyFiles::GetAttributes(const std::wstring& path, platform::SFileAttributes& attributes)
{
    return Pass({eFileCall_GetAttributes, path}, [&] { return m_files.GetAttributes(path, attributes); });
}

platform::eOsError CFaultyFiles::SyncFile(const std::wstring& path)
{
    return Pass({eFileCall_Sync, path}, [&] { return m_files.SyncFile(path); });
}

platform::eOsError CFaultyFiles::GetChangeTime(const std::wstring& path, platform::FileTimeNs& time)
{
    return Pass({eFileCall_GetAttributes, path}, [&] { return m_files.GetChangeTime(path, time); });
}

platform::eOsError CFaultyFiles::MakeDirectory(const std::wstring& path)
{
    return Pass({eFileCall_MakeDirectory, path}, [&] { return m_files.MakeDirectory(path); });
}

platform::eOsError CFaultyFiles::RemoveEmptyDirectory(const std::wstring& path)
{
    return Pass({eFileCall_RemoveEmptyDirectory, path}, [&] { return m_files.RemoveEmptyDirectory(path); });
}

platform::eOsError CFaultyFiles::Visit(const std::wstring& directory, const Visitor& visitor)
{
    return Pass({eFileCall_List, directory}, [&] { return m_files.Visit(directory, visitor); });
}

platform::eOsError CFaultyFiles::GetOwner(const std::wstring& path, platform::FileOwner& owner)
{
    return Pass({eFileCall_GetOwner, path}, [&] { return m_files.GetOwner(path, owner); });
}

platform::eOsError CFaultyFiles::MakePrivate(const std::wstring& path, const platform::FileOwner& owner)
{
    return Pass({eFileCall_MakePrivate, path}, [&] { return m_files.MakePrivate(path, owner); });
}

platform::eOsError CFaultyFiles::CanMakePrivate(const std::wstring& directory)
{
    return Pass({eFileCall_MakePrivate, directory}, [&] { return m_files.CanMakePrivate(directory); });
}

platform::eOsError CFaultyFiles::AllowReading(const std::wstring& path, const std::wstring& directory)
{
    return Pass({eFileCall_AllowReading, path, directory}, [&] { return m_files.AllowReading(path, directory); });
}

platform::eOsError CFaultyFiles::OpenForSync(const std::wstring& directory,
                                             std::unique_ptr<platform::IDirectorySync>& sync)
{
    std::unique_ptr<platform::IDirectorySync> opened;
    const auto error = Pass({eFileCall_OpenForSync, directory}, [&] { return m_files.OpenForSync(directory, opened); });
    if (error == platform::eOsError_None)
        sync = std::make_unique<CFaultySync>(*this, directory, std::move(opened));
    return error;
}

platform::eOsError CFaultyFiles::Watch(const std::wstring& directory, platform::eWatchFilter filter,
                                       std::unique_ptr<platform::IDirectoryWatch>& watch)
{
    std::unique_ptr<platform::IDirectoryWatch> made;
    const auto error =
        Pass({eFileCall_Watch, directory, {}, filter}, [&] { return m_files.Watch(directory, filter, made); });
    if (error == platform::eOsError_None)
        watch = std::make_unique<CFaultyWatch>(*this, directory, std::move(made));
    return error;
}

platform::eOsError CFaultyFiles::Pass(SFileCall call, const std::function<platform::eOsError()>& forward)
{
    if (const auto hook = Hook())
        hook(call);
    const auto planned = PlannedFailure(call);
    call.result = planned != platform::eOsError_None ? planned : forward();
    const platform::CMutexLock lock(m_mutex);
    ++m_counts[call.call];
    m_calls.push_back(call);
    return call.result;
}

std::function<void(const SFileCall&)> CFaultyFiles::Hook() const
{
    const platform::CMutexLock lock(m_mutex);
    return m_hook;
}

platform::eOsError CFaultyFiles::PlannedFailure(const SFileCall& call)
{
    const platform::CMutexLock lock(m_mutex);
    auto failure = platform::eOsError_None;
    if (m_any.callsBefore > 0)
        --m_any.callsBefore;
    if (m_any.callsBefore == 0 && m_any.count > 0) {
        m_any.count -= m_any.count == ~0U ? 0 : 1;
        failure = m_any.error;
    }
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

} // namespace testsupport
