#include "com/Com.h"
#include "com/Guid.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>

namespace {

/// Names that a system header would rename if it could. The test is that this compiles.
struct SPlainNames {
    static int GetMessage() { return 1; }
    static int SendMessage() { return 1; }
    static int MessageBox() { return 1; }
    static int DeleteFile() { return 1; }
    static int CreateFile() { return 1; }
    static int MoveFile() { return 1; }
    static int CopyFile() { return 1; }
    static int GetObject() { return 1; }
    static int CreateEvent() { return 1; }
    static int LoadString() { return 1; }
    static int Yield() { return 1; }
    static int min(int left, int right) { return left < right ? left : right; }
    static int max(int left, int right) { return left > right ? left : right; }
};

TEST(Com, LeavesOurNamesAlone)
{
    const int sum = SPlainNames::GetMessage() + SPlainNames::SendMessage() + SPlainNames::MessageBox() +
                    SPlainNames::DeleteFile() + SPlainNames::CreateFile() + SPlainNames::MoveFile() +
                    SPlainNames::CopyFile() + SPlainNames::GetObject() + SPlainNames::CreateEvent() +
                    SPlainNames::LoadString() + SPlainNames::Yield();
    EXPECT_EQ(sum, 11);
    EXPECT_EQ(SPlainNames::min(1, 2) + SPlainNames::max(1, 2), 3);
}

TEST(Com, IntegersHaveTheirSizes)
{
    static_assert(sizeof(HRESULT) == 4 && sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4);
    static_assert(sizeof(VARIANT_BOOL) == 2 && sizeof(BOOL) == 4 && sizeof(GUID) == 16);
    static_assert(sizeof(VARIANT) >= 16);
    EXPECT_EQ(static_cast<std::uint32_t>(E_POINTER), 0x80004003U);
    EXPECT_EQ(static_cast<std::uint32_t>(E_OUTOFMEMORY), 0x8007000EU);
    EXPECT_EQ(static_cast<std::uint32_t>(REGDB_E_CLASSNOTREG), 0x80040154U);
    EXPECT_EQ(static_cast<std::uint32_t>(CO_E_NOTINITIALIZED), 0x800401F0U);
    EXPECT_EQ(static_cast<std::uint32_t>(CO_E_CLASSSTRING), 0x800401F3U);
    EXPECT_EQ(static_cast<std::uint32_t>(HRESULT_FROM_WIN32(32)), 0x80070020U);
    EXPECT_EQ(HRESULT_FROM_WIN32(0), S_OK);
    EXPECT_TRUE(SUCCEEDED(S_FALSE));
    EXPECT_TRUE(FAILED(E_FAIL));
}

TEST(Com, InitialisationIsCountedPerThread)
{
    std::jthread([] {
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
        std::jthread([] {
            EXPECT_EQ(CoInitialize(nullptr), S_OK) << "another thread has a count of its own";
            CoUninitialize();
        }).join();
        CoUninitialize();
        EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
        CoUninitialize();
        CoUninitialize();
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        CoUninitialize();
    }).join();
}

TEST(Com, TextFormOfAnId)
{
    const GUID guid = {0x80D84198, 0x37D5, 0x4BB3, {0xB2, 0x54, 0x91, 0x46, 0x0E, 0x9F, 0x8F, 0xFC}};
    LPOLESTR text = nullptr;
    ASSERT_EQ(StringFromCLSID(guid, &text), S_OK);
    EXPECT_EQ(std::wstring(text), L"{80D84198-37D5-4BB3-B254-91460E9F8FFC}");
    CLSID read{};
    EXPECT_EQ(CLSIDFromString(text, &read), S_OK);
    EXPECT_EQ(read, guid);
    CoTaskMemFree(text);
    EXPECT_EQ(CLSIDFromString(L"{80D84198-37D5-4BB3-B254-91460E9F8FF}", &read), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromString(nullptr, &read), S_OK);
    EXPECT_EQ(read, GUID_NULL);
}

} // namespace
