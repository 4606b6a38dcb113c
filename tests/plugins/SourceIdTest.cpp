#include "plugins/datastore/SourceId.h"

#include "com/Guid.h"

#include <gtest/gtest.h>

#include <string>

namespace {
constexpr GUID kDnsSpace = {0x6BA7B810, 0x9DAD, 0x11D1, {0x80, 0xB4, 0x00, 0xC0, 0x4F, 0xD4, 0x30, 0xC8}};

std::wstring DnsId(const std::string& name)
{
    return GuidToText(NameBasedId(kDnsSpace, name));
}
} // namespace

// The expected ids were computed by another implementation of version 5.
TEST(SourceId, IsTheNameBasedIdThatEverybodyComputes)
{
    EXPECT_EQ(DnsId("www.example.com"), L"{2ED6657D-E927-568B-95E1-2665A8AEA6A2}");
    EXPECT_EQ(GuidToText(TableId("box", "birds")), L"{E0AD7F5C-8A63-5FD2-AAD7-8A76408CB890}");
}

TEST(SourceId, TheNameMayHaveAnyLength)
{
    EXPECT_EQ(DnsId(""), L"{4EBD0208-8328-5D69-8C44-EC50939C0967}");
    EXPECT_EQ(DnsId(std::string(39, 'x')), L"{2F80C0D1-1C62-579F-8D68-E61AD5592C9B}");
    EXPECT_EQ(DnsId(std::string(40, 'x')), L"{E56FD57A-7633-5E1D-8F80-70E05AC413E5}");
    EXPECT_EQ(DnsId(std::string(100, 'x')), L"{897F5B43-A3C8-582D-9C8D-9CFE358A534D}");
}
