#include "exchange/WQ_CLSIDArrayImpl.h"

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "framework/Exceptions.h"
#include "framework/archive/ComArchiveImplBase.h"
#include "tests/library/exchange/ExchangeFixture.h"

#include <vector>

namespace {

class CLSIDArray : public CExchangeTest {
protected:
    CComPtr<IWQ_CLSIDArray> Make(const std::vector<GUID>& ids = {})
    {
        auto array = Create<IWQ_CLSIDArray>(CLSID_WQ_CLSIDArray);
        for (const GUID& id : ids)
            EXPECT_EQ(array->Add(&id), S_OK);
        return array;
    }
    static std::vector<GUID> Content(const CComPtr<IWQ_CLSIDArray>& array)
    {
        ULONGLONG count = 0;
        EXPECT_EQ(array->GetCount(&count), S_OK);
        std::vector<GUID> ids(static_cast<std::size_t>(count));
        for (ULONGLONG i = 0; i < count; ++i)
            EXPECT_EQ(array->GetAt(i, &ids[static_cast<std::size_t>(i)]), S_OK);
        return ids;
    }
    static std::string Serialized(const CComPtr<IWQ_CLSIDArray>& array)
    {
        const auto archive = Storing();
        EXPECT_EQ(array.QueryTo<IWQ_ArchiveObj>()->Serialize(archive.Get()), S_OK);
        return BytesOf(archive);
    }
    static HRESULT Load(const CComPtr<IWQ_CLSIDArray>& array, const std::string& bytes)
    {
        return array.QueryTo<IWQ_ArchiveObj>()->Serialize(Loading(bytes).Get());
    }
    static std::string Ints(std::initializer_list<LONG> values)
    {
        const auto archive = Storing();
        for (const LONG value : values)
            EXPECT_EQ(archive->WriteLong(value), S_OK);
        return BytesOf(archive);
    }
};

/// The implementation as an object, to reach what the interface does not show.
class CBareArray final : public CMOX_ComArchiveImplBase<CWQ_CLSIDArrayImpl> {
public:
    CBareArray() : CMOX_ComArchiveImplBase(kFirstId, kSecondId) {}
};

} // namespace

TEST_F(CLSIDArray, KeepsTheOrderAndDuplicates)
{
    const auto array = Make({kSecondId, kFirstId, kSecondId});
    EXPECT_TRUE(Content(array) == (std::vector<GUID>{kSecondId, kFirstId, kSecondId}));
    EXPECT_EQ(array->Add(nullptr), E_POINTER);
    EXPECT_EQ(array->RemoveAll(), S_OK);
    EXPECT_TRUE(Content(array).empty());
    EXPECT_EQ(array->GetCount(nullptr), E_POINTER);
}

TEST_F(CLSIDArray, ContainsIsOneAndNotMinusOne)
{
    const auto array = Make({kFirstId});
    EXPECT_EQ(array->Contains(&kFirstId), 1);
    EXPECT_EQ(array->Contains(&kSecondId), 0);
    EXPECT_EQ(array->Contains(nullptr), 0);
    VARIANT_BOOL contains = 9;
    EXPECT_EQ(array->ContainsVB(&kFirstId, &contains), S_OK);
    EXPECT_EQ(contains, 1);
    EXPECT_EQ(array->ContainsVB(&kSecondId, &contains), S_OK);
    EXPECT_EQ(contains, 0);
    contains = 9;
    EXPECT_EQ(array->ContainsVB(nullptr, &contains), S_OK);
    EXPECT_EQ(contains, 0);
    EXPECT_EQ(array->ContainsVB(&kFirstId, nullptr), E_POINTER);
}

TEST_F(CLSIDArray, RemovingTakesEveryEqualGuid)
{
    const auto array = Make({kFirstId, kSecondId, kFirstId, kFirstId});
    EXPECT_EQ(array->Remove(&kThirdId), S_FALSE);
    EXPECT_EQ(array->Remove(&kFirstId), S_OK);
    EXPECT_TRUE(Content(array) == (std::vector<GUID>{kSecondId}));
    EXPECT_EQ(array->Remove(&kFirstId), S_FALSE);
    EXPECT_EQ(array->Remove(nullptr), E_POINTER);
}

TEST_F(CLSIDArray, AnIndexBehindTheLastIsAPointerError)
{
    const auto array = Make({kFirstId});
    GUID value = {};
    EXPECT_EQ(array->GetAt(1, &value), E_POINTER);
    EXPECT_EQ(array->GetAt(~ULONGLONG{0}, &value), E_POINTER);
    EXPECT_EQ(array->GetAt(0, nullptr), E_POINTER);
    EXPECT_EQ(array->SetAt(1, &kSecondId), E_POINTER);
    EXPECT_EQ(array->SetAt(0, nullptr), E_POINTER);
    EXPECT_EQ(array->SetAt(0, &kSecondId), S_OK);
    EXPECT_TRUE(Content(array) == (std::vector<GUID>{kSecondId}));
}

TEST_F(CLSIDArray, CopyingEmptiesTheTargetFirst)
{
    const auto source = Make({kFirstId, kSecondId});
    const auto target = Make({kThirdId});
    EXPECT_EQ(source->CopyTo(target.Get()), S_OK);
    EXPECT_TRUE(Content(target) == Content(source));
    EXPECT_EQ(source->CopyTo(source.Get()), S_OK);
    EXPECT_TRUE(Content(source) == (std::vector<GUID>{kFirstId, kSecondId}));
    EXPECT_EQ(source->CopyTo(nullptr), E_POINTER);
}

TEST_F(CLSIDArray, AnEmptyArrayIsTwoNumbers)
{
    const std::string bytes = Serialized(Make());
    EXPECT_EQ(Hex(bytes), "0200000000000000");
    const auto loaded = Make({kThirdId});
    EXPECT_EQ(Load(loaded, bytes), S_OK);
    EXPECT_TRUE(Content(loaded).empty());
}

TEST_F(CLSIDArray, ComesBackInItsOrder)
{
    const std::string bytes = Serialized(Make({kSecondId, kFirstId, kSecondId}));
    EXPECT_EQ(bytes.size(), 8U + 3U * 16U);
    const auto loaded = Make({kThirdId});
    EXPECT_EQ(Load(loaded, bytes), S_OK);
    EXPECT_TRUE(Content(loaded) == (std::vector<GUID>{kSecondId, kFirstId, kSecondId}));
}

TEST_F(CLSIDArray, VersionsUpToTwoAreReadAlike)
{
    for (const LONG version : {0, 1, 2}) {
        const auto loaded = Make({kThirdId});
        EXPECT_EQ(Load(loaded, Ints({version, 1, 1, 2, 3, 4})), S_OK);
        EXPECT_EQ(Content(loaded).size(), 1U);
    }
    for (const LONG version : {3, -1}) {
        const auto loaded = Make({kThirdId});
        EXPECT_EQ(Load(loaded, Ints({version, 0})), E_FAIL);
        EXPECT_TRUE(Content(loaded).empty());
    }
}

TEST_F(CLSIDArray, VersionThreeThrowsTheArchiveException)
{
    const auto array = MakeComObject<CBareArray>();
    const auto loading = Loading(Ints({3, 0}));
    CEasyMOXArchive archive(loading.Get());
    try {
        array->Load(archive);
        FAIL() << "nothing was thrown";
    } catch (const CArchiveException& exception) {
        EXPECT_EQ(exception.GetCause(), 1);
        EXPECT_EQ(exception.GetErrorMessage(), L"Serialize CWQ_CLSIDArrayImpl");
    }
}

TEST_F(CLSIDArray, ANegativeCountThrowsTheArgumentException)
{
    const auto array = MakeComObject<CBareArray>();
    const auto loading = Loading(Ints({2, -1}));
    CEasyMOXArchive archive(loading.Get());
    EXPECT_THROW(array->Load(archive), CInvalidArgException);
    EXPECT_EQ(Load(Make(), Ints({2, -1})), E_INVALIDARG);
    CGuidArray bare;
    EXPECT_THROW(bare.SetSize(-1), CInvalidArgException);
}

TEST_F(CLSIDArray, ACountOfMoreThanFollowsIsRefusedBeforeRoomIsMadeForIt)
{
    for (const LONG count : {1, 2, 0x7FFFFFFF}) {
        const auto loaded = Make({kThirdId});
        EXPECT_EQ(Load(loaded, Ints({2, count, 1, 2, 3})), E_FAIL) << "no read past the end: " << count;
        EXPECT_TRUE(Content(loaded).empty());
    }
}

TEST_F(CLSIDArray, ANullArchiveIsAPointerError)
{
    EXPECT_EQ(Make().QueryTo<IWQ_ArchiveObj>()->Serialize(nullptr), E_POINTER);
}
