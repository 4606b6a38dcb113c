#include "framework/Log.h"
#include "framework/LogOptions.h"
#include "tests/framework/ScratchFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/resource.h>
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

/// No file can be opened while the object lives; those that are open stay so.
class CNoDescriptors {
public:
    CNoDescriptors()
    {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &m_old), 0);
        const rlimit none = {0, m_old.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~CNoDescriptors() { setrlimit(RLIMIT_NOFILE, &m_old); }
    CNoDescriptors(const CNoDescriptors&) = delete;
    CNoDescriptors& operator=(const CNoDescriptors&) = delete;

private:
    rlimit m_old = {};
};

TEST_F(LogFileTest, AsLongAsNoNewOneCanBeOpenedTheOldOnesStay)
{
    {
        const CNoDescriptors none;
        for (int line = 0; line < 6; ++line)
            Log(L"lost");
    }
    Log(L"again");
    EXPECT_TRUE(Contains(m_folder.Content(L"log"), "again"));
    const std::vector<std::string> old = Old();
    EXPECT_TRUE(Contains(old[0], "first")) << old[0];
    EXPECT_EQ(std::vector<std::string>(old.begin() + 1, old.end()), (std::vector<std::string>{"1", "2", "3", "4"}));
}

TEST_F(LogFileTest, AFileThatIsNotThereToBeSetAsideTakesNoOldOnesWithIt)
{
    for (int line = 0; line < 6; ++line) {
        ASSERT_TRUE(std::filesystem::remove(testsupport::StandardPath(m_path))); // the OS layer would find it in use
        Log(L"another");
    }
    EXPECT_EQ(Old(), (std::vector<std::string>{"", "1", "2", "3", "4"}));
}

} // namespace
