#include "com/Com.h"
#include "framework/Log.h"
#include "framework/LogOptions.h"
#include "tests/framework/ScratchFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// A full log with five old ones beside it, each of which holds its number.
class LogFileTest : public testing::Test {
protected:
    LogFileTest()
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
    ~LogFileTest() override { EXPECT_TRUE(Brel::Log::Configure({})); }

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

TEST_F(LogFileTest, AReaderThatHoldsTheLogCostsNoOldOnes)
{
    const HANDLE reader = CreateFileW(m_path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    for (int line = 0; line < 6; ++line)
        Log(L"held");
    CloseHandle(reader);
    EXPECT_EQ(Old(), (std::vector<std::string>{"", "1", "2", "3", "4"}));
    EXPECT_TRUE(Contains(m_folder.Content(L"log"), "first")) << "it is written on";

    Log(L"next");
    EXPECT_TRUE(Contains(Old()[0], "first"));
    EXPECT_FALSE(Contains(m_folder.Content(L"log"), "held"));
}

} // namespace
