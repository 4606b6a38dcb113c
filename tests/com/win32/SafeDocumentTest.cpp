#include "com/Variant.h"
#include "com/Xml.h"
#include "com/XmlScan.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"
#include "tests/com/ComFixture.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

ZEL_DECLARE_IID(IXMLDOMDocument2, 0x2933BF95, 0x7B36, 0x11D2, 0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60);

namespace {

class CSafeDocumentTest : public CComFixture {
protected:
    static CComPtr<IXMLDOMDocument2> Make()
    {
        CComPtr<IXMLDOMDocument2> document;
        ThrowIfFailed(CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument2>(),
                                          document.PutVoid()));
        return document;
    }
};

TEST_F(CSafeDocumentTest, ANewDocumentResolvesAndValidatesNothing)
{
    const auto document = Make();
    VARIANT_BOOL resolves = VARIANT_TRUE;
    EXPECT_EQ(document->get_resolveExternals(&resolves), S_OK);
    EXPECT_EQ(resolves, VARIANT_FALSE);
    VARIANT_BOOL validates = VARIANT_TRUE;
    EXPECT_EQ(document->get_validateOnParse(&validates), S_OK);
    EXPECT_EQ(validates, VARIANT_FALSE);
}

TEST_F(CSafeDocumentTest, ANewDocumentTakesNoDocumentType)
{
    const auto document = Make();
    CVariant prohibits;
    const CBstr name(L"ProhibitDTD");
    if (const HRESULT result = document->getProperty(name.Get(), prohibits.Put());
        FAILED(result) && testsupport::IsWine())
        GTEST_SKIP() << "the DOM of Wine takes the property without keeping it";
    ASSERT_EQ(prohibits.Type(), VT_BOOL);
    EXPECT_EQ(prohibits.Get().boolVal, VARIANT_TRUE);
}

TEST_F(CSafeDocumentTest, AnExternalEntityIsNotReadEvenWithoutTheLookBefore)
{
    const testsupport::CTemporaryDirectory folder;
    ASSERT_EQ(platform::WriteWholeFile(folder / L"secret.txt", "secret"), platform::eOsError_None);
    const auto document = Make();
    const CBstr text(L"<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///" + (folder / L"secret.txt") + L"'>]><a>&e;</a>");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    static_cast<void>(document->loadXML(text.Get(), &loaded));
    CBstr all;
    static_cast<void>(document->get_text(all.Put()));
    EXPECT_EQ(all.Text().find(L"secret"), std::wstring::npos);
}

} // namespace
