#pragma once

#include "com/ComObject.h"
#include "com/CreateInstance.h"
#include "framework/Archive.h"
#include "platform/FileSystem.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

/// Ids of no meaning.
inline constexpr GUID kFirstId = {0x01234567, 0x89AB, 0xCDEF, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}};
inline constexpr GUID kSecondId = {0xFEDCBA98, 0x7654, 0x3210, {0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8}};
inline constexpr GUID kThirdId = {0x00000003, 0, 0, {0, 0, 0, 0, 0, 0, 0, 3}};

/// A test on a thread whose COM is initialised, with a folder of its own and a host that fails it for an unexpected
/// report.
class CExchangeTest : public testing::Test {
protected:
    CExchangeTest() { EXPECT_EQ(CoInitializeZEL(nullptr), S_OK); }
    ~CExchangeTest() override { CoUninitializeZEL(); }

    template <class Interface>
    static CComPtr<Interface> Create(const CLSID& classId)
    {
        return CreateInstanceZEL<Interface>(classId);
    }
    /// A memory archive that stores.
    static CComPtr<IWQ_Archive> Storing() { return Create<IWQ_Archive>(kClsidMemoryArchive); }
    /// A memory archive that loads these bytes.
    static CComPtr<IWQ_Archive> Loading(std::string_view bytes)
    {
        const auto memory = Create<IWQ_MemoryArchive>(kClsidMemoryArchive);
        EXPECT_EQ(memory->PutData(bytes.data(), static_cast<ULONG>(bytes.size())), S_OK);
        return memory.QueryTo<IWQ_Archive>();
    }
    static std::string BytesOf(const CComPtr<IWQ_Archive>& archive)
    {
        const auto memory = archive.QueryTo<IWQ_MemoryArchive>();
        const void* data = nullptr;
        ULONG count = 0;
        EXPECT_EQ(memory->GetData(&data, &count), S_OK);
        return count == 0 ? std::string() : std::string(static_cast<const char*>(data), count);
    }
    static std::string ReadBytes(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, std::size_t{1} << 24),
                  platform::eOsError_None);
        return bytes;
    }
    static void WriteBytes(const std::wstring& path, const std::string& bytes)
    {
        EXPECT_EQ(platform::WriteWholeFile(path, bytes), platform::eOsError_None);
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_directory;
};

/// The result with which the body ends in a CComError; S_OK when it does not.
template <class Body>
HRESULT Thrown(const Body& body)
{
    try {
        body();
    } catch (const CComError& error) {
        return error.Code();
    }
    return S_OK;
}

inline std::string Hex(std::string_view bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char octet : bytes) {
        const auto value = static_cast<unsigned char>(octet);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}
