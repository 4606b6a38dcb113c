#include "tests/simulation/OpenFile.h"

#include "platform/Path.h"
#include "tests/simulation/World.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace sim {
namespace {

using platform::eOsError;

/// Whether somebody who has the file open keeps this one out. Linux tells an open of a stranger to those who move and
/// remove files alone.
bool IsKeptOut(const SFile& file, eHold hold)
{
    if (CWorld::Current()->IsPlanted(ePlanted_HoldIgnored))
        return false;
    const bool isLinux = CWorld::Current()->m_settings.manner == eManner_Linux;
    return std::any_of(file.holders.begin(), file.holders.end(), [&](const SHolder& holder) {
        if (holder.hold == eHold_Stranger)
            return !isLinux && hold != eHold_Shared;
        return hold != eHold_Shared || holder.hold == eHold_Alone;
    });
}

/// What both systems do: content is written over, and what is left of a longer one is cut when the file is closed.
class CFile final : public platform::IFile {
public:
    CFile(std::wstring path, FilePtr file, eHold hold, bool writes)
        : m_path(std::move(path)), m_file(std::move(file)), m_writes(writes)
    {
        m_hold.emplace(m_file, hold);
    }
    ~CFile() override { static_cast<void>(Close()); }

    eOsError Read(std::span<std::byte> buffer, std::size_t& read) override
    {
        read = 0;
        if (const eOsError error = World().Enter("read", m_path); !platform::Succeeded(error))
            return error;
        read = std::min(buffer.size(), m_file->content.size() - std::min(m_position, m_file->content.size()));
        std::transform(m_file->content.begin() + static_cast<std::ptrdiff_t>(m_position),
                       m_file->content.begin() + static_cast<std::ptrdiff_t>(m_position + read), buffer.begin(),
                       [](char c) { return static_cast<std::byte>(c); });
        m_position += read;
        return platform::eOsError_None;
    }

    /// In two parts, so that one who dies leaves the first.
    eOsError Write(std::span<const std::byte> bytes) override
    {
        const std::size_t first = World().m_random.Below(bytes.size() + 1);
        for (const auto part : {bytes.first(first), bytes.subspan(first)}) {
            if (const eOsError error = World().Enter("write", m_path); !platform::Succeeded(error))
                return error;
            Put(World().IsPlantedNow(ePlanted_ShortWrite) ? part.first(part.size() / 2) : part);
        }
        return platform::eOsError_None;
    }

    eOsError Seek(std::uint64_t position) override
    {
        const eOsError error = World().Enter("seek", m_path);
        if (platform::Succeeded(error))
            m_position = std::min(static_cast<std::size_t>(position), m_file->content.size());
        return error;
    }

    eOsError GetAttributes(platform::SFileAttributes& attributes) override
    {
        const eOsError error = World().Enter("attributes of the open", m_path);
        if (platform::Succeeded(error))
            attributes = AttributesOf(*m_file);
        return error;
    }

    eOsError Sync() override
    {
        if (const eOsError error = World().Enter("sync", m_path); !platform::Succeeded(error))
            return error;
        Cut();
        if (!World().IsPlanted(ePlanted_FileNotSynced))
            World().m_disk.SyncFile(*m_file);
        if (World().m_settings.manner == eManner_Windows && !World().IsPlanted(ePlanted_NamesNotSynced))
            World().m_disk.SyncNames(platform::DirectoryOf(m_path));
        return platform::eOsError_None;
    }

    eOsError Close() override
    {
        if (!m_hold)
            return platform::eOsError_None;
        const eOsError error = World().Enter("close", m_path);
        if (platform::Succeeded(error))
            Cut();
        m_hold.reset();
        if (m_writes && !World().Process().isDead)
            World().m_disk.m_onChange(platform::DirectoryOf(m_path), CDisk::eChange_Closed);
        return error;
    }

private:
    static CWorld& World() { return *CWorld::Current(); }

    void Put(std::span<const std::byte> bytes)
    {
        std::string& content = m_file->content;
        content.resize(std::max(content.size(), m_position + bytes.size()));
        std::transform(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(m_position),
                       [](std::byte byte) { return static_cast<char>(byte); });
        m_position += bytes.size();
        Changed();
    }

    void Cut()
    {
        if (!m_writes || m_file->content.size() <= m_position)
            return;
        m_file->content.resize(m_position);
        Changed();
    }

    void Changed()
    {
        m_file->isSynced = false;
        World().m_disk.Touch(*m_file, m_path);
    }

    const std::wstring m_path;
    const FilePtr m_file;
    const bool m_writes;
    std::size_t m_position = 0;
    std::optional<CHold> m_hold;
};

class CLockFile final : public platform::ILockFile {
public:
    CLockFile(std::wstring path, FilePtr file) : m_path(std::move(path)), m_file(std::move(file))
    {
        m_hold.emplace(m_file, eHold_Lock);
    }
    ~CLockFile() override
    {
        CWorld& world = *CWorld::Current();
        const bool isDone = platform::Succeeded(world.Enter("unlock", m_path));
        m_hold.reset();
        if (isDone && world.m_disk.Find(m_path) == m_file)
            world.m_disk.Remove(m_path);
    }

private:
    const std::wstring m_path;
    const FilePtr m_file;
    std::optional<CHold> m_hold;
};

} // namespace

CHold::CHold(FilePtr file, eHold hold) : m_file(std::move(file)), m_process(CWorld::Process()), m_hold(hold)
{
    m_file->holders.push_back({&m_process, m_hold});
}

CHold::~CHold()
{
    if (m_process.isDead)
        return;
    const auto isThis = [this](const SHolder& holder) { return holder.process == &m_process && holder.hold == m_hold; };
    const auto found = std::find_if(m_file->holders.begin(), m_file->holders.end(), isThis);
    if (found != m_file->holders.end())
        m_file->holders.erase(found);
}

platform::SFileAttributes AttributesOf(const SFile& file)
{
    return {false, file.content.size(), {file.created, file.modified}};
}

eOsError OpenFile(const std::wstring& path, platform::eOpenMode mode, std::unique_ptr<platform::IFile>& file)
{
    CDisk& disk = CWorld::Current()->m_disk;
    if (disk.HasDirectory(path))
        return platform::eOsError_AccessDenied;
    if (!disk.HasDirectory(platform::DirectoryOf(path)))
        return platform::eOsError_PathNotFound;
    const bool writes = mode == platform::eOpenMode_WriteExclusive || mode == platform::eOpenMode_CreateExclusive;
    FilePtr found = disk.Find(path);
    if (found && mode == platform::eOpenMode_CreateExclusive)
        return platform::eOsError_AlreadyExists;
    if (!found && !writes)
        return platform::eOsError_FileNotFound;
    const eHold hold = mode == platform::eOpenMode_ReadShared ? eHold_Shared : eHold_Alone;
    if (found && IsKeptOut(*found, hold))
        return platform::eOsError_SharingViolation;
    if (!found)
        found = disk.Create(path);
    file = std::make_unique<CFile>(path, found, hold, writes);
    return platform::eOsError_None;
}

eOsError TakeLockFile(const std::wstring& path, const std::string& content,
                      std::unique_ptr<platform::ILockFile>& lockFile)
{
    CDisk& disk = CWorld::Current()->m_disk;
    if (!disk.HasDirectory(platform::DirectoryOf(path)))
        return platform::eOsError_PathNotFound;
    FilePtr file = disk.Find(path);
    if (file && !file->holders.empty())
        return platform::eOsError_SharingViolation;
    if (!file)
        file = disk.Create(path);
    file->content = content;
    file->isSynced = false;
    lockFile = std::make_unique<CLockFile>(path, file);
    return platform::eOsError_None;
}

} // namespace sim
