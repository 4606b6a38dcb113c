#include "platform/Trust.h"

#include "platform/FileSystem.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/win32/WindowsHeader.h"
#include "tests/support/TemporaryDirectory.h"

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

namespace platform {
namespace {

/// A module in a folder below one of the test's own.
class WayTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(Files().MakeDirectory(m_folder), eOsError_None);
        ASSERT_EQ(WriteWholeFile(m_module, "x"), eOsError_None);
        for (const std::wstring& path : {m_directory.Path(), m_folder, m_module})
            ASSERT_EQ(KeepOthersFromWriting(path), eOsError_None);
        ASSERT_EQ(DistrustOf(m_module), L"") << ToUtf8(DistrustOf(m_module));
    }
    /// Gives the system, the administrators and the owner all rights, and everybody these.
    static void Open(const std::wstring& path, const std::wstring& rights)
    {
        const std::wstring text = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;CO)(A;;" + rights + L";;;WD)";
        PSECURITY_DESCRIPTOR made = nullptr;
        ASSERT_TRUE(
            ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &made, nullptr));
        ACL* list = nullptr;
        BOOL isPresent = FALSE;
        BOOL isDefaulted = FALSE;
        ASSERT_TRUE(GetSecurityDescriptorDacl(made, &isPresent, &list, &isDefaulted));
        std::wstring name = path;
        EXPECT_EQ(SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, list,
                                        nullptr),
                  DWORD{ERROR_SUCCESS});
        LocalFree(made);
    }
    static std::wstring Writable(const std::wstring& path) { return L"others may write to " + path; }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_folder = m_directory / L"folder";
    const std::wstring m_module = JoinPath(m_folder, L"module.dll");
};

TEST_F(WayTest, WhatOthersMayWriteToIsToldByItsAccessList)
{
    // Of the folders above Wine shows too little to ask for; what their lists mean is AccessListTest's.
    for (const std::wstring& path : {m_module, m_folder}) {
        Open(path, L"FA");
        EXPECT_EQ(DistrustOf(m_module), Writable(path));
        ASSERT_EQ(KeepOthersFromWriting(path), eOsError_None) << ToUtf8(path);
        EXPECT_EQ(DistrustOf(m_module), L"") << ToUtf8(DistrustOf(m_module));
    }
}

TEST_F(WayTest, OthersMayRead)
{
    Open(m_module, L"FR");
    EXPECT_EQ(DistrustOf(m_module), L"") << ToUtf8(DistrustOf(m_module));
}

TEST_F(WayTest, EverySpellingOfAPathIsTheSameWay)
{
    Open(m_folder, L"FA");
    EXPECT_EQ(DistrustOf(L"\\\\?\\" + m_module), Writable(m_folder));
    EXPECT_EQ(DistrustOf(JoinPath(JoinPath(m_folder, L"."), L"module.dll")), Writable(m_folder));
    EXPECT_EQ(DistrustOf(m_folder + L"\\"), Writable(m_folder));
}

TEST_F(WayTest, ADeviceIsNoModule)
{
    EXPECT_NE(DistrustOf(L"\\\\.\\pipe\\module.dll").find(L"cannot be looked at"), std::wstring::npos);
}

} // namespace
} // namespace platform
