#pragma once

#include "com/Registration.h"
#include "tests/com/ComFixture.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

inline constexpr GUID kTestLibrary = {0x6A0E3D15, 0x5C1B, 0x4B0E, {0x8E, 0x55, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};

/// A registry in a place of the test's own, and a look at what it holds. The place is gone with the object.
class IRegistryUnderTest {
public:
    virtual ~IRegistryUnderTest() = default;

    [[nodiscard]] virtual IComponentRegistry& Registry() = 0;
    /// Makes a file that can be registered as a module with the type library kTestLibrary.
    virtual void MakeModule(const std::wstring& path) = 0;
    /// The module that serves a class, empty when none does, and the class as it is written.
    [[nodiscard]] virtual std::pair<std::wstring, SComponentClass> Find(REFCLSID classId) = 0;
    /// The module that is registered for kTestLibrary; empty when none is.
    [[nodiscard]] virtual std::wstring OwnerOfLibrary() = 0;
};

/// What holds for every registry. Two copies of one module lie in different folders.
class RegistryContractTest
    : public CComFixture,
      public testing::WithParamInterface<std::pair<const char*, std::function<std::unique_ptr<IRegistryUnderTest>()>>> {
protected:
    RegistryContractTest()
    {
        for (const std::wstring& module : {m_module, m_copy})
            m_place->MakeModule(module);
    }

    [[nodiscard]] HRESULT Write(const std::wstring& module, const std::wstring& name)
    {
        return m_registry.WriteComponent(module, {kClass, name, {kCategory}, L"Apartment", L"{app}"});
    }
    [[nodiscard]] SComponentClass Written() { return m_place->Find(kClass).second; }
    [[nodiscard]] std::wstring Owner() { return m_place->Find(kClass).first; }
    /// Refused, with a reason that says this.
    static void ExpectRefused(HRESULT expected, HRESULT result, const std::wstring& reason)
    {
        EXPECT_EQ(result, expected);
        EXPECT_NE(RegistrationError().find(reason), std::wstring::npos) << testing::PrintToString(RegistrationError());
        SetRegistrationError(L"");
    }

    static constexpr CLSID kClass = {0x6A0E3D16, 0x5C1B, 0x4B0E, {0x8E, 0x55, 0x11, 0x22, 0x33, 0x44, 0x55, 1}};
    static constexpr CLSID kOther = {0x6A0E3D16, 0x5C1B, 0x4B0E, {0x8E, 0x55, 0x11, 0x22, 0x33, 0x44, 0x55, 2}};
    static constexpr CATID kCategory = {0x6A0E3D17, 0x5C1B, 0x4B0E, {0x8E, 0x55, 0x11, 0x22, 0x33, 0x44, 0x55, 1}};
    static constexpr CATID kSecond = {0x6A0E3D17, 0x5C1B, 0x4B0E, {0x8E, 0x55, 0x11, 0x22, 0x33, 0x44, 0x55, 2}};

    const std::unique_ptr<IRegistryUnderTest> m_place = GetParam().second();
    IComponentRegistry& m_registry = m_place->Registry();
    testsupport::CTemporaryDirectory m_folder;
    testsupport::CTemporaryDirectory m_otherFolder;
    const std::wstring m_module = m_folder / L"contract.mod";
    const std::wstring m_copy = m_otherFolder / L"contract.mod";
};
