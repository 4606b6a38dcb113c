#include "com/Com.h"
#include "tests/framework/log/LogFileFixture.h"

namespace {

class LogFileTest : public CLogFileFixture {};

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
