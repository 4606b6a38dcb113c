#include "DomDocuments.h"
#include "ComFixture.h"
#include "DomShape.h"
#include "com/Bstr.h"
#include "com/Variant.h"
#include "com/XmlLoad.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

namespace {

class CDomDocumentsTest : public CComFixture {
protected:
    CComPtr<IXMLDOMDocument> Make()
    {
        CComPtr<IXMLDOMDocument> document;
        ThrowIfFailed(CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                          document.PutVoid()));
        ThrowIfFailed(document->put_async(VARIANT_FALSE));
        return document;
    }
    CComPtr<IXMLDOMDocument> Load(const std::string& bytes, bool& accepted)
    {
        const std::wstring path = m_folder / L"document.xml";
        EXPECT_EQ(platform::WriteWholeFile(path, bytes), platform::eOsError_None);
        CComPtr<IXMLDOMDocument> document = Make();
        accepted = LoadXmlFile(*document, path, m_error);
        return document;
    }
    CComPtr<IXMLDOMDocument> LoadText(const std::wstring& text, bool& accepted)
    {
        CComPtr<IXMLDOMDocument> document = Make();
        std::wstring notABstr = text;
        accepted = LoadXmlText(*document, notABstr.data(), m_error);
        return document;
    }

    SXmlError m_error; ///< of the last load that was refused
    testsupport::CTemporaryDirectory m_folder;
};

/// The node of this name that the look-ups of the system find: per level first, then subtree by subtree.
CComPtr<IXMLDOMNode> Find(CComPtr<IXMLDOMNode> parent, const std::wstring& name)
{
    std::deque<CComPtr<IXMLDOMNode>> stack{std::move(parent)};
    while (!stack.empty()) {
        const CComPtr<IXMLDOMNode> node = std::move(stack.front());
        stack.pop_front();
        std::deque<CComPtr<IXMLDOMNode>> children;
        CComPtr<IXMLDOMNodeList> list;
        LONG length = 0;
        // A document type has neither children nor siblings to give under Wine, and says so with a failure.
        if (FAILED(node->get_childNodes(list.Put())) || FAILED(list->get_length(&length)))
            continue;
        for (LONG index = 0; index < length; ++index) {
            CComPtr<IXMLDOMNode> child;
            ThrowIfFailed(list->get_item(index, child.Put()));
            CBstr childName;
            ThrowIfFailed(child->get_nodeName(childName.Put()));
            if (platform::EqualsNoCase(childName.View(), name))
                return child;
            children.push_back(std::move(child));
        }
        stack.insert(stack.begin(), children.begin(), children.end());
    }
    return nullptr;
}

std::wstring TextOf(const CComPtr<IXMLDOMNode>& node)
{
    if (!node)
        return {};
    CVariant value;
    ThrowIfFailed(node->get_nodeTypedValue(value.Put()));
    return std::wstring(value.Text());
}

const SDomResult& ExpectedOf(const SDomDocument& row)
{
    return row.underWine && testsupport::IsWine() ? *row.underWine : row.expected;
}

void ExpectContent(IXMLDOMDocument& document, const SDomDocument& row)
{
    const SDomResult& expected = ExpectedOf(row);
    if (!expected.shape.empty()) {
        EXPECT_EQ(DomShape(document), expected.shape);
    }
    if (!row.lookUp.empty()) {
        EXPECT_EQ(TextOf(Find(&document, row.lookUp)), expected.value);
    }
}

void ExpectParseError(IXMLDOMDocument& document, const SXmlError& error, const SDomDocument& row)
{
    EXPECT_NE(error.code, 0);
    EXPECT_FALSE(error.reason.empty());
    if (!testsupport::IsWine()) {
        if (row.line != 0) {
            EXPECT_EQ(error.line, row.line);
        }
        if (row.column != 0) {
            EXPECT_EQ(error.column, row.column);
        }
    }
    CComPtr<IXMLDOMElement> root;
    EXPECT_EQ(document.get_documentElement(root.Put()), S_FALSE);
    EXPECT_FALSE(root) << "a refused document is empty";
}

TEST_F(CDomDocumentsTest, EveryRowReadsAsTheTableSays)
{
    for (const SDomDocument& row : DomDocuments()) {
        SCOPED_TRACE(row.name);
        bool accepted = false;
        const CComPtr<IXMLDOMDocument> document = Load(row.bytes, accepted);
        EXPECT_EQ(accepted, ExpectedOf(row).accepted);
        if (accepted)
            ExpectContent(*document, row);
        else
            ExpectParseError(*document, m_error, row);
    }
}

TEST_F(CDomDocumentsTest, TheSameAsText)
{
    for (const SDomDocument& row : DomDocuments()) {
        if (!row.alsoAsText)
            continue;
        SCOPED_TRACE(row.name);
        bool accepted = false;
        const CComPtr<IXMLDOMDocument> document = LoadText(platform::FromUtf8(row.bytes), accepted);
        EXPECT_EQ(accepted, ExpectedOf(row).accepted);
        if (accepted)
            ExpectContent(*document, row);
        else
            ExpectParseError(*document, m_error, row);
    }
}

TEST_F(CDomDocumentsTest, ATruncatedDocumentIsNeverAccepted)
{
    const std::string whole = "<?xml version='1.0'?><!--b--><a x='1'><!--c--><b>&lt;&amp;</b><![CDATA[d]]></a>";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        bool accepted = true;
        const CComPtr<IXMLDOMDocument> document = Load(whole.substr(0, length), accepted);
        ASSERT_FALSE(accepted) << length;
    }
}

TEST_F(CDomDocumentsTest, AFlippedBitIsRefusedOrReads)
{
    const std::string whole = "<?xml version='1.0'?><!--b--><a x='1'><!--c--><b>&lt;&amp;</b><![CDATA[d]]></a>";
    int accepted = 0;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string bytes = whole;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
        bool read = false;
        const CComPtr<IXMLDOMDocument> document = Load(bytes, read);
        accepted += read ? 1 : 0;
        if (read) {
            ASSERT_FALSE(DomShape(*document).empty()) << bit;
        }
    }
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, static_cast<int>(whole.size() * 4)) << "most flips break the form";
}

} // namespace
