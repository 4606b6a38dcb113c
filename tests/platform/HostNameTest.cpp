#include "platform/HostName.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(HostNameTest, AMachineHasANameOfOneWord)
{
    EXPECT_FALSE(HostName().empty());
    EXPECT_EQ(HostName().find_first_of(L" \n"), std::wstring::npos);
}

} // namespace
} // namespace platform
