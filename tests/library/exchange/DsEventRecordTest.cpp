#include "exchange/DsEventRecord.h"

#include "tests/library/exchange/SampleEvents.h"

namespace {

class DsEventRecordTest : public CExchangeTest {
protected:
    static std::string BytesOfRecord(IWQ_DsEventsData& event)
    {
        const CComPtr<IWQ_Archive> written = Storing();
        _ar::archive archive(written.Get());
        DsEventRecord::Write(archive, event);
        return BytesOf(written);
    }
    static bool Reads(std::string_view bytes, IWQ_DsEventsData& event)
    {
        _ar::archive archive(Loading(bytes).Get());
        return DsEventRecord::Read(archive, event);
    }
};

/// A set of ids that has fewer than it counts.
class CLyingSet final : public CComObject<IWQ_DsGuidSet> {
public:
    explicit CLyingSet(LONG count) : m_nCount(count) {}

    HRESULT STDMETHODCALLTYPE GetCount(LONG* count) override
    {
        *count = m_nCount;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAt(LONG index, GUID* value) override
    {
        *value = kFirstId;
        return index == 0 ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Add(const GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Contains(const GUID*) override { return E_NOTIMPL; }

private:
    const LONG m_nCount;
};

} // namespace

TEST_F(DsEventRecordTest, EveryPartComesBack)
{
    const auto event = SampleEvents::Full();
    const auto read = SampleEvents::Empty();
    EXPECT_TRUE(Reads(BytesOfRecord(*event), *read));
    EXPECT_EQ(SampleEvents::Describe(read), SampleEvents::Describe(event));
}

TEST_F(DsEventRecordTest, ACopyHasTheSameParts)
{
    const auto event = SampleEvents::Full();
    EXPECT_EQ(SampleEvents::Describe(DsEventRecord::Copy(*event)), SampleEvents::Describe(event));
}

TEST_F(DsEventRecordTest, OneThatIsCutAnywhereIsNone)
{
    const std::string whole = BytesOfRecord(*SampleEvents::Full());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        bool isRead = false;
        const HRESULT thrown = Thrown([&] { isRead = Reads(whole.substr(0, length), *SampleEvents::Empty()); });
        EXPECT_TRUE(!isRead || FAILED(thrown)) << length;
    }
}

TEST_F(DsEventRecordTest, AFlagThatIsNeitherYesNorNoIsNone)
{
    std::string bytes = BytesOfRecord(*SampleEvents::Empty());
    EXPECT_TRUE(Reads(bytes, *SampleEvents::Empty()));
    bytes.back() = 2;
    EXPECT_FALSE(Reads(bytes, *SampleEvents::Empty()));
}

TEST_F(DsEventRecordTest, ATableThatHasMoreKeysThanItCountsIsNone)
{
    const auto event = SampleEvents::Empty();
    EXPECT_EQ(event->PutChangedItems(SampleEvents::List({{kFirstId, {3}}}).Get()), S_OK);
    EXPECT_EQ(event->PutChangedColumns(SampleEvents::List({{kFirstId, {0x64636261}}}).Get()), S_OK);
    std::string bytes = BytesOfRecord(*event);
    const std::size_t column = bytes.find("abcd");
    ASSERT_TRUE(column != std::string::npos && column >= 8); // behind the count of keys and that of the columns of one
    char& keys = bytes[column - 8];
    ASSERT_EQ(keys, 1);
    EXPECT_TRUE(Reads(bytes, *SampleEvents::Empty()));
    keys = 2; // of one that did not change
    EXPECT_TRUE(Reads(bytes, *SampleEvents::Empty()));
    keys = 0;
    EXPECT_FALSE(Reads(bytes, *SampleEvents::Empty()));
}

TEST_F(DsEventRecordTest, ASetThatLacksWhatItCountedIsNotWritten)
{
    const auto event = SampleEvents::Empty();
    EXPECT_EQ(event->PutChangedSources(MakeComObject<CLyingSet>(2).Get()), S_OK);
    EXPECT_EQ(Thrown([&] { BytesOfRecord(*event); }), E_FAIL);
}

TEST_F(DsEventRecordTest, OneThatCouldNotBeReadAgainHasNoCopy)
{
    const auto event = SampleEvents::Empty();
    EXPECT_EQ(event->PutChangedSources(MakeComObject<CLyingSet>(-1).Get()), S_OK);
    EXPECT_EQ(Thrown([&] { static_cast<void>(DsEventRecord::Copy(*event)); }), E_INVALIDARG);
}
