#pragma once

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

/// A temporary directory of a test and what the code under test leaves in it.
class CScratchFolder {
public:
    [[nodiscard]] const std::wstring& Path() const { return m_directory.Path(); }
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const { return m_directory / name; }

    /// Names of the files in order.
    [[nodiscard]] std::vector<std::wstring> Names() const
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_TRUE(Succeeded(platform::SystemFiles().List(Path(), entries)));
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
    testsupport::CTemporaryDirectory m_directory;
};
