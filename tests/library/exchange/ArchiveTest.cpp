#include "ZEL_Processor/Archive.h"

#include "tests/library/exchange/ExchangeFixture.h"

#include <limits>
#include <type_traits>
#include <utility>

namespace {

class ArchiveWrapper : public CExchangeTest {};

template <class Value>
concept CanBeWritten = requires(_ar::archive archive, Value value)
{
    archive << value;
};
static_assert(CanBeWritten<unsigned char> && CanBeWritten<int> && CanBeWritten<const wchar_t*>);
static_assert(!CanBeWritten<bool>, "a flag is written as unsigned char");

} // namespace

TEST_F(ArchiveWrapper, ADefaultOneIsNullAndRefusesEverything)
{
    _ar::archive archive;
    EXPECT_TRUE(archive == 0);
    EXPECT_FALSE(archive != 0);
    EXPECT_FALSE(static_cast<bool>(archive));
    EXPECT_EQ(static_cast<IWQ_Archive*>(archive), nullptr);
    EXPECT_EQ(static_cast<IUnknown*>(archive), nullptr);
    int number = 0;
    CString text;
    EXPECT_EQ(Thrown([&] { archive >> number; }), E_POINTER);
    EXPECT_EQ(Thrown([&] { archive >> text; }), E_POINTER);
    EXPECT_EQ(Thrown([&] { archive << 1; }), E_POINTER);
    EXPECT_EQ(Thrown([&] { archive << kFirstId; }), E_POINTER);
    EXPECT_EQ(Thrown([&] { archive.Read(&number, 4); }), E_POINTER);
    EXPECT_EQ(Thrown([&] { archive.Write(&number, 4); }), E_POINTER);
    EXPECT_EQ(Thrown([&] { static_cast<void>(archive.IsLoading()); }), E_POINTER);
    EXPECT_EQ(Thrown([&] { static_cast<void>(archive.IsStoring()); }), E_POINTER);
    EXPECT_EQ(Thrown([&] { static_cast<void>(archive.Version()); }), E_POINTER);
    EXPECT_EQ(Thrown([&] { archive.PutVersion(1); }), E_POINTER);
    EXPECT_EQ(Thrown([&] { static_cast<void>(archive->IsLoading()); }), E_POINTER);
}

TEST_F(ArchiveWrapper, ComparesWithNullAlone)
{
    const _ar::archive null;
    const _ar::archive archive(Storing().Get());
    EXPECT_FALSE(archive == 0);
    EXPECT_TRUE(archive != 0);
    for (const _ar::archive& each : {null, archive}) {
        EXPECT_EQ(Thrown([&] { static_cast<void>(each == 1); }), E_POINTER);
        EXPECT_EQ(Thrown([&] { static_cast<void>(each != 1); }), E_POINTER);
    }
}

TEST_F(ArchiveWrapper, CountsReferences)
{
    CComPtr<IWQ_Archive> object = Storing();
    const auto references = [&] {
        object->AddRef();
        return object->Release();
    };
    {
        const _ar::archive first(object.Get());
        EXPECT_EQ(references(), 2U);
        _ar::archive second(first);
        EXPECT_EQ(references(), 3U);
        second = _ar::archive();
        EXPECT_EQ(references(), 2U);
        second = first;
        EXPECT_EQ(references(), 3U);
        EXPECT_EQ(static_cast<IWQ_Archive*>(second), object.Get());
    }
    EXPECT_EQ(references(), 1U);
}

TEST_F(ArchiveWrapper, EveryTypeComesBack)
{
    const CComPtr<IWQ_Archive> object = Storing();
    _ar::archive out(object.Get());
    EXPECT_TRUE(out.IsStoring());
    EXPECT_FALSE(out.IsLoading());
    const unsigned char octet = 200;
    const short word = -300;
    wchar_t writable[] = L"w";
    const CString text = L"t\u00e4xt";
    const _ar::_variant_t variant = CVariant::FromLong(-7);
    out << octet << word << -70000 << 4000000000UL << 1.5F << -2.5 << kFirstId << text << variant << -5000000000LL
        << 10000000000000000000ULL << writable << L"const";
    out.Write("raw", 3);

    _ar::archive in(Loading(BytesOf(object)).Get());
    EXPECT_TRUE(in.IsLoading());
    EXPECT_FALSE(in.IsStoring());
    unsigned char readByte = 0;
    short readWord = 0;
    int readInt = 0;
    unsigned long readUnsigned = 0;
    float readFloat = 0;
    double readDouble = 0;
    GUID readGuid = {};
    CString readText;
    _ar::_variant_t readVariant;
    long long readLong = 0;
    unsigned long long readULong = 0;
    wchar_t* first = nullptr;
    wchar_t* second = nullptr;
    in >> readByte >> readWord >> readInt >> readUnsigned >> readFloat >> readDouble >> readGuid >> readText >>
        readVariant >> readLong >> readULong >> &first >> &second;
    EXPECT_EQ(readByte, octet);
    EXPECT_EQ(readWord, word);
    EXPECT_EQ(readInt, -70000);
    EXPECT_EQ(readUnsigned, 4000000000UL);
    EXPECT_EQ(readFloat, 1.5F);
    EXPECT_EQ(readDouble, -2.5);
    EXPECT_TRUE(readGuid == kFirstId);
    EXPECT_EQ(readText, text);
    EXPECT_EQ(readVariant.Type(), VT_I4);
    EXPECT_EQ(readVariant.Get().lVal, -7);
    EXPECT_EQ(readLong, -5000000000LL);
    EXPECT_EQ(readULong, 10000000000000000000ULL);
    EXPECT_EQ(std::wstring(first), L"w");
    EXPECT_EQ(std::wstring(second), L"const");
    CoTaskMemFree(first);
    CoTaskMemFree(second);
    char raw[8] = {};
    EXPECT_EQ(in.Read(raw, sizeof(raw)), 3U);
    EXPECT_EQ(std::string(raw), "raw");
}

TEST_F(ArchiveWrapper, AFlagIsAByteThatReadsAsBool)
{
    const CComPtr<IWQ_Archive> object = Storing();
    _ar::archive out(object.Get());
    const unsigned char present = 1;
    const unsigned char absent = 0;
    out << present << absent;
    EXPECT_EQ(BytesOf(object), std::string("\x01\0", 2));
    _ar::archive in(Loading(BytesOf(object)).Get());
    bool first = false;
    bool second = true;
    in >> first >> second;
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
}

TEST_F(ArchiveWrapper, LongsHave32BitsOnTheWire)
{
    const CComPtr<IWQ_Archive> object = Storing();
    _ar::archive out(object.Get());
    out << -2;
    _ar::archive in(Loading(BytesOf(object)).Get());
    long number = 0;
    in >> number;
    EXPECT_EQ(number, -2L);
    if constexpr (sizeof(unsigned long) > 4) {
        EXPECT_EQ(Thrown([&] { out << std::numeric_limits<unsigned long>::max(); }), E_INVALIDARG);
        EXPECT_EQ(BytesOf(object).size(), 4U);
    }
}

TEST_F(ArchiveWrapper, AFailedOperationThrowsItsResult)
{
    _ar::archive in(Loading("abc").Get());
    int number = 5;
    EXPECT_EQ(Thrown([&] { in >> number; }), kArchiveEnd);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(Thrown([&] { in << 1; }), E_UNEXPECTED);
}

TEST_F(ArchiveWrapper, TheVersionIsTheArchives)
{
    _ar::archive archive(Storing().Get());
    EXPECT_EQ(archive.Version(), 0);
    archive.PutVersion(6);
    EXPECT_EQ(archive.Version(), 6);
    EXPECT_TRUE(archive->IsStoring());
}

TEST_F(ArchiveWrapper, OnlyNegativeResultsAreErrors)
{
    EXPECT_EQ(Thrown([] { _ar::archive::CheckError(S_OK); }), S_OK);
    EXPECT_EQ(Thrown([] { _ar::archive::CheckError(S_FALSE); }), S_OK);
    EXPECT_EQ(Thrown([] { _ar::archive::CheckError(E_ABORT); }), E_ABORT);
}
