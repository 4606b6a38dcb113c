#pragma once

#include "framework/Log.h"
#include "framework/LogOptions.h"
#include "tests/framework/ScratchFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A full log with five old ones beside it, each of which holds its number.
class CLogFileFixture : public testing::Test {
protected:
    CLogFileFixture()
    {
        for (int old = 1; old <= Brel::Log::kOldLogFiles; ++old)
            EXPECT_EQ(platform::WriteWholeFile(OldPath(old), std::to_string(old)), platform::eOsError_None);
        Brel::Log::SLogOptions options;
        options.console = false;
        options.file = m_path;
        options.maxFileSize = 100;
        EXPECT_TRUE(Brel::Log::Configure(options));
        Log(L"first");
    }
    ~CLogFileFixture() override { EXPECT_TRUE(Brel::Log::Configure({})); }

    [[nodiscard]] std::wstring OldPath(int old) const { return m_path + L"." + std::to_wstring(old); }
    /// One line is as much as a file holds.
    static void Log(const std::wstring& text)
    {
        Brel::Log::Write(*Brel::Log::Get("LogFileTest"), Brel::Log::eLogLevel_Info, {}, text + std::wstring(50, L'.'));
    }
    /// What the old files hold, the newest first; empty for one that is not there.
    [[nodiscard]] std::vector<std::string> Old() const
    {
        std::vector<std::string> contents;
        for (int old = 1; old <= Brel::Log::kOldLogFiles; ++old)
            contents.push_back(platform::PathExists(OldPath(old)) ? m_folder.Content(L"log." + std::to_wstring(old))
                                                                  : std::string());
        return contents;
    }
    [[nodiscard]] static bool Contains(const std::string& content, const char* text)
    {
        return content.find(text) != std::string::npos;
    }

    CScratchFolder m_folder;
    const std::wstring m_path = m_folder.PathOf(L"log");
};
