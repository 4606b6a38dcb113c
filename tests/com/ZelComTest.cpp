#include "com/ZelCom.h"
#include "TestComponent.h"
#include "com/ComObject.h"
#include "com/Components.h"
#include "com/Xml.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

/// On a thread of its own, whose initialisations nobody else counts.
void OnNewThread(const std::function<void()>& body)
{
    std::jthread(body).join();
}

HRESULT CreateDocument(HRESULT (*create)(REFCLSID, IUnknown*, DWORD, REFIID, void**) noexcept)
{
    CComPtr<IXMLDOMDocument> document;
    const HRESULT result =
        create(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(), document.PutVoid());
    EXPECT_EQ(SUCCEEDED(result), static_cast<bool>(document));
    return result;
}

TEST(ZelCom, TheTwoInitialisationsCountApart)
{
    OnNewThread([] {
        EXPECT_EQ(CoInitializeSYS(nullptr), S_OK);
        EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
        EXPECT_EQ(CoInitializeZEL(nullptr), S_FALSE);
        CoUninitializeZEL();
        CoUninitializeZEL();
        EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
        CoUninitializeZEL();
        EXPECT_EQ(CoInitializeSYS(nullptr), S_FALSE) << "the system's count is as it was";
        CoUninitializeSYS();
        CoUninitializeSYS();
        EXPECT_EQ(CreateDocument(CoCreateInstanceSYS), CO_E_NOTINITIALIZED);
    });
}

TEST(ZelCom, OneTooManyUninitialiseDoesNothing)
{
    OnNewThread([] {
        EXPECT_EQ(CoInitializeSYS(nullptr), S_OK);
        CoUninitializeZEL();
        EXPECT_EQ(CreateDocument(CoCreateInstanceSYS), S_OK);
        CoUninitializeSYS();
    });
}

TEST(ZelCom, NothingIsMadeOnAThreadWithoutInitialisation)
{
    OnNewThread([] {
        EXPECT_EQ(CreateDocument(CoCreateInstanceSYS), CO_E_NOTINITIALIZED);
        EXPECT_EQ(CreateDocument(CoCreateInstanceZEL), CO_E_NOTINITIALIZED);
        EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
        EXPECT_EQ(CreateDocument(CoCreateInstanceSYS), S_OK);
        EXPECT_EQ(CreateDocument(CoCreateInstanceZEL), S_OK);
        CoUninitializeZEL();
        EXPECT_EQ(CreateDocument(CoCreateInstanceZEL), CO_E_NOTINITIALIZED);
    });
}

TEST(ZelCom, AnUnknownClassIsNotRegistered)
{
    OnNewThread([] {
        ASSERT_EQ(CoInitializeZEL(nullptr), S_OK);
        void* object = &object;
        EXPECT_EQ(CoCreateInstanceZEL(kTestClassNone, nullptr, CLSCTX_INPROC_SERVER, ComIid<IUnknown>(), &object),
                  REGDB_E_CLASSNOTREG);
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(CoCreateInstanceZEL(kTestClassNone, nullptr, CLSCTX_INPROC_SERVER, ComIid<IUnknown>(), nullptr),
                  E_POINTER);
        CoUninitializeZEL();
    });
}

TEST(ZelCom, AnInterfaceThatTheObjectHasNotIsRefused)
{
    OnNewThread([] {
        ASSERT_EQ(CoInitializeZEL(nullptr), S_OK);
        CComPtr<IClassFactory> factory;
        EXPECT_EQ(CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IClassFactory>(),
                                      factory.PutVoid()),
                  E_NOINTERFACE);
        EXPECT_FALSE(factory);
        CoUninitializeZEL();
    });
}

TEST(ZelCom, AFactoryThatThrowsIsAFailureAndNothingElse)
{
    OnNewThread([] {
        ASSERT_EQ(CoInitializeZEL(nullptr), S_OK);
        ASSERT_EQ(RegisterComponentClass(kTestClassNone,
                                         [](REFIID, void**) -> HRESULT { throw std::runtime_error("broken"); }, {}),
                  S_OK);
        CComPtr<IUnknown> object;
        EXPECT_EQ(
            CoCreateInstanceZEL(kTestClassNone, nullptr, CLSCTX_INPROC_SERVER, ComIid<IUnknown>(), object.PutVoid()),
            E_UNEXPECTED);
        EXPECT_EQ(RevokeComponentClass(kTestClassNone), S_OK);
        CoUninitializeZEL();
    });
}

TEST(ZelCom, IdsFromTexts)
{
    GUID guid = kTestClassOne;
    EXPECT_EQ(CLSIDFromStringZEL(L"xyz", &guid), CO_E_CLASSSTRING);
    EXPECT_EQ(guid, GUID_NULL);
    guid = kTestClassOne;
    EXPECT_EQ(CLSIDFromStringZEL(nullptr, &guid), E_POINTER);
    EXPECT_EQ(guid, GUID_NULL);
    EXPECT_EQ(CLSIDFromStringZEL(L"{}", nullptr), E_POINTER);
    EXPECT_EQ(CLSIDFromStringZEL(L"{6a0e3d12-5c1b-4b0e-8e55-112233445501}", &guid), S_OK);
    EXPECT_EQ(guid, kTestClassOne);
}

TEST(ZelCom, TextsFromIds)
{
    wchar_t* text = nullptr;
    ASSERT_EQ(StringFromCLSIDZEL(&kTestClassOne, &text), S_OK);
    EXPECT_EQ(std::wstring(text), L"{6A0E3D12-5C1B-4B0E-8E55-112233445501}");
    CoTaskMemFree(text);
    EXPECT_EQ(StringFromCLSIDZEL(nullptr, &text), E_POINTER);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(StringFromCLSIDZEL(&kTestClassOne, nullptr), E_POINTER);
}

} // namespace
