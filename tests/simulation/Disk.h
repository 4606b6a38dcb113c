#pragma once

#include "platform/FileSystem.h"
#include "tests/simulation/Random.h"
#include "tests/simulation/Scheduler.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sim {

/// Whose manner of sharing, listing and keeping files a history follows.
enum eManner { eManner_Linux, eManner_Windows };

/// How somebody has a file open.
enum eHold {
    eHold_Alone,    ///< to read or write, or for the time of a move
    eHold_Shared,   ///< to read, with others
    eHold_Lock,     ///< a lock file: others may read
    eHold_Stranger, ///< by a program that does not use the layer
};

struct SHolder {
    const SProcess* process;
    eHold hold;
};

struct SFile {
    std::string content;
    std::string synced;    ///< what is on the device for certain
    bool isSynced = false; ///< the content is
    platform::FileTimeNs created = 0;
    platform::FileTimeNs modified = 0;
    platform::FileTimeNs changed = 0; ///< its content, or its name
    std::list<SHolder> holders;
};

using FilePtr = std::shared_ptr<SFile>;

/// Directories and files in memory, and what a device has of them: names change at once for everybody, and reach the
/// device when their directory is synced, or at any time before. So do contents. Made directories are there for good.
class CDisk {
public:
    CDisk(eManner manner, CRandom& random) : m_manner(manner), m_random(random) {}

    void MakeDirectory(const std::wstring& path);
    [[nodiscard]] bool HasDirectory(const std::wstring& path) const { return m_directories.contains(path); }
    bool RemoveDirectory(const std::wstring& path);
    /// Null when there is none.
    [[nodiscard]] FilePtr Find(const std::wstring& path) const;
    /// In the order of the system: one sorts, the other has none.
    [[nodiscard]] std::vector<platform::SDirectoryEntry> List(const std::wstring& directory) const;
    [[nodiscard]] platform::FileTimeNs TimeOf(const std::wstring& directory) const;

    FilePtr Create(const std::wstring& path);
    void Remove(const std::wstring& path);
    void Rename(const std::wstring& from, const std::wstring& to);

    /// The content of an open file, by the name that it was opened with, has changed.
    void Touch(SFile& file, const std::wstring& path);
    void SyncFile(SFile& file);
    void SyncNames(const std::wstring& directory);
    /// Whatever was not synced is there, or not, or in part.
    void CutPower();
    /// Nobody of this process has anything open any more.
    void LetGo(const SProcess& process);

    /// Told of each change of a directory: names that came or went, contents, files closed by who wrote them.
    enum eChange { eChange_Came, eChange_Gone, eChange_Content, eChange_Closed };
    std::function<void(const std::wstring& directory, eChange change)> m_onChange;

private:
    using Names = std::map<std::wstring, FilePtr>;
    struct SDirectory {
        Names names;
        Names onDevice;
        platform::FileTimeNs modified = 0;
    };
    /// A name that was set, or taken away where the file is null.
    struct SSet {
        std::wstring directory;
        std::wstring name;
        FilePtr file;
    };
    /// What reaches the device as one: file systems of today keep a rename whole.
    using Operation = std::vector<SSet>;

    void Apply(Operation operation);
    /// Marks what an operation needs before it: earlier ones of the same names.
    void MarkNeeded(std::vector<bool>& chosen) const;
    void BringToDevice(const std::vector<bool>& chosen);
    void LoseContent(SFile& file);
    [[nodiscard]] platform::FileTimeNs Now() const;

    const eManner m_manner;
    CRandom& m_random;
    std::map<std::wstring, SDirectory> m_directories;
    std::vector<Operation> m_pending;
};

} // namespace sim
