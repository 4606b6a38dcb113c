#include "com/Bstr.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(Bstr, KnowsItsLengthAndEndsInAZero)
{
    const CBstr text(L"abc");
    EXPECT_EQ(SysStringLen(text.Get()), 3U);
    EXPECT_EQ(SysStringByteLen(text.Get()), 3U * sizeof(wchar_t));
    EXPECT_EQ(text.Get()[3], L'\0');
    UINT prefix = 0;
    std::memcpy(&prefix, reinterpret_cast<const char*>(text.Get()) - sizeof(prefix), sizeof(prefix));
    EXPECT_EQ(prefix, 3U * sizeof(wchar_t)) << "the length in bytes stands before the characters";
}

TEST(Bstr, KeepsZerosInside)
{
    const std::wstring_view text(L"a\0b", 3);
    const CBstr copy(text);
    EXPECT_EQ(copy.View(), text);
}

TEST(Bstr, NullIsAnEmptyText)
{
    CBstr text;
    EXPECT_EQ(text.Get(), nullptr);
    EXPECT_EQ(text.Length(), 0U);
    EXPECT_EQ(text.View(), L"");
    EXPECT_EQ(SysStringLen(nullptr), 0U);
    SysFreeString(nullptr);
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
}

TEST(Bstr, AnEmptyTextIsNotNull)
{
    const CBstr text(L"");
    EXPECT_NE(text.Get(), nullptr);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(Bstr, MovesLeaveNothingBehind)
{
    CBstr first(L"text");
    CBstr second(std::move(first));
    EXPECT_EQ(first.Get(), nullptr);
    EXPECT_EQ(second.View(), L"text");
    CBstr third(L"old");
    third = std::move(second);
    EXPECT_EQ(third.View(), L"text");
    EXPECT_EQ(second.Get(), nullptr);
    CBstr& same = third;
    third = std::move(same);
    EXPECT_EQ(third.View(), L"text");
}

TEST(Bstr, PutEmptiesFirst)
{
    CBstr text(L"old");
    BSTR* address = text.Put();
    EXPECT_EQ(*address, nullptr);
    *address = SysAllocString(L"new");
    EXPECT_EQ(text.View(), L"new");
    const BSTR detached = text.Detach();
    EXPECT_EQ(text.Get(), nullptr);
    text.Attach(detached);
    EXPECT_EQ(text.View(), L"new");
}

TEST(Bstr, ALengthWithoutATextIsRoomForOne)
{
    CBstr text;
    text.Attach(SysAllocStringLen(nullptr, 5));
    ASSERT_NE(text.Get(), nullptr);
    EXPECT_EQ(text.Length(), 5U);
    EXPECT_EQ(text.Get()[5], L'\0');
}

TEST(Bstr, MissingMemoryIsAnErrorWithItsNumber)
{
    // No characters are read before the allocation has failed.
    const std::wstring_view endless(L"x", 0x3FFFFFFFF0ULL);
    try {
        const CBstr text(endless);
        FAIL() << "a text of a terabyte was allocated";
    } catch (const CComError& error) {
        EXPECT_EQ(error.Code(), E_OUTOFMEMORY);
        EXPECT_STREQ(error.what(), "COM error 0x8007000e");
    }
}

} // namespace
