#include "platform/OsError.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(OsErrorTest, EveryFailureHasWords)
{
    for (const auto error :
         {eOsError_FileNotFound,  eOsError_PathNotFound,      eOsError_TooManyOpenFiles, eOsError_AccessDenied,
          eOsError_OutOfMemory,   eOsError_NotSameDevice,     eOsError_SharingViolation, eOsError_NotSupported,
          eOsError_FileExists,    eOsError_InvalidParameter,  eOsError_BrokenPipe,       eOsError_DiskFull,
          eOsError_NameTooLong,   eOsError_DirectoryNotEmpty, eOsError_AlreadyExists,    eOsError_FileTooLarge,
          eOsError_NotADirectory, eOsError_LinkInTheWay,      eOsError_IoError,          eOsError_TooManyWatches,
          eOsError_NotDurable,    eOsError_ForeignOwner}) {
        const std::wstring text = OsErrorText(error);
        ASSERT_FALSE(text.empty()) << error;
        EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos) << error;
        EXPECT_NE(text, OsErrorText(eOsError_None));
    }
}

TEST(OsErrorTest, AnUnknownNumberIsNamedByItself)
{
    EXPECT_NE(OsErrorText(static_cast<eOsError>(54'321)).find(L"54321"), std::wstring::npos);
}

TEST(OsErrorTest, BothSpellingsOfAbsence)
{
    EXPECT_TRUE(IsAbsent(eOsError_FileNotFound));
    EXPECT_TRUE(IsAbsent(eOsError_PathNotFound));
    EXPECT_FALSE(IsAbsent(eOsError_None));
    EXPECT_FALSE(IsAbsent(eOsError_AccessDenied));
    EXPECT_TRUE(Succeeded(eOsError_None));
    EXPECT_FALSE(Succeeded(eOsError_FileNotFound));
}

} // namespace
} // namespace platform
