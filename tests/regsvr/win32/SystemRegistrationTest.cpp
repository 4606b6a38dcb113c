#include "com/Bstr.h"
#include "com/ComPtr.h"
#include "com/win32/RegistryKey.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/regsvr/RegsvrFixture.h"

#include <algorithm>

ZEL_DECLARE_IID(ICatInformation, 0x0002E013, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

namespace {

constexpr CLSID kArrayClass = {0x857C58CE, 0x8D5E, 0x4341, {0x92, 0x5F, 0xD6, 0x4E, 0x40, 0xD9, 0x36, 0x6C}};
constexpr IID kArrayInterface = {0x3F62547A, 0xA291, 0x4E83, {0xB8, 0xA8, 0x0F, 0x1E, 0x95, 0x17, 0x74, 0x1D}};
constexpr CLSID kDataStoreClass = {0x9AE21A0F, 0xCDB9, 0x40F5, {0x80, 0x5A, 0x5B, 0x40, 0xC4, 0x87, 0x72, 0x52}};
constexpr CATID kFactoryCategory = {0x80D84198, 0x37D5, 0x4BB3, {0xB2, 0x54, 0x91, 0x46, 0x0E, 0x9F, 0x8F, 0xFC}};
constexpr GUID kLibraryId = {0x33211DD3, 0xEA28, 0x4CB5, {0x8A, 0x31, 0x36, 0x61, 0x0A, 0x6D, 0xCF, 0xF7}};

/// The system's own tool, with modules that are taken back at the end.
class SystemRegistrationTest : public CRegsvrFixture {
protected:
    SystemRegistrationTest() { EXPECT_TRUE(SUCCEEDED(CoInitialize(nullptr))); }
    ~SystemRegistrationTest() override
    {
        for (const std::wstring& module : m_modules)
            EXPECT_EQ(Regsvr32({L"/s", L"/u", module}), 0);
        CoUninitialize();
    }

    static int Regsvr32(const std::vector<std::wstring>& arguments)
    {
        const std::wstring tool = platform::JoinPath(platform::Environment(L"SystemRoot"), L"system32\\regsvr32.exe");
        platform::CProcess process;
        EXPECT_EQ(process.Start(tool, arguments), platform::eOsError_None);
        int code = -1;
        EXPECT_TRUE(process.Wait(kPatience, code));
        return code;
    }
    void RegisterBySystem(const std::wstring& module)
    {
        m_modules.push_back(module);
        ASSERT_EQ(Regsvr32({L"/s", module}), 0);
    }
    [[nodiscard]] static bool KeyExists(const std::wstring& path)
    {
        com_win32::CRegistryKey key;
        return key.Open(HKEY_CLASSES_ROOT, path);
    }
    [[nodiscard]] static std::vector<CLSID> ClassesOfCategory()
    {
        CComPtr<ICatInformation> information;
        EXPECT_EQ(CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER,
                                   ComIid<ICatInformation>(), information.PutVoid()),
                  S_OK);
        CComPtr<IEnumCLSID> found;
        CATID category = kFactoryCategory;
        EXPECT_EQ(information->EnumClassesOfCategories(1, &category, 0, nullptr, found.Put()), S_OK);
        std::vector<CLSID> classes;
        CLSID classId = {};
        while (found->Next(1, &classId, nullptr) == S_OK)
            classes.push_back(classId);
        return classes;
    }

private:
    std::vector<std::wstring> m_modules;
};

TEST_F(SystemRegistrationTest, Regsvr32RegistersTheLibraryAndTakesItBack)
{
    const std::wstring server = com_win32::ClassKey(kArrayClass) + L"\\InprocServer32";
    ASSERT_FALSE(KeyExists(server));
    ASSERT_NO_FATAL_FAILURE(RegisterBySystem(Library()));
    com_win32::CRegistryKey key;
    ASSERT_TRUE(key.Open(HKEY_CLASSES_ROOT, server));
    EXPECT_EQ(key.Text(L""), Library());
    EXPECT_EQ(key.Text(L"ThreadingModel"), L"Both");
    ASSERT_TRUE(key.Open(HKEY_CLASSES_ROOT, com_win32::ClassKey(kArrayClass)));
    EXPECT_EQ(key.Text(L""), L"CLSID array");
    EXPECT_EQ(key.Text(L"AppID"), L"") << "the replacement of APPID is empty";
    EXPECT_EQ(RunProgram(L"zel-class-probe", {}, Environment()).output, "an array of 2\n");

    EXPECT_EQ(Regsvr32({L"/s", L"/u", Library()}), 0);
    EXPECT_FALSE(KeyExists(com_win32::ClassKey(kArrayClass)));
    EXPECT_FALSE(KeyExists(L"TypeLib\\" + GuidToText(kLibraryId)));
    EXPECT_EQ(RunProgram(L"zel-class-probe", {}, Environment()).output, "0x80040154\n");
}

TEST_F(SystemRegistrationTest, TheTypeLibraryDescribesTheInterfaceAsItIs)
{
    ASSERT_NO_FATAL_FAILURE(RegisterBySystem(Library()));
    CComPtr<ITypeLib> library;
    ASSERT_EQ(LoadRegTypeLib(kLibraryId, 1, 0, 0, library.Put()), S_OK);
    CComPtr<ITypeInfo> interfaceInfo;
    ASSERT_EQ(library->GetTypeInfoOfGuid(kArrayInterface, interfaceInfo.Put()), S_OK);
    const std::vector<std::wstring> expected = {L"Add",      L"Contains", L"ContainsVB", L"Remove", L"RemoveAll",
                                                L"GetCount", L"GetAt",    L"CopyTo",     L"SetAt"};
    for (UINT index = 0; index < expected.size(); ++index) {
        FUNCDESC* function = nullptr;
        ASSERT_EQ(interfaceInfo->GetFuncDesc(index, &function), S_OK) << index;
        EXPECT_EQ(function->oVft, static_cast<SHORT>((index + 3) * sizeof(void*))) << index;
        CBstr name;
        EXPECT_EQ(interfaceInfo->GetDocumentation(function->memid, name.Put(), nullptr, nullptr, nullptr), S_OK);
        EXPECT_EQ(name.Text(), expected[index]);
        interfaceInfo->ReleaseFuncDesc(function);
    }
    CComPtr<ITypeInfo> classInfo;
    EXPECT_EQ(library->GetTypeInfoOfGuid(kArrayClass, classInfo.Put()), S_OK);
}

TEST_F(SystemRegistrationTest, ThePlugInIsFoundThroughTheSystemsCategoryManager)
{
    EXPECT_EQ(std::ranges::count(ClassesOfCategory(), kDataStoreClass), 0);
    const std::wstring module = Module(L"plugins/zel_datastore");
    ASSERT_NO_FATAL_FAILURE(RegisterBySystem(module));
    EXPECT_EQ(std::ranges::count(ClassesOfCategory(), kDataStoreClass), 1);
    const std::string list = List();
    EXPECT_TRUE(Contains(list, "Data store\n   module  " + platform::ToUtf8(module))) << list;
    EXPECT_EQ(Regsvr32({L"/s", L"/u", module}), 0);
    EXPECT_EQ(std::ranges::count(ClassesOfCategory(), kDataStoreClass), 0);
}

TEST_F(SystemRegistrationTest, ForAUserEverythingGoesBelowTheUser)
{
    const std::wstring classKey = L"Software\\Classes\\" + com_win32::ClassKey(kDataStoreClass);
    const std::wstring module = Module(L"plugins/zel_datastore");
    ASSERT_EQ(Register(module, L"--user").code, 0);
    com_win32::CRegistryKey key;
    ASSERT_TRUE(key.Open(HKEY_CURRENT_USER, classKey + L"\\InprocServer32"));
    EXPECT_EQ(key.Text(L""), module);
    EXPECT_TRUE(key.Open(HKEY_CURRENT_USER, classKey + L"\\Implemented Categories\\" + GuidToText(kFactoryCategory)));
    EXPECT_FALSE(key.Open(HKEY_LOCAL_MACHINE, classKey));
    EXPECT_EQ(Regsvr({L"-u", L"--user", module}).code, 0);
    EXPECT_FALSE(key.Open(HKEY_CURRENT_USER, classKey));
}

TEST_F(SystemRegistrationTest, Regsvr32FailsForWhatIsNoModule)
{
    Write(InHome(L"text.dll"), "this is text");
    EXPECT_NE(Regsvr32({L"/s", InHome(L"text.dll")}), 0);
}

} // namespace
