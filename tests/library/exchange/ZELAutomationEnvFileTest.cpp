#include "ZELAutomation/ZELAutomationEnvFile.h"

#include "com/Components.h"
#include "framework/Exceptions.h"
#include "tests/library/exchange/SampleEvents.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"

#include <new>

namespace {

using SampleEvents::Describe;

class ZELAutomationEnvFile : public CExchangeTest {
protected:
    void MakeFile() { WriteBytes(m_path, ""); }
    bool Read(CDsEventsDataVector& events) { return CZELEnvFileDsEventsFile::ReadDsEventsFile(m_path, events); }

    const std::wstring m_path = m_directory / L"DsEvents_{x}";
};

/// Items that announce another number than they deliver; with a negative one there is no memory to deliver any.
class CLyingItems final : public CComObject<IWQ_DsItems> {
public:
    CLyingItems(LONG announced, LONG delivered) : m_announced(announced), m_delivered(delivered) {}

    HRESULT STDMETHODCALLTYPE GetCount(LONG* count) override
    {
        *count = m_announced;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetItem(LONG index, LONG* item) override
    {
        if (m_delivered < 0)
            throw std::bad_alloc();
        *item = index < m_delivered ? index : 0;
        return index < m_delivered ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Add(LONG) override { return E_NOTIMPL; }

private:
    const LONG m_announced;
    const LONG m_delivered;
};

CComPtr<IWQ_DsItems> Lying(LONG announced, LONG delivered)
{
    return AttachComPtr<IWQ_DsItems>(MakeComObject<CLyingItems>(announced, delivered).Detach());
}

CComPtr<IWQ_DsEventsData> LyingEvent(LONG delivered)
{
    auto event = SampleEvents::Empty();
    const auto list = MakeDsList();
    EXPECT_EQ(list->Put(&kFirstId, Lying(3, delivered).Get()), S_OK);
    EXPECT_EQ(event->PutAddedItems(list.Get()), S_OK);
    return event;
}

/// An events object whose kind can't be read.
class CKindlessEvent final : public CComObject<IWQ_DsEventsData> {
public:
    HRESULT STDMETHODCALLTYPE GetAddedItems(IWQ_DsList** list) override { return Nothing(list); }
    HRESULT STDMETHODCALLTYPE PutAddedItems(IWQ_DsList*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetChangedItems(IWQ_DsList** list) override { return Nothing(list); }
    HRESULT STDMETHODCALLTYPE PutChangedItems(IWQ_DsList*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRemovedItems(IWQ_DsList** list) override { return Nothing(list); }
    HRESULT STDMETHODCALLTYPE PutRemovedItems(IWQ_DsList*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRenamedItems(IWQ_DsList** list) override { return Nothing(list); }
    HRESULT STDMETHODCALLTYPE PutRenamedItems(IWQ_DsList*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetChangedSources(IWQ_DsGuidSet** set) override { return Nothing(set); }
    HRESULT STDMETHODCALLTYPE PutChangedSources(IWQ_DsGuidSet*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetKind(LONG* kind) override
    {
        *kind = 5;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutKind(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAffectedItems(IWQ_DsList** list) override { return Nothing(list); }
    HRESULT STDMETHODCALLTYPE PutAffectedItems(IWQ_DsList*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetChangedColumns(IWQ_DsList** list) override { return Nothing(list); }
    HRESULT STDMETHODCALLTYPE PutChangedColumns(IWQ_DsList*) override { return E_NOTIMPL; }

private:
    template <class Part>
    static HRESULT Nothing(Part** part)
    {
        *part = nullptr;
        return S_FALSE;
    }
};

} // namespace

TEST_F(ZELAutomationEnvFile, TheWriterMakesNoFile)
{
    EXPECT_FALSE(WriteDsEventsFile(m_path, {SampleEvents::Small()}));
    EXPECT_FALSE(platform::PathExists(m_path));
    CDsEventsDataVector events;
    EXPECT_FALSE(Read(events));
}

TEST_F(ZELAutomationEnvFile, TwoEventsComeBackInTheirOrder)
{
    MakeFile();
    ASSERT_TRUE(WriteDsEventsFile(m_path, {SampleEvents::Full(), SampleEvents::Small()}));
    CDsEventsDataVector events;
    ASSERT_TRUE(Read(events));
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(Describe(events[0]), "kind 1\n"
                                   "added: 1234567(1,2)\n"
                                   "changed: fedcba98(3) 1234567(4,5)\n"
                                   "columns: 1234567(0,7)\n"
                                   "removed: fedcba98()\n"
                                   "renamed:\n"
                                   "sources: 3 1234567\n"
                                   "affected: 3(-1)\n");
    EXPECT_EQ(Describe(events[1]), "kind 0\nremoved: 1234567(9)\n");
}

TEST_F(ZELAutomationEnvFile, ReadingAppends)
{
    MakeFile();
    ASSERT_TRUE(WriteDsEventsFile(m_path, {SampleEvents::Small()}));
    CDsEventsDataVector events = {SampleEvents::Full()};
    ASSERT_TRUE(Read(events));
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(Describe(events[1]), Describe(SampleEvents::Small()));
}

TEST_F(ZELAutomationEnvFile, WritingReplaces)
{
    MakeFile();
    ASSERT_TRUE(WriteDsEventsFile(m_path, {SampleEvents::Full(), SampleEvents::Full()}));
    ASSERT_TRUE(WriteDsEventsFile(m_path, {SampleEvents::Small()}));
    CDsEventsDataVector events;
    ASSERT_TRUE(Read(events));
    EXPECT_EQ(events.size(), 1U);
    ASSERT_TRUE(WriteDsEventsFile(m_path, {}));
    EXPECT_EQ(ReadBytes(m_path), std::string(4, '\0'));
}

TEST_F(ZELAutomationEnvFile, AnEmptiedFileHasNoEvents)
{
    MakeFile();
    CDsEventsDataVector events;
    EXPECT_TRUE(Read(events));
    EXPECT_TRUE(events.empty());
}

TEST_F(ZELAutomationEnvFile, AKindThatCannotBeReadIsMinusOne)
{
    MakeFile();
    CDsEventsDataVector written;
    written.push_back(AttachComPtr<IWQ_DsEventsData>(MakeComObject<CKindlessEvent>().Detach()));
    ASSERT_TRUE(WriteDsEventsFile(m_path, written));
    CDsEventsDataVector events;
    ASSERT_TRUE(Read(events));
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(Describe(events[0]), "kind -1\n");
}

TEST_F(ZELAutomationEnvFile, ChangedColumnsTravelForTheChangedSourcesOnly)
{
    MakeFile();
    const auto event = SampleEvents::Empty();
    EXPECT_EQ(event->PutChangedItems(SampleEvents::List({{kFirstId, {1}}}).Get()), S_OK);
    EXPECT_EQ(event->PutChangedColumns(SampleEvents::List({{kFirstId, {}}, {kSecondId, {2}}}).Get()), S_OK);
    const auto columnsAlone = SampleEvents::Empty();
    EXPECT_EQ(columnsAlone->PutChangedColumns(SampleEvents::List({{kFirstId, {1}}}).Get()), S_OK);
    ASSERT_TRUE(WriteDsEventsFile(m_path, {event, columnsAlone}));
    CDsEventsDataVector events;
    ASSERT_TRUE(Read(events));
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(Describe(events[0]), "kind -1\nchanged: 1234567(1)\ncolumns: 1234567()\n");
    EXPECT_EQ(Describe(events[1]), "kind -1\n");
}

TEST_F(ZELAutomationEnvFile, AListWithAWrongCountIsReportedAndThrown)
{
    for (const LONG delivered : {2, 4, 1000}) {
        const CComPtr<IWQ_Archive> object = Storing();
        _ar::archive archive(object.Get());
        EXPECT_THROW(CZELEnvFileDsList::WriteDsList(archive, kFirstId, *Lying(3, delivered)), CNotSupportedException);
        const auto reports = m_host.TakeReports();
        ASSERT_EQ(reports.size(), 1U);
        EXPECT_EQ(reports[0].sourceFile, L"inc/ZELAutomation/ZELAutomationEnvFile");
        EXPECT_EQ(reports[0].sourceLine, 237);
        EXPECT_EQ(reports[0].function, L"CZELEnvFileDsList::WriteDsList");
        EXPECT_EQ(reports[0].message, L"Invalid count of stored elements !");
    }
    const CComPtr<IWQ_Archive> object = Storing();
    _ar::archive archive(object.Get());
    EXPECT_NO_THROW(CZELEnvFileDsList::WriteDsList(archive, kFirstId, *Lying(3, 3)));
    EXPECT_EQ(BytesOf(object).size(), 16U + 4U + 3U * 4U);
}

TEST_F(ZELAutomationEnvFile, AnEventThatCannotBeWrittenFailsTheWholeFile)
{
    WriteBytes(m_path, "old content");
    EXPECT_FALSE(WriteDsEventsFile(m_path, {SampleEvents::Small(), LyingEvent(2)}));
    m_host.ExpectReport(237, L"Invalid count of stored elements !");
    EXPECT_EQ(ReadBytes(m_path), "");
    EXPECT_FALSE(WriteDsEventsFile(m_path, {nullptr}));
    WriteBytes(m_path, "old content");
    EXPECT_FALSE(WriteDsEventsFile(m_path, {SampleEvents::Small(), LyingEvent(-1)})) << "no memory";
    EXPECT_EQ(ReadBytes(m_path), "");
}

TEST_F(ZELAutomationEnvFile, ABusyFileIsWaitedForForTwoSeconds)
{
    MakeFile();
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(m_path, platform::eOpenMode_WriteExclusive, holder), platform::eOsError_None);
    testsupport::CManualClock clock(std::chrono::milliseconds(1));
    const platform::CScopedOs scope(nullptr, &clock);
    const auto start = clock.Steady();
    EXPECT_FALSE(WriteDsEventsFile(m_path, {SampleEvents::Small()}));
    EXPECT_EQ(clock.Steady() - start, std::chrono::milliseconds(2001)); // at 2.0 s there is one more try
    EXPECT_EQ(clock.Sleeps(), 0U);
    CDsEventsDataVector events;
    const auto second = clock.Steady();
    EXPECT_FALSE(Read(events));
    EXPECT_EQ(clock.Steady() - second, std::chrono::milliseconds(2001));
    EXPECT_TRUE(events.empty());
}

TEST_F(ZELAutomationEnvFile, AFileThatBecomesFreeInTimeIsTaken)
{
    MakeFile();
    std::unique_ptr<platform::IFile> holder;
    const auto hold = [&] {
        ASSERT_EQ(platform::Files().Open(m_path, platform::eOpenMode_WriteExclusive, holder), platform::eOsError_None);
    };
    testsupport::CManualClock clock(std::chrono::milliseconds(100));
    unsigned waits = 0;
    clock.OnWait([&] {
        if (++waits == 19) // 1.9 s
            holder.reset();
    });
    const platform::CScopedOs scope(nullptr, &clock);
    hold();
    EXPECT_TRUE(WriteDsEventsFile(m_path, {}));
    EXPECT_EQ(waits, 19U);
    waits = 0;
    hold();
    CDsEventsDataVector events;
    EXPECT_TRUE(Read(events)); // the holder wrote nothing, so the file is empty
    EXPECT_EQ(waits, 19U);
}

TEST_F(ZELAutomationEnvFile, AWriteThatFailsLeavesNoHalfFile)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs scope(&files, nullptr);
    for (const auto call : {testsupport::eFileCall_Write, testsupport::eFileCall_Close}) {
        WriteBytes(m_path, "old content");
        files.FailCall(call, 1, platform::eOsError_DiskFull);
        EXPECT_FALSE(WriteDsEventsFile(m_path, {SampleEvents::Full()}));
        EXPECT_EQ(ReadBytes(m_path), "");
    }
}

TEST_F(ZELAutomationEnvFile, WithoutTheEventsClassNothingIsRead)
{
    MakeFile();
    ASSERT_TRUE(WriteDsEventsFile(m_path, {SampleEvents::Small()}));
    // A thread without COM can't make the objects either.
    CoUninitializeZEL();
    CDsEventsDataVector events;
    EXPECT_FALSE(Read(events));
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
    EXPECT_TRUE(Read(events));
}
