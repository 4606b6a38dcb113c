#include "tests/regsvr/LetOthersWrite.h"

#include "platform/win32/WindowsHeader.h"

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

void LetOthersWrite(const std::wstring& path)
{
    PSECURITY_DESCRIPTOR made = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;WD)",
                                                                     SDDL_REVISION_1, &made, nullptr));
    ACL* list = nullptr;
    BOOL isPresent = FALSE;
    BOOL isDefaulted = FALSE;
    EXPECT_TRUE(GetSecurityDescriptorDacl(made, &isPresent, &list, &isDefaulted));
    std::wstring name = path;
    EXPECT_EQ(
        SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, list, nullptr),
        DWORD{ERROR_SUCCESS});
    LocalFree(made);
}
