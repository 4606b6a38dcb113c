#include "tests/framework/log/LogFileFixture.h"

#include <filesystem>
#include <sys/resource.h>

namespace {

class LogFileTest : public CLogFileFixture {};

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
