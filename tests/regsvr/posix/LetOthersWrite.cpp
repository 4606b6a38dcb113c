#include "tests/regsvr/LetOthersWrite.h"

#include "platform/Path.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

void LetOthersWrite(const std::wstring& path)
{
    EXPECT_EQ(chmod(platform::NarrowPath(path).c_str(), 0777), 0);
}
