#pragma once

#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// The directories of a server and its client, which go with it. A base of fixtures.
class CDirectories {
protected:
    void MakeDirectories() const
    {
        for (const std::wstring& dir : {m_requestDir, m_outputDir, m_clientDir})
            ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(dir)));
    }
    [[nodiscard]] static std::wstring In(const std::wstring& dir, const std::wstring& name)
    {
        return platform::JoinPath(dir, name);
    }
    [[nodiscard]] std::wstring Queued(const std::wstring& name) const { return In(In(m_outputDir, L"Queue"), name); }

    static void Write(const std::wstring& path, const std::string& bytes = "<Request/>")
    {
        ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, bytes)));
    }
    static std::string Read(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_TRUE(platform::Succeeded(
            platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, std::size_t{1} << 20)));
        return bytes;
    }
    [[nodiscard]] static std::vector<std::wstring> FilesIn(const std::wstring& dir)
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_TRUE(platform::Succeeded(platform::Files().List(dir, entries)));
        std::vector<std::wstring> names;
        for (const auto& entry : entries) {
            if (!entry.isDirectory)
                names.push_back(entry.name);
        }
        return names;
    }

    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_requestDir = m_dir / L"requests";
    std::wstring m_outputDir = m_dir / L"output";
    std::wstring m_clientDir = m_dir / L"client";
};
