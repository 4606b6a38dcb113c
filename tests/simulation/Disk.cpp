#include "tests/simulation/Disk.h"

#include "platform/Path.h"

#include <algorithm>
#include <utility>

namespace sim {

using platform::DirectoryOf;
using platform::FileNameOf;

platform::FileTimeNs CDisk::Now() const
{
    constexpr platform::FileTimeNs start = 1'700'000'000'000'000'000;
    // The clock of a file system ticks slowly.
    constexpr platform::FileTimeNs tick = 4'000'000;
    const platform::FileTimeNs now = CScheduler::Running()->Now().count();
    return start + now / tick * tick;
}

void CDisk::MakeDirectory(const std::wstring& path)
{
    m_directories[path].modified = Now();
}

bool CDisk::RemoveDirectory(const std::wstring& path)
{
    const auto found = m_directories.find(path);
    if (found == m_directories.end() || !found->second.names.empty())
        return false;
    m_directories.erase(found);
    return true;
}

FilePtr CDisk::Find(const std::wstring& path) const
{
    const auto directory = m_directories.find(DirectoryOf(path));
    if (directory == m_directories.end())
        return nullptr;
    const auto file = directory->second.names.find(FileNameOf(path));
    return file != directory->second.names.end() ? file->second : nullptr;
}

std::vector<platform::SDirectoryEntry> CDisk::List(const std::wstring& directory) const
{
    std::vector<platform::SDirectoryEntry> entries;
    for (const auto& [name, file] : m_directories.at(directory).names)
        entries.push_back({name, false, platform::eNameKind_File});
    for (const auto& [path, content] : m_directories) {
        if (DirectoryOf(path) == directory && path != directory)
            entries.push_back({FileNameOf(path), true, platform::eNameKind_Directory});
    }
    for (std::size_t left = entries.size(); m_manner == eManner_Linux && left > 1; --left)
        std::swap(entries[left - 1], entries[m_random.Below(left)]);
    return entries;
}

platform::FileTimeNs CDisk::TimeOf(const std::wstring& directory) const
{
    return m_directories.at(directory).modified;
}

FilePtr CDisk::Create(const std::wstring& path)
{
    auto file = std::make_shared<SFile>();
    file->created = file->modified = Now();
    Apply({{DirectoryOf(path), FileNameOf(path), file}});
    return file;
}

void CDisk::Remove(const std::wstring& path)
{
    Apply({{DirectoryOf(path), FileNameOf(path), nullptr}});
}

void CDisk::Rename(const std::wstring& from, const std::wstring& to)
{
    FilePtr file = Find(from);
    Apply({{DirectoryOf(from), FileNameOf(from), nullptr}, {DirectoryOf(to), FileNameOf(to), std::move(file)}});
}

void CDisk::Apply(Operation operation)
{
    for (const SSet& set : operation) {
        SDirectory& directory = m_directories.at(set.directory);
        directory.modified = Now();
        if (set.file) {
            directory.names[set.name] = set.file;
            set.file->changed = Now();
        } else {
            directory.names.erase(set.name);
        }
        if (m_onChange)
            m_onChange(set.directory, set.file ? eChange_Came : eChange_Gone);
    }
    m_pending.push_back(std::move(operation));
}

void CDisk::Touch(SFile& file, const std::wstring& path)
{
    file.modified = file.changed = Now();
    if (m_onChange)
        m_onChange(DirectoryOf(path), eChange_Content);
}

void CDisk::SyncFile(SFile& file)
{
    file.synced = file.content;
    file.isSynced = true;
}

void CDisk::SyncNames(const std::wstring& directory)
{
    std::vector<bool> chosen;
    for (const Operation& operation : m_pending) {
        const auto isHere = [&](const SSet& set) { return set.directory == directory; };
        chosen.push_back(std::any_of(operation.begin(), operation.end(), isHere));
    }
    MarkNeeded(chosen);
    BringToDevice(chosen);
}

void CDisk::MarkNeeded(std::vector<bool>& chosen) const
{
    const auto shareName = [](const Operation& one, const Operation& other) {
        return std::any_of(one.begin(), one.end(), [&](const SSet& set) {
            return std::any_of(other.begin(), other.end(), [&](const SSet& earlier) {
                return set.directory == earlier.directory && set.name == earlier.name;
            });
        });
    };
    for (std::size_t later = m_pending.size(); later-- > 0;) {
        for (std::size_t earlier = 0; chosen[later] && earlier < later; ++earlier)
            chosen[earlier] = chosen[earlier] || shareName(m_pending[later], m_pending[earlier]);
    }
}

void CDisk::BringToDevice(const std::vector<bool>& chosen)
{
    std::vector<Operation> left;
    for (std::size_t index = 0; index < m_pending.size(); ++index) {
        if (!chosen[index]) {
            left.push_back(std::move(m_pending[index]));
            continue;
        }
        for (const SSet& set : m_pending[index]) {
            Names& names = m_directories.at(set.directory).onDevice;
            if (set.file)
                names[set.name] = set.file;
            else
                names.erase(set.name);
        }
    }
    m_pending = std::move(left);
}

void CDisk::CutPower()
{
    std::vector<bool> chosen;
    for (std::size_t index = 0; index < m_pending.size(); ++index)
        chosen.push_back(m_random.OneIn(2));
    MarkNeeded(chosen);
    BringToDevice(chosen);
    m_pending.clear();
    for (auto& [path, directory] : m_directories) {
        directory.names = directory.onDevice;
        for (const auto& [name, file] : directory.names)
            LoseContent(*file);
    }
}

void CDisk::LoseContent(SFile& file)
{
    file.holders.clear();
    if (file.isSynced)
        return;
    const std::size_t kept = m_random.Below(file.content.size() + 1);
    switch (m_random.Below(4)) {
    case 0: file.content = file.synced; break; // of one that never was synced: empty
    case 1: file.content.resize(kept); break;
    case 2: std::fill(file.content.begin() + static_cast<std::ptrdiff_t>(kept), file.content.end(), '\0'); break;
    default: break;
    }
    SyncFile(file);
}

void CDisk::LetGo(const SProcess& process)
{
    for (auto& [path, directory] : m_directories) {
        const Names names = directory.names; // a lock file goes on the way
        for (const auto& [name, file] : names) {
            const auto isLock = [&](const SHolder& holder) {
                return holder.process == &process && holder.hold == eHold_Lock;
            };
            const bool isGone =
                m_manner == eManner_Windows && std::any_of(file->holders.begin(), file->holders.end(), isLock);
            file->holders.remove_if([&](const SHolder& holder) { return holder.process == &process; });
            if (isGone)
                Remove(platform::JoinPath(path, name));
        }
    }
}

} // namespace sim
