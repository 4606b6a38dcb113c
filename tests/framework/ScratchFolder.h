#pragma once

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

/// A folder of its own for a test, gone with the object. Holds files only.
class CScratchFolder {
public:
    CScratchFolder()
    {
        std::wstring name = L"zel-framework-";
        for (const std::uint8_t byte : platform::NewUniqueId())
            name += std::to_wstring(byte);
        m_strPath = platform::JoinPath(platform::TemporaryDirectory(), name);
        EXPECT_TRUE(Succeeded(platform::SystemFiles().MakeDirectory(m_strPath)));
    }
    ~CScratchFolder()
    {
        for (const std::wstring& name : Names())
            EXPECT_TRUE(Succeeded(platform::SystemFiles().Remove(PathOf(name))));
        EXPECT_TRUE(Succeeded(platform::SystemFiles().RemoveEmptyDirectory(m_strPath)));
    }
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;

    [[nodiscard]] const std::wstring& Path() const { return m_strPath; }
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const { return platform::JoinPath(m_strPath, name); }

    /// Names of the files in order.
    [[nodiscard]] std::vector<std::wstring> Names() const
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_TRUE(Succeeded(platform::SystemFiles().List(m_strPath, entries)));
        std::vector<std::wstring> names;
        for (const platform::SDirectoryEntry& entry : entries)
            names.push_back(entry.name);
        std::ranges::sort(names);
        return names;
    }

    [[nodiscard]] std::string Content(const std::wstring& name) const
    {
        std::string bytes;
        EXPECT_TRUE(Succeeded(platform::ReadWholeFile(PathOf(name), platform::eOpenMode_ReadShared, bytes, 1U << 24U)));
        return bytes;
    }

private:
    std::wstring m_strPath;
};
