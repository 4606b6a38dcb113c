#include "protocol/FailedRecord.h"

#include "platform/Os.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

SFailedRecord Sample()
{
    return {.when = 1'700'000'000,
            .reason = L"Server error: no such table\n\tof C:\\data\u00e4",
            .crashReport = L"/var/crash/a.txt",
            .attempt = 2,
            .attempts = 3};
}

constexpr const char* kText = "zel-failed\t1\nwhen\t1700000000\nattempt\t2\nattempts\t3\n"
                              "reason\tServer error: no such table\\n\\tof C:\\\\data\xc3\xa4\n"
                              "crash-report\t/var/crash/a.txt\nend\t\n";

TEST(FailedRecord, IsReadAsItWasWritten)
{
    EXPECT_EQ(FailedRecord::ToText(Sample()), kText);
    SFailedRecord record;
    ASSERT_TRUE(FailedRecord::FromText(kText, record));
    EXPECT_EQ(record, Sample());
    const SFailedRecord plain = {.when = 1, .reason = L"x"};
    ASSERT_TRUE(FailedRecord::FromText(FailedRecord::ToText(plain), record));
    EXPECT_EQ(record, plain);
}

TEST(FailedRecord, APartOfOneIsNone)
{
    const std::string text = kText;
    SFailedRecord record;
    for (std::size_t length = 0; length < text.size(); ++length) {
        EXPECT_FALSE(FailedRecord::FromText(text.substr(0, length), record)) << length;
        EXPECT_EQ(record, SFailedRecord()) << length;
    }
}

TEST(FailedRecord, AByteThatIsAnotherChangesNoMoreThanItsLine)
{
    const std::string text = kText;
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            std::string flipped = text;
            flipped[at] = static_cast<char>(static_cast<unsigned char>(flipped[at]) ^ (1U << bit));
            SFailedRecord record;
            const bool isRead = FailedRecord::FromText(flipped, record);
            const bool isInFrame = at < std::string("zel-failed\t1\n").size() || at + 5 > text.size() - 1;
            EXPECT_EQ(isRead, !isInFrame) << at;
            EXPECT_TRUE(!isRead || record.reason == Sample().reason || record.when == Sample().when) << at;
        }
    }
}

TEST(FailedRecord, WhatIsNotKnownIsPassedOver)
{
    SFailedRecord record;
    ASSERT_TRUE(FailedRecord::FromText("zel-failed\t1\nfuture\tx\nnone\nwhen\t5x\nattempt\t-1\nend\t\n", record));
    EXPECT_EQ(record, SFailedRecord());
    EXPECT_FALSE(FailedRecord::FromText("zel-failed\t2\nend\t\n", record));
}

TEST(FailedRecord, ALongReasonIsCutSoThatTheRestCanBeRead)
{
    SFailedRecord record = Sample();
    record.reason.assign(200'000, L'\n');
    record.crashReport.assign(200'000, L'\u20ac');
    const std::string text = FailedRecord::ToText(record);
    EXPECT_LE(text.size(), FailedRecord::kMaxBytes);
    SFailedRecord read;
    ASSERT_TRUE(FailedRecord::FromText(text, read));
    EXPECT_EQ(read.attempts, 3U);
    EXPECT_EQ(read.reason, record.reason.substr(0, read.reason.size()));
    EXPECT_GT(read.reason.size(), 1000U);
    EXPECT_FALSE(
        FailedRecord::FromText("zel-failed\t1\n" + std::string(FailedRecord::kMaxBytes, '\n') + "end\t\n", read));
}

TEST(FailedRecord, AFileThatIsNotThereOrIsNoneIsNotRead)
{
    const testsupport::CTemporaryDirectory root;
    const std::wstring path = FailedRecord::PathOf(root / L"a.drq");
    EXPECT_EQ(path, root / L"a.drq.failed");
    SFailedRecord record;
    EXPECT_FALSE(FailedRecord::Read(path, record));
    ASSERT_EQ(platform::WriteWholeFile(path, "x"), platform::eOsError_None);
    EXPECT_FALSE(FailedRecord::Read(path, record));
    ASSERT_EQ(platform::WriteWholeFile(path, kText), platform::eOsError_None);
    ASSERT_TRUE(FailedRecord::Read(path, record));
    EXPECT_EQ(record, Sample());
}

} // namespace
