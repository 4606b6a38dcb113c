#include "protocol/SlotRecord.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

SSlotRecord SampleSlot()
{
    return {.process = 4711, .since = 1'700'000'000, .request = L"a\tb\u00e4.drq"};
}

constexpr const char* kSlotText = "zel-slot\t1\nprocess\t4711\nsince\t1700000000\nrequest\ta\\tb\xc3\xa4.drq\nend\t\n";

TEST(SlotRecord, IsReadAsItWasWritten)
{
    EXPECT_EQ(SlotRecord::ToText(SampleSlot()), kSlotText);
    SSlotRecord record;
    ASSERT_TRUE(SlotRecord::FromText(kSlotText, record));
    EXPECT_EQ(record, SampleSlot());
}

TEST(SlotRecord, APartOfOneIsNone)
{
    const std::string text = kSlotText;
    SSlotRecord record;
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_FALSE(SlotRecord::FromText(text.substr(0, length), record)) << length;
}

TEST(SlotRecord, TheLongestNameFitsAndALongerFileIsNone)
{
    SSlotRecord record = SampleSlot();
    record.request = std::wstring(255, L'\n');
    SSlotRecord read;
    ASSERT_TRUE(SlotRecord::FromText(SlotRecord::ToText(record), read));
    EXPECT_EQ(read, record);
    record.request = std::wstring(SlotRecord::kMaxBytes, L'x');
    EXPECT_FALSE(SlotRecord::FromText(SlotRecord::ToText(record), read));
}

TEST(SlotRecord, OnlyThoseOfTheServerThatServesAreRead)
{
    const testsupport::CTemporaryDirectory root;
    EXPECT_TRUE(SlotRecord::ReadAll(root.Path(), 4711).empty());
    SSlotRecord another = SampleSlot();
    another.process = 1;
    const auto write = [&](const wchar_t* name, const std::string& text) {
        ASSERT_EQ(platform::WriteWholeFile(root / name, text), platform::eOsError_None);
    };
    write(L"1", SlotRecord::ToText(another));
    write(L"3", kSlotText);
    write(L"4", "x");
    write(L"64", kSlotText);
    write(L"65", kSlotText);
    std::vector<unsigned> slots;
    for (const SSlotRecord& record : SlotRecord::ReadAll(root.Path(), 4711))
        slots.push_back(record.slot);
    EXPECT_EQ(slots, (std::vector<unsigned>{3, 64}));
    EXPECT_TRUE(SlotRecord::ReadAll(root.Path(), 0).empty()) << "of no server";
}

} // namespace
