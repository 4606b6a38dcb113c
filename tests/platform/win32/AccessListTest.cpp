#include "platform/win32/AccessList.h"

#include "platform/Text.h"

#include <sddl.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace platform::win32 {
namespace {

using Memory = std::unique_ptr<void, decltype(&LocalFree)>;

const std::wstring kTrustedInstaller = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
/// The account of a service, and two of people.
const std::wstring kSelf = L"S-1-5-19";
const std::wstring kPerson = L"S-1-5-21-1-2-3-1001";

Memory Account(const std::wstring& text)
{
    PSID account = nullptr;
    EXPECT_TRUE(ConvertStringSidToSidW(text.c_str(), &account)) << ToUtf8(text);
    return {account, &LocalFree};
}

/// The fault of what a text in the system's own notation describes.
eAccessFault FaultOf(const std::wstring& text, eGuard guard = eGuard_Content)
{
    PSECURITY_DESCRIPTOR made = nullptr;
    EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &made, nullptr))
        << ToUtf8(text);
    const Memory descriptor(made, &LocalFree);
    return made == nullptr ? eAccessFault_None : FaultOfAccess(made, Account(kSelf).get(), guard);
}

/// An object of the administrators with these entries beside the ones that everything has.
std::wstring With(const std::wstring& entries)
{
    return L"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)" + entries;
}

TEST(AccessListTest, AdministratorsTheSystemItsInstallerAndThisAccountMayOwn)
{
    for (const std::wstring& owner : {std::wstring(L"BA"), std::wstring(L"SY"), kTrustedInstaller, kSelf})
        EXPECT_EQ(FaultOf(L"O:" + owner + L"D:(A;;FA;;;SY)(A;;0x1200a9;;;BU)"), eAccessFault_None) << ToUtf8(owner);
    for (const std::wstring& owner : {std::wstring(L"BU"), std::wstring(L"WD"), std::wstring(L"AU"), kPerson,
                                      std::wstring(L"S-1-5-80-1-2-3-4-5"), std::wstring(L"S-1-5-20")})
        EXPECT_EQ(FaultOf(L"O:" + owner + L"D:(A;;FA;;;SY)"), eAccessFault_Owner) << ToUtf8(owner);
    EXPECT_EQ(FaultOf(L"D:(A;;FA;;;SY)"), eAccessFault_Owner) << "no owner at all";
}

TEST(AccessListTest, WithoutAListEverybodyMayDoEverything)
{
    EXPECT_EQ(FaultOf(L"O:BA"), eAccessFault_Writable);
    EXPECT_EQ(FaultOf(L"O:BAD:"), eAccessFault_None) << "an empty one lets nobody in";
    const Memory system = Account(L"SY");
    SECURITY_DESCRIPTOR descriptor{};
    ASSERT_TRUE(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
    ASSERT_TRUE(SetSecurityDescriptorOwner(&descriptor, system.get(), FALSE));
    ASSERT_TRUE(SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE));
    EXPECT_EQ(FaultOfAccess(&descriptor, nullptr, eGuard_Content), eAccessFault_Writable) << "a list that is none";
}

TEST(AccessListTest, OthersMayReadAndRunAndNothingElse)
{
    for (const wchar_t* rights : {L"0x1200a9", L"FR", L"FX", L"GR", L"GX", L"RC"})
        EXPECT_EQ(FaultOf(With(std::wstring(L"(A;;") + rights + L";;;BU)")), eAccessFault_None) << ToUtf8(rights);
    for (const wchar_t* rights :
         {L"0x2", L"0x4", L"0x10", L"0x40", L"0x100", L"SD", L"WD", L"WO", L"GW", L"GA", L"FA", L"FW", L"0x1301bf"})
        EXPECT_EQ(FaultOf(With(std::wstring(L"(A;;") + rights + L";;;BU)")), eAccessFault_Writable) << ToUtf8(rights);
}

TEST(AccessListTest, EverybodyWhoIsNotTrustedCounts)
{
    for (const std::wstring& account : {std::wstring(L"WD"), std::wstring(L"AU"), std::wstring(L"BU"),
                                        std::wstring(L"IU"), std::wstring(L"AN"), kPerson})
        EXPECT_EQ(FaultOf(With(L"(A;;FW;;;" + account + L")")), eAccessFault_Writable) << ToUtf8(account);
    for (const std::wstring& account : {std::wstring(L"BA"), std::wstring(L"SY"), kTrustedInstaller, kSelf})
        EXPECT_EQ(FaultOf(With(L"(A;;FA;;;" + account + L")")), eAccessFault_None) << ToUtf8(account);
    EXPECT_EQ(FaultOf(With(L"(A;;FA;;;CO)(A;;FA;;;S-1-3-4)")), eAccessFault_None) << "they stand for the owner";
}

TEST(AccessListTest, WhatIsOnlyForThingsBelowDoesNotCount)
{
    EXPECT_EQ(FaultOf(With(L"(A;OICIIO;FA;;;BU)")), eAccessFault_None);
    EXPECT_EQ(FaultOf(With(L"(A;OICI;FA;;;BU)")), eAccessFault_Writable);
    EXPECT_EQ(FaultOf(With(L"(A;OICIID;FW;;;BU)")), eAccessFault_Writable) << "inherited from above";
}

TEST(AccessListTest, ADenialIsNoReasonToTrust)
{
    EXPECT_EQ(FaultOf(With(L"(D;;FA;;;BU)")), eAccessFault_None);
    EXPECT_EQ(FaultOf(L"O:BAD:(D;;FA;;;BU)(A;;FA;;;WD)"), eAccessFault_Writable);
}

TEST(AccessListTest, AnEntryOfAnotherKindMayAllowAnything)
{
    PSECURITY_DESCRIPTOR made = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(With(L"(A;;0x1200a9;;;BU)").c_str(),
                                                                     SDDL_REVISION_1, &made, nullptr));
    const Memory descriptor(made, &LocalFree);
    BOOL isPresent = FALSE;
    BOOL isDefaulted = FALSE;
    ACL* list = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(made, &isPresent, &list, &isDefaulted));
    void* entry = nullptr;
    ASSERT_TRUE(GetAce(list, 2, &entry));
    const Memory self = Account(kSelf);
    EXPECT_EQ(FaultOfAccess(made, self.get(), eGuard_Content), eAccessFault_None);
    for (const int type : {ACCESS_ALLOWED_OBJECT_ACE_TYPE, ACCESS_ALLOWED_COMPOUND_ACE_TYPE, 0x60}) {
        static_cast<ACE_HEADER*>(entry)->AceType = static_cast<BYTE>(type);
        EXPECT_EQ(FaultOfAccess(made, self.get(), eGuard_Content), eAccessFault_Writable) << type;
    }
    static_cast<ACE_HEADER*>(entry)->AceType = ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
    EXPECT_EQ(FaultOfAccess(made, self.get(), eGuard_Content), eAccessFault_None) << "it allows to read";
}

TEST(AccessListTest, InAFolderAboveOthersMayMakeThingsButTakeNoneAway)
{
    // What the folder for settings of all users has.
    const std::wstring settings = L"O:SYD:(A;;FA;;;SY)(A;;FA;;;BA)(A;OICIIO;GA;;;CO)(A;OICI;0x1200a9;;;BU)"
                                  L"(A;CI;0x116;;;BU)";
    EXPECT_EQ(FaultOf(settings, eGuard_Place), eAccessFault_None);
    EXPECT_EQ(FaultOf(settings, eGuard_Content), eAccessFault_Writable) << "and so what an administrator makes there";
    for (const wchar_t* rights : {L"0x40", L"SD", L"WD", L"WO", L"GA", L"FA"})
        EXPECT_EQ(FaultOf(With(std::wstring(L"(A;;") + rights + L";;;AU)"), eGuard_Place), eAccessFault_Writable)
            << ToUtf8(rights);
}

TEST(AccessListTest, TheRootOfAVolumeIsTakenAwayByNobody)
{
    // Of a volume with data: users may change what they find there, but not take away what is not theirs.
    const std::wstring volume = With(L"(A;;0x1301bf;;;AU)");
    EXPECT_EQ(FaultOf(volume, eGuard_Root), eAccessFault_None);
    EXPECT_EQ(FaultOf(volume, eGuard_Place), eAccessFault_Writable);
    EXPECT_EQ(FaultOf(With(L"(A;;0x40;;;AU)"), eGuard_Root), eAccessFault_Writable);
}

TEST(AccessListTest, WithoutAnAccountOfItsOwnAProcessTrustsTheSystemAlone)
{
    EXPECT_FALSE(OwnAccount().empty());
    PSECURITY_DESCRIPTOR made = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"O:SYD:(A;;FA;;;SY)(A;;FA;;;LS)", SDDL_REVISION_1,
                                                                     &made, nullptr));
    const Memory descriptor(made, &LocalFree);
    EXPECT_EQ(FaultOfAccess(made, nullptr, eGuard_Content), eAccessFault_Writable);
    EXPECT_EQ(FaultOfAccess(made, Account(kSelf).get(), eGuard_Content), eAccessFault_None);
}

} // namespace
} // namespace platform::win32
