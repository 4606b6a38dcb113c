#include "com/Bstr.h"
#include "com/Guid.h"
#include "com/win32/RegistryKey.h"
#include "tests/com/RegistryContract.h"

#include <string>

ZEL_DECLARE_IID(ICreateTypeLib2, 0x0002040F, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

namespace {

/// The registry, with the system's classes in a key of the test's own.
class CSystemUnderTest final : public IRegistryUnderTest {
public:
    CSystemUnderTest()
    {
        com_win32::CRegistryKey key;
        EXPECT_EQ(key.Create(HKEY_CURRENT_USER, m_path), ERROR_SUCCESS);
        EXPECT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, key.Get()), ERROR_SUCCESS);
    }
    ~CSystemUnderTest() override
    {
        EXPECT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr), ERROR_SUCCESS);
        EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str()), ERROR_SUCCESS);
    }
    CSystemUnderTest(const CSystemUnderTest&) = delete;
    CSystemUnderTest& operator=(const CSystemUnderTest&) = delete;

    IComponentRegistry& Registry() override { return SystemComponentRegistry(); }
    /// A type library by itself is enough.
    void MakeModule(const std::wstring& path) override
    {
        CComPtr<ICreateTypeLib2> library;
        ASSERT_EQ(CreateTypeLib2(SYS_WIN64, path.c_str(), library.Put()), S_OK);
        std::wstring name = L"Contract";
        ASSERT_EQ(library->SetName(name.data()), S_OK);
        ASSERT_EQ(library->SetGuid(kTestLibrary), S_OK);
        ASSERT_EQ(library->SetVersion(1, 0), S_OK);
        ASSERT_EQ(library->SaveAllChanges(), S_OK);
    }
    std::pair<std::wstring, SComponentClass> Find(REFCLSID classId) override
    {
        const std::wstring path = com_win32::ClassKey(classId);
        com_win32::CRegistryKey key;
        SComponentClass found;
        if (!key.Open(HKEY_CLASSES_ROOT, path))
            return {};
        found.name = key.Text(L"");
        found.appId = key.Text(L"AppID");
        if (key.Open(HKEY_CLASSES_ROOT, path + L"\\Implemented Categories")) {
            for (const std::wstring& category : key.SubKeys())
                EXPECT_TRUE(GuidFromText(category, found.categories.emplace_back()));
        }
        EXPECT_TRUE(key.Open(HKEY_CLASSES_ROOT, path + L"\\InprocServer32")) << "a class that nobody serves";
        found.threadingModel = key.Text(L"ThreadingModel");
        return {key.Text(L""), found};
    }
    std::wstring OwnerOfLibrary() override
    {
        CBstr path;
        return SUCCEEDED(QueryPathOfRegTypeLib(kTestLibrary, 1, 0, 0, path.Put())) ? std::wstring(path.Get()) : L"";
    }

private:
    const std::wstring m_path = L"Software\\ZEL_Processor tests " + std::to_wstring(GetCurrentProcessId());
    /// Only a user's categories go below the system's classes, wherever those are.
    CRegistrationScope m_scope{eRegistrationScope_User};
};

INSTANTIATE_TEST_SUITE_P(System, RegistryContractTest,
                         testing::Values(std::pair("registry", [] { return std::make_unique<CSystemUnderTest>(); })),
                         [](const auto& parameter) { return std::string(parameter.param.first); });

} // namespace
