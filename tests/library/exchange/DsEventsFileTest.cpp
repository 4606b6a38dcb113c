#include "exchange/DsEventsFile.h"

#include "com/CreateInstance.h"
#include "com/ZelCom.h"
#include "platform/Os.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint64_t kNoLimit = 1 << 20;

/// An events file with one writer, and what that knows of it.
class DsEventsFileTest : public testing::Test {
protected:
    DsEventsFileTest()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~DsEventsFileTest() override
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    static DsEventsFile::SRecords Record(LONG kind)
    {
        const auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
        EXPECT_EQ(event->PutKind(kind), S_OK);
        return DsEventsFile::RecordOf(*event);
    }
    platform::eOsError Append(LONG kind, std::uint64_t limit = kNoLimit)
    {
        m_news = Record(kind);
        return DsEventsFile::Append(m_path, m_news, limit, m_end);
    }
    /// The kinds in the file; none and a failure for one that is refused.
    std::vector<LONG> Kinds() const
    {
        CDsEventsDataVector events;
        EXPECT_TRUE(CZELEnvFileDsEventsFile::ReadDsEventsFile(m_path, events));
        std::vector<LONG> kinds;
        for (const auto& event : events)
            EXPECT_EQ(event->GetKind(&kinds.emplace_back()), S_OK);
        return kinds;
    }
    std::uint64_t Length() const
    {
        platform::SFileAttributes attributes;
        EXPECT_EQ(platform::Files().GetAttributes(m_path, attributes), platform::eOsError_None);
        return attributes.length;
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    testsupport::CFaultyFiles m_files;
    const std::wstring m_path = m_dir / L"events";
    DsEventsFile::SRecords m_news;
    DsEventsFile::SEnd m_end;
};

} // namespace

TEST_F(DsEventsFileTest, WhatIsAddedStandsBehindWhatIsThere)
{
    for (LONG kind = 1; kind <= 3; ++kind)
        EXPECT_EQ(Append(kind), platform::eOsError_None);
    EXPECT_EQ(Kinds(), (std::vector<LONG>{1, 2, 3}));
    EXPECT_EQ(m_end.length, Length());
    EXPECT_EQ(m_end.count, 3);
    EXPECT_EQ(m_news.count, 0) << "nothing is left";
    CDsEventsDataVector all;
    ASSERT_TRUE(CZELEnvFileDsEventsFile::ReadDsEventsFile(m_path, all));
    const std::wstring whole = m_dir / L"whole";
    ASSERT_EQ(platform::WriteWholeFile(whole, {}), platform::eOsError_None);
    ASSERT_TRUE(WriteDsEventsFile(whole, all));
    std::string added;
    std::string written;
    EXPECT_EQ(platform::ReadWholeFile(m_path, platform::eOpenMode_ReadShared, added, kNoLimit),
              platform::eOsError_None);
    EXPECT_EQ(platform::ReadWholeFile(whole, platform::eOpenMode_ReadShared, written, kNoLimit),
              platform::eOsError_None);
    EXPECT_EQ(added, written) << "byte for byte";
}

TEST_F(DsEventsFileTest, AFileThatItsReaderEmptiedBeginsAnew)
{
    EXPECT_EQ(Append(1), platform::eOsError_None);
    ASSERT_EQ(platform::WriteWholeFile(m_path, {}), platform::eOsError_None);
    EXPECT_EQ(Append(2), platform::eOsError_None);
    EXPECT_EQ(Kinds(), std::vector<LONG>{2});
}

TEST_F(DsEventsFileTest, AFileThatItsReaderDeletedIsMadeAnew)
{
    EXPECT_EQ(Append(1), platform::eOsError_None);
    ASSERT_EQ(platform::Files().Remove(m_path), platform::eOsError_None);
    EXPECT_EQ(Append(2), platform::eOsError_None);
    EXPECT_EQ(Kinds(), std::vector<LONG>{2});
}

TEST_F(DsEventsFileTest, AnEndThatIsNotTheFilesIsFoundByReading)
{
    EXPECT_EQ(Append(1), platform::eOsError_None);
    EXPECT_EQ(Append(2), platform::eOsError_None);
    m_end = {};
    EXPECT_EQ(Append(3), platform::eOsError_None);
    EXPECT_EQ(Kinds(), (std::vector<LONG>{1, 2, 3}));
}

TEST_F(DsEventsFileTest, WhereNobodyKnowsWhatWasLostEverythingMayHaveChanged)
{
    ASSERT_EQ(platform::WriteWholeFile(m_path, "damaged"), platform::eOsError_None);
    EXPECT_EQ(Append(1), platform::eOsError_None);
    EXPECT_EQ(Kinds(), std::vector<LONG>{eDsEventKind_Reload});
    EXPECT_EQ(Append(5), platform::eOsError_None);
    EXPECT_EQ(Kinds(), (std::vector<LONG>{eDsEventKind_Reload, 5}));
    // Somebody who does not wait for the lock writes between the look and the opening.
    const platform::CScopedOs os(&m_files, nullptr);
    bool isDone = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && !std::exchange(isDone, true)) {
            EXPECT_EQ(platform::WriteWholeFile(m_path, "longer than the one before"), platform::eOsError_None);
        }
    });
    EXPECT_EQ(Append(6), platform::eOsError_None);
    EXPECT_EQ(Kinds(), std::vector<LONG>{eDsEventKind_Reload});
    m_files.OnCall({});
}

TEST_F(DsEventsFileTest, AFileThatWouldBecomeTooLongIsOneEventThatSaysSo)
{
    EXPECT_EQ(Append(1), platform::eOsError_None);
    const std::uint64_t two = Length() + Record(1).bytes.size();
    EXPECT_EQ(Append(3, two), platform::eOsError_None);
    EXPECT_EQ(Kinds(), (std::vector<LONG>{1, 3})) << "at the limit";
    EXPECT_EQ(Append(4, two), platform::eOsError_None);
    EXPECT_EQ(Kinds(), std::vector<LONG>{eDsEventKind_Reload});
    EXPECT_EQ(Append(5, two), platform::eOsError_None);
    EXPECT_EQ(Kinds(), (std::vector<LONG>{eDsEventKind_Reload, 5})) << "what comes after that is told again";
}

TEST_F(DsEventsFileTest, RecordsThatWaitAreBoundedInTheSameWay)
{
    DsEventsFile::SRecords waiting;
    const std::uint64_t two = 4 + 2 * Record(1).bytes.size();
    for (LONG kind = 1; kind <= 2; ++kind)
        DsEventsFile::Add(waiting, Record(kind), two);
    EXPECT_EQ(waiting.count, 2);
    DsEventsFile::Add(waiting, Record(3), two);
    EXPECT_EQ(waiting.count, 1);
    EXPECT_EQ(waiting.bytes, Record(eDsEventKind_Reload).bytes);
}

TEST_F(DsEventsFileTest, WhatCannotBeWrittenLeavesTheFileAsItWasWhicheverCallFails)
{
    EXPECT_EQ(Append(1), platform::eOsError_None);
    const platform::CScopedOs os(&m_files, nullptr);
    for (const testsupport::eFileCall call :
         {testsupport::eFileCall_Open, testsupport::eFileCall_FileAttributes, testsupport::eFileCall_Write}) {
        m_end = {Length(), 1}; // or it would be read first
        m_files.FailCall(call, 1, platform::eOsError_DiskFull);
        EXPECT_EQ(Append(2), platform::eOsError_DiskFull) << call;
        EXPECT_EQ(m_news.count, 1) << "it is left to be written";
        EXPECT_EQ(Kinds(), std::vector<LONG>{1}) << call;
    }
    m_end = {Length(), 1};
    m_files.FailCall(testsupport::eFileCall_Write, 2, platform::eOsError_DiskFull); // of the count
    EXPECT_EQ(Append(2), platform::eOsError_DiskFull);
    EXPECT_EQ(Kinds(), std::vector<LONG>{1});
    EXPECT_EQ(Append(3), platform::eOsError_None);
    EXPECT_EQ(Kinds(), (std::vector<LONG>{1, 3}));
    m_files.FailCall(testsupport::eFileCall_Seek, 1, platform::eOsError_IoError);
    EXPECT_EQ(Append(4), platform::eOsError_IoError);
    EXPECT_EQ(m_news.bytes, Record(eDsEventKind_Reload).bytes) << "the file cannot be left as it was";
}

TEST_F(DsEventsFileTest, AFailureAfterTheReplacementIsRememberedAsWhatIsLeft)
{
    EXPECT_EQ(Append(1), platform::eOsError_None);
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull);
        EXPECT_EQ(Append(2, 30), platform::eOsError_DiskFull);
    }
    EXPECT_EQ(Length(), 0U);
    EXPECT_EQ(m_news.bytes, Record(eDsEventKind_Reload).bytes) << "the first event is lost, and that is told";
}

TEST_F(DsEventsFileTest, SomebodyWhoHoldsTheFileIsNotWaitedFor)
{
    EXPECT_EQ(Append(1), platform::eOsError_None);
    m_end = {};
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(m_path, platform::eOpenMode_ReadExclusive, holder), platform::eOsError_None);
    EXPECT_EQ(Append(2), platform::eOsError_SharingViolation) << "it is to be read first";
    m_end = {Length(), 1};
    EXPECT_EQ(Append(2), platform::eOsError_SharingViolation) << "it is to be written";
    holder.reset();
    EXPECT_EQ(Append(2), platform::eOsError_None);
    EXPECT_EQ(Kinds(), (std::vector<LONG>{1, 2}));
}

TEST_F(DsEventsFileTest, AnEventCostsTheSameHoweverManyThereAre)
{
    const platform::CScopedOs os(&m_files, nullptr);
    const auto costOf = [&](int events) {
        m_files.ForgetCalls();
        for (int count = 0; count < events; ++count)
            EXPECT_EQ(Append(1), platform::eOsError_None);
        std::size_t bytes = 0;
        for (const testsupport::SFileCall& call : m_files.Calls())
            bytes += call.bytes;
        EXPECT_EQ(m_files.Count(testsupport::eFileCall_Read), 0U);
        return std::make_pair(m_files.Calls().size(), bytes);
    };
    EXPECT_EQ(Append(1), platform::eOsError_None);
    const auto first = costOf(500);
    EXPECT_EQ(costOf(9'000).first, 18 * first.first);
    EXPECT_EQ(costOf(500), first);
}
