#pragma once

#include "platform/FileSystem.h"
#include "tests/simulation/Disk.h"

namespace sim {

/// Keeps a file open as long as it lives, or as its process does.
class CHold {
public:
    CHold(FilePtr file, eHold hold);
    ~CHold();
    CHold(const CHold&) = delete;
    CHold& operator=(const CHold&) = delete;

private:
    const FilePtr m_file;
    const SProcess& m_process;
    const eHold m_hold;
};

[[nodiscard]] platform::SFileAttributes AttributesOf(const SFile& file);
[[nodiscard]] platform::eOsError OpenFile(const std::wstring& path, platform::eOpenMode mode,
                                          std::unique_ptr<platform::IFile>& file);
[[nodiscard]] platform::eOsError TakeLockFile(const std::wstring& path, const std::string& content,
                                              std::unique_ptr<platform::ILockFile>& lockFile);

} // namespace sim
