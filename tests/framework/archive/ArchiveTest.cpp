#include "framework/Archive.h"

#include "com/Bstr.h"
#include "com/Variant.h"
#include "tests/library/exchange/ExchangeFixture.h"

#include <array>
#include <limits>

namespace {

class Archive : public CExchangeTest {};

/// The type and the bytes of a value that the variant operations give back.
VARIANT MakeVariant(VARTYPE type, ULONGLONG bits)
{
    VARIANT value;
    VariantInit(&value);
    value.vt = type;
    value.ullVal = bits;
    return value;
}

} // namespace

TEST_F(Archive, NumbersAreLittleEndianAndComeBack)
{
    const auto storing = Storing();
    EXPECT_TRUE(storing->IsStoring());
    EXPECT_FALSE(storing->IsLoading());
    EXPECT_EQ(storing->WriteUChar(0xFE), S_OK);
    EXPECT_EQ(storing->WriteShort(-2), S_OK);
    EXPECT_EQ(storing->WriteLong(0x01020304), S_OK);
    EXPECT_EQ(storing->WriteULong(0xF0E0D0C0U), S_OK);
    EXPECT_EQ(storing->WriteInt64(-3), S_OK);
    EXPECT_EQ(storing->WriteUInt64(0x1122334455667788ULL), S_OK);
    EXPECT_EQ(storing->WriteFloat(1.0F), S_OK);
    EXPECT_EQ(storing->WriteDouble(-2.0), S_OK);
    EXPECT_EQ(storing->WriteGuid(&kFirstId), S_OK);
    const std::string bytes = BytesOf(storing);
    EXPECT_EQ(Hex(bytes), "fe"
                          "feff"
                          "04030201"
                          "c0d0e0f0"
                          "fdffffffffffffff"
                          "8877665544332211"
                          "0000803f"
                          "00000000000000c0"
                          "67452301ab89efcd0102030405060708");

    const auto loading = Loading(bytes);
    EXPECT_TRUE(loading->IsLoading());
    EXPECT_FALSE(loading->IsStoring());
    BYTE octet = 0;
    SHORT word = 0;
    LONG number = 0;
    ULONG unsignedNumber = 0;
    LONGLONG large = 0;
    ULONGLONG unsignedLarge = 0;
    float single = 0;
    double real = 0;
    GUID guid = {};
    EXPECT_EQ(loading->ReadUChar(&octet), S_OK);
    EXPECT_EQ(loading->ReadShort(&word), S_OK);
    EXPECT_EQ(loading->ReadLong(&number), S_OK);
    EXPECT_EQ(loading->ReadULong(&unsignedNumber), S_OK);
    EXPECT_EQ(loading->ReadInt64(&large), S_OK);
    EXPECT_EQ(loading->ReadUInt64(&unsignedLarge), S_OK);
    EXPECT_EQ(loading->ReadFloat(&single), S_OK);
    EXPECT_EQ(loading->ReadDouble(&real), S_OK);
    EXPECT_EQ(loading->ReadGuid(&guid), S_OK);
    EXPECT_EQ(octet, 0xFE);
    EXPECT_EQ(word, -2);
    EXPECT_EQ(number, 0x01020304);
    EXPECT_EQ(unsignedNumber, 0xF0E0D0C0U);
    EXPECT_EQ(large, -3);
    EXPECT_EQ(unsignedLarge, 0x1122334455667788ULL);
    EXPECT_EQ(single, 1.0F);
    EXPECT_EQ(real, -2.0);
    EXPECT_TRUE(guid == kFirstId);
    ULONGLONG remaining = 1;
    EXPECT_EQ(loading->GetRemaining(&remaining), S_OK);
    EXPECT_EQ(remaining, 0U);
    EXPECT_EQ(loading->ReadUChar(&octet), kArchiveEnd);
}

TEST_F(Archive, TextsAreUtf16WithTheirLengthOnEverySystem)
{
    // A zero inside, and a character that takes two units.
    const std::wstring text = std::wstring(L"a\0b", 3) + L"\U0001F600";
    const auto storing = Storing();
    const CBstr bstr{std::wstring_view(text)};
    EXPECT_EQ(storing->WriteString(bstr.Get()), S_OK);
    EXPECT_EQ(storing->WriteString(nullptr), S_OK);
    EXPECT_EQ(storing->WriteWideString(L"xy"), S_OK);
    EXPECT_EQ(storing->WriteWideString(nullptr), S_OK);
    EXPECT_EQ(Hex(BytesOf(storing)), "05000000"
                                     "6100000062003dd800de"
                                     "00000000"
                                     "02000000"
                                     "78007900"
                                     "00000000");

    const auto loading = Loading(BytesOf(storing));
    CBstr read;
    EXPECT_EQ(loading->ReadString(read.Put()), S_OK);
    EXPECT_EQ(read.Text(), text);
    EXPECT_EQ(loading->ReadString(read.Put()), S_OK);
    EXPECT_TRUE(read.IsEmpty());
    for (const std::wstring expected : {L"xy", L""}) {
        wchar_t* wide = nullptr;
        EXPECT_EQ(loading->ReadWideString(&wide), S_OK);
        EXPECT_EQ(std::wstring(wide), expected);
        CoTaskMemFree(wide);
    }
}

TEST_F(Archive, AWideTextEndsAtItsFirstZero)
{
    const auto storing = Storing();
    const CBstr bstr(std::wstring_view(L"a\0b", 3));
    EXPECT_EQ(storing->WriteString(bstr.Get()), S_OK);
    EXPECT_EQ(storing->WriteUChar(7), S_OK);
    const auto loading = Loading(BytesOf(storing));
    wchar_t* wide = nullptr;
    BYTE next = 0;
    EXPECT_EQ(loading->ReadWideString(&wide), S_OK);
    EXPECT_EQ(std::wstring(wide), L"a");
    CoTaskMemFree(wide);
    EXPECT_EQ(loading->ReadUChar(&next), S_OK);
    EXPECT_EQ(next, 7);
}

TEST_F(Archive, RawBytesAreReadAsFarAsThereAreAny)
{
    const auto storing = Storing();
    EXPECT_EQ(storing->WriteBytes("abc", 3), S_OK);
    EXPECT_EQ(storing->WriteBytes(nullptr, 0), S_OK);
    EXPECT_EQ(storing->WriteBytes(nullptr, 1), E_POINTER);
    const auto loading = Loading(BytesOf(storing));
    std::array<char, 5> buffer{};
    ULONG read = 99;
    EXPECT_EQ(loading->ReadBytes(buffer.data(), 2, &read), S_OK);
    EXPECT_EQ(read, 2U);
    EXPECT_EQ(loading->ReadBytes(buffer.data(), 5, &read), S_OK);
    EXPECT_EQ(read, 1U);
    EXPECT_EQ(buffer[0], 'c');
    EXPECT_EQ(loading->ReadBytes(buffer.data(), 5, &read), S_OK);
    EXPECT_EQ(read, 0U);
}

TEST_F(Archive, PositionsCountBytes)
{
    const auto storing = Storing();
    ULONGLONG bytes = 99;
    EXPECT_EQ(storing->WriteLong(1), S_OK);
    EXPECT_EQ(storing->GetPosition(&bytes), S_OK);
    EXPECT_EQ(bytes, 4U);
    EXPECT_EQ(storing->GetRemaining(&bytes), S_OK);
    EXPECT_EQ(bytes, 0U);
    const auto loading = Loading(BytesOf(storing));
    SHORT word = 0;
    EXPECT_EQ(loading->ReadShort(&word), S_OK);
    EXPECT_EQ(loading->GetPosition(&bytes), S_OK);
    EXPECT_EQ(bytes, 2U);
    EXPECT_EQ(loading->GetRemaining(&bytes), S_OK);
    EXPECT_EQ(bytes, 2U);
}

TEST_F(Archive, TheWrongDirectionIsRefused)
{
    const auto storing = Storing();
    LONG number = 5;
    BSTR text = nullptr;
    EXPECT_EQ(storing->ReadLong(&number), E_UNEXPECTED);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(storing->ReadString(&text), E_UNEXPECTED);
    EXPECT_EQ(BytesOf(storing), "");
    const auto loading = Loading("abcdefgh");
    EXPECT_EQ(loading->WriteLong(1), E_UNEXPECTED);
    EXPECT_EQ(loading->WriteWideString(L"x"), E_UNEXPECTED);
    EXPECT_EQ(BytesOf(loading), "abcdefgh");
}

TEST_F(Archive, NullPointersAreNamed)
{
    const auto storing = Storing();
    EXPECT_EQ(storing->WriteGuid(nullptr), E_POINTER);
    EXPECT_EQ(storing->WriteVariant(nullptr), E_POINTER);
    EXPECT_EQ(storing->WriteObject(nullptr), E_POINTER);
    EXPECT_EQ(storing->GetVersion(nullptr), E_POINTER);
    const auto loading = Loading("abcdefgh");
    EXPECT_EQ(loading->ReadUChar(nullptr), E_POINTER);
    EXPECT_EQ(loading->ReadLong(nullptr), E_POINTER);
    EXPECT_EQ(loading->ReadString(nullptr), E_POINTER);
    EXPECT_EQ(loading->ReadVariant(nullptr), E_POINTER);
    EXPECT_EQ(loading->ReadObject(nullptr), E_POINTER);
    EXPECT_EQ(loading->ReadWideString(nullptr), E_POINTER);
    EXPECT_EQ(loading->QueryInterface(ComIid<IWQ_Archive>(), nullptr), E_POINTER);
    void* object = &object;
    EXPECT_EQ(loading->QueryInterface(kFirstId, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
}

TEST_F(Archive, NameFlagsAndVersionAreKept)
{
    const auto archive = Storing();
    CBstr name;
    ULONG flags = 9;
    SHORT version = 9;
    EXPECT_EQ(archive->GetName(name.Put()), S_OK);
    EXPECT_EQ(archive->GetFlags(&flags), S_OK);
    EXPECT_EQ(archive->GetVersion(&version), S_OK);
    EXPECT_TRUE(name.IsEmpty());
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(version, 0);
    EXPECT_EQ(archive->PutName(L"n"), S_OK);
    EXPECT_EQ(archive->PutFlags(3), S_OK);
    EXPECT_EQ(archive->PutVersion(-4), S_OK);
    EXPECT_EQ(archive->GetName(name.Put()), S_OK);
    EXPECT_EQ(archive->GetFlags(&flags), S_OK);
    EXPECT_EQ(archive->GetVersion(&version), S_OK);
    EXPECT_EQ(name.Text(), L"n");
    EXPECT_EQ(flags, 3U);
    EXPECT_EQ(version, -4);
    EXPECT_EQ(archive->PutName(nullptr), S_OK);
    EXPECT_EQ(archive->GetName(name.Put()), S_OK);
    EXPECT_TRUE(name.IsEmpty());
}

TEST_F(Archive, EveryKindOfVariantComesBack)
{
    struct SKind {
        VARTYPE type;
        std::size_t bytes;
    };
    const SKind kinds[] = {{VT_EMPTY, 0}, {VT_NULL, 0}, {VT_I1, 1},  {VT_UI1, 1}, {VT_I2, 2},   {VT_UI2, 2},
                           {VT_BOOL, 2},  {VT_I4, 4},   {VT_UI4, 4}, {VT_INT, 4}, {VT_UINT, 4}, {VT_R4, 4},
                           {VT_ERROR, 4}, {VT_I8, 8},   {VT_UI8, 8}, {VT_R8, 8},  {VT_DATE, 8}};
    for (const SKind& kind : kinds) {
        SCOPED_TRACE(static_cast<int>(kind.type));
        const ULONGLONG mask = kind.bytes == 8 ? ~ULONGLONG{0} : (ULONGLONG{1} << (8 * kind.bytes)) - 1;
        const ULONGLONG bits = 0x3FF8000040480102ULL & mask;
        const VARIANT written = MakeVariant(kind.type, bits);
        const auto storing = Storing();
        EXPECT_EQ(storing->WriteVariant(&written), S_OK);
        EXPECT_EQ(BytesOf(storing).size(), 2 + kind.bytes);
        CVariant read;
        EXPECT_EQ(Loading(BytesOf(storing))->ReadVariant(read.Put()), S_OK);
        EXPECT_EQ(read.Type(), kind.type);
        EXPECT_EQ(read.Get().ullVal & mask, bits);
    }
}

TEST_F(Archive, ATextInAVariantComesBack)
{
    const CVariant written{std::wstring_view(L"t\u00e4xt")};
    const auto storing = Storing();
    EXPECT_EQ(storing->WriteVariant(&written.Get()), S_OK);
    EXPECT_EQ(Hex(BytesOf(storing)), "0800040000007400e40078007400");
    CVariant read;
    EXPECT_EQ(Loading(BytesOf(storing))->ReadVariant(read.Put()), S_OK);
    EXPECT_EQ(read.Text(), L"t\u00e4xt");
}

TEST_F(Archive, VariantsThatAreNoPlainValuesAreRefused)
{
    const auto storing = Storing();
    for (const VARTYPE type : {VT_UNKNOWN, VT_DISPATCH, VT_VARIANT}) {
        const VARIANT value = MakeVariant(type, 0);
        EXPECT_EQ(storing->WriteVariant(&value), DISP_E_BADVARTYPE);
    }
    EXPECT_EQ(BytesOf(storing), "");
    CVariant read;
    const auto loading = Loading(std::string_view("\x0D\0\0\0\0\0\0\0\0\0", 10)); // VT_UNKNOWN
    EXPECT_EQ(loading->ReadVariant(read.Put()), DISP_E_BADVARTYPE);
    EXPECT_EQ(read.Type(), VT_EMPTY);
}
