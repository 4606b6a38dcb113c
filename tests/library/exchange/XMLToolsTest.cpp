#include "ZEL_Processor/XMLTools.h"

#include "com/Bstr.h"
#include "com/ComPtr.h"
#include "com/Guid.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>

namespace {

class XMLTools : public testing::Test {
protected:
    XMLTools() { CoInitializeSYS(nullptr); }
    ~XMLTools() override { CoUninitializeSYS(); }

    /// The document node of a well-formed text.
    static CComPtr<IXMLDOMNode> Parse(const std::wstring& xml)
    {
        const CBstr text{std::wstring_view(xml)};
        CComPtr<IXMLDOMDocument> document;
        CString errorText;
        EXPECT_TRUE(CXMLTools::CreateXmlDomFromString(text.Get(), document.Put(), errorText))
            << testing::PrintToString(errorText);
        return CComPtr<IXMLDOMNode>(document.Get());
    }
    static CComPtr<IXMLDOMNode> Find(const CComPtr<IXMLDOMNode>& parent, const wchar_t* name)
    {
        CComPtr<IXMLDOMNode> found;
        const bool result = CXMLTools::GetNodeByName(parent.Get(), name, found.Put());
        EXPECT_EQ(result, static_cast<bool>(found));
        return found;
    }
    static CString Text(const CComPtr<IXMLDOMNode>& node)
    {
        CString value = L"before";
        EXPECT_TRUE(CXMLTools::GetNodeValue(node.Get(), value));
        return value;
    }
    static CString Attribute(const CComPtr<IXMLDOMNode>& node, const wchar_t* name)
    {
        CString value = L"before";
        EXPECT_TRUE(CXMLTools::GetAttributeValue(node.Get(), name, value));
        return value;
    }
};

} // namespace

TEST_F(XMLTools, ANullOutPointerIsNamed)
{
    const CBstr text(L"<a/>");
    CString errorText;
    EXPECT_FALSE(CXMLTools::CreateXmlDomFromString(text.Get(), static_cast<IXMLDOMDocument**>(nullptr), errorText));
    EXPECT_EQ(errorText, L"ppDomDocument == NULL");
    errorText.clear();
    EXPECT_FALSE(CXMLTools::CreateXmlDomFromFile(L"x", static_cast<IXMLDOMDocument**>(nullptr), errorText));
    EXPECT_EQ(errorText, L"ppDomDocument == NULL");
}

TEST_F(XMLTools, AThreadWithoutComIsToldSo)
{
    CoUninitializeSYS();
    const CBstr text(L"<a/>");
    CComPtr<IXMLDOMDocument> document;
    CString errorText;
    EXPECT_FALSE(CXMLTools::CreateXmlDomFromString(text.Get(), document.Put(), errorText));
    EXPECT_EQ(errorText, L"Cannot create instance of DOM document, HRESULT=0x800401f0");
    CoInitializeSYS(nullptr);
}

TEST_F(XMLTools, TheElementFormGivesTheRootThatKeepsItsDocument)
{
    const CBstr text(L"<Request><Task/></Request>");
    CComPtr<IXMLDOMElement> root;
    CString errorText = L"before";
    ASSERT_TRUE(CXMLTools::CreateXmlDomFromString(text.Get(), root.Put(), errorText));
    EXPECT_EQ(errorText, L"");
    CBstr name;
    EXPECT_EQ(root->get_nodeName(name.Put()), S_OK);
    EXPECT_EQ(name.View(), L"Request");
    CComPtr<IXMLDOMNode> task;
    EXPECT_TRUE(CXMLTools::GetNodeByName(root.Get(), L"Task", task.Put()));
}

TEST_F(XMLTools, AnUnclosedElementGivesThreeLinesOfReason)
{
    const CBstr text(L"<a>\n<b>\n</a>");
    CComPtr<IXMLDOMDocument> document;
    CString errorText = L"before";
    EXPECT_FALSE(CXMLTools::CreateXmlDomFromString(text.Get(), document.Put(), errorText));
    EXPECT_FALSE(document);
    std::wsmatch parts;
    ASSERT_TRUE(
        std::regex_match(errorText, parts, std::wregex(L"Error 0x([0-9a-f]+)\n([^\n]+)\nLine=([0-9]+), row=([0-9]+)")))
        << platform::ToUtf8(errorText);
    EXPECT_NE(std::stoul(parts[1].str(), nullptr, 16), 0U) << "the parser has a number for it";
    if (!testsupport::IsWine()) { // whose parser tells no place: 0 and 0
        EXPECT_EQ(parts[3].str(), L"3") << "where the wrong end stands";
        EXPECT_NE(parts[4].str(), L"0");
    }
}

TEST_F(XMLTools, FilesAreLoadedAndMissingOnesAreAnError)
{
    const testsupport::CTemporaryDirectory dir;
    const std::wstring path = dir / L"p\u00e9.xml";
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, "<Command Type='x'/>")));
    CComPtr<IXMLDOMElement> root;
    CString errorText = L"kept";
    ASSERT_TRUE(CXMLTools::CreateXmlDomFromFile(path, root.Put(), errorText));
    EXPECT_EQ(errorText, L"kept") << "written on failure only";
    EXPECT_TRUE(root);
    CComPtr<IXMLDOMElement> none;
    EXPECT_FALSE(CXMLTools::CreateXmlDomFromFile(dir / L"missing.xml", none.Put(), errorText));
    EXPECT_EQ(errorText.substr(0, 8), L"Error 0x");
    EXPECT_FALSE(none);
}

TEST_F(XMLTools, EveryTruncatedRequestIsRefusedWithAReason)
{
    const testsupport::CTemporaryDirectory dir;
    const std::wstring path = dir / L"x.xml";
    const std::string whole =
        "<?xml version='1.0'?><Request><Task Type=\"Echo\"><Text>\xC3\xA9 &amp;</Text></Task></Request>";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, whole.substr(0, length))));
        CComPtr<IXMLDOMDocument> document;
        CString errorText;
        EXPECT_FALSE(CXMLTools::CreateXmlDomFromFile(path, document.Put(), errorText)) << length;
        EXPECT_EQ(errorText.substr(0, 8), L"Error 0x") << length;
    }
}

TEST_F(XMLTools, NamesAreComparedWithoutCaseAndWithTheirPrefix)
{
    const auto document = Parse(L"<Request xmlns:dt=\"u\"><dt:dt/></Request>");
    EXPECT_TRUE(Find(document, L"request"));
    EXPECT_TRUE(Find(document, L"DT:dt"));
    EXPECT_FALSE(Find(document, L"dt"));
}

TEST_F(XMLTools, ADirectChildWinsOverADeeperNode)
{
    const auto document = Parse(L"<r><a><x>deep</x></a><x>near</x></r>");
    const auto root = Find(document, L"r");
    EXPECT_EQ(Text(Find(root, L"x")), L"near");
}

TEST_F(XMLTools, AmongDeeperNodesTheFirstChildsSubtreeWins)
{
    const auto document = Parse(L"<r><a><b><x>first</x></b></a><c><x>second</x></c></r>");
    EXPECT_EQ(Text(Find(Find(document, L"r"), L"x")), L"first");
}

TEST_F(XMLTools, TheParentItselfIsNotCompared)
{
    const auto document = Parse(L"<x><x>inner</x></x>");
    const auto outer = Find(document, L"x");
    EXPECT_EQ(Text(Find(outer, L"x")), L"inner");
    EXPECT_FALSE(Find(Find(outer, L"x"), L"x"));
}

TEST_F(XMLTools, AFilledOutPointerIsRefusedWithoutSearching)
{
    const auto document = Parse(L"<r><a/><b/></r>");
    const auto a = Find(document, L"a");
    IXMLDOMNode* found = a.Get();
    EXPECT_FALSE(CXMLTools::GetNodeByName(document.Get(), L"b", &found));
    EXPECT_EQ(found, a.Get());
    EXPECT_FALSE(CXMLTools::GetNodeByName(nullptr, L"b", &found));
    EXPECT_FALSE(CXMLTools::GetNodeByName(document.Get(), L"b", nullptr));
}

TEST_F(XMLTools, SiblingsAreFoundAfterTheStart)
{
    const auto document = Parse(L"<r><a>1</a><b/><A>2</A><a>3</a></r>");
    const auto first = Find(document, L"a");
    CComPtr<IXMLDOMNode> next;
    ASSERT_TRUE(CXMLTools::GetNextSiblingByName(first.Get(), L"a", next.Put()));
    EXPECT_EQ(Text(next), L"2");
    CComPtr<IXMLDOMNode> last;
    ASSERT_TRUE(CXMLTools::GetNextSiblingByName(next.Get(), L"a", last.Put()));
    EXPECT_EQ(Text(last), L"3");
    CComPtr<IXMLDOMNode> none;
    EXPECT_FALSE(CXMLTools::GetNextSiblingByName(last.Get(), L"a", none.Put()));
    EXPECT_FALSE(CXMLTools::GetNextSiblingByName(nullptr, L"a", none.Put()));
}

TEST_F(XMLTools, ASiblingSearchOverwritesItsOutPointer)
{
    const auto document = Parse(L"<r><a/></r>");
    const auto a = Find(document, L"a");
    IXMLDOMNode* found = a.Get();
    EXPECT_FALSE(CXMLTools::GetNextSiblingByName(a.Get(), L"x", &found));
    EXPECT_EQ(found, nullptr);
}

TEST_F(XMLTools, IntegerValuesAreConvertedAndMinusOneOtherwise)
{
    const auto document = Parse(L"<r><n>42</n><t>many</t></r>");
    long value = 0;
    EXPECT_TRUE(CXMLTools::GetNodeValue(document.Get(), L"n", value));
    EXPECT_EQ(value, 42);
    EXPECT_FALSE(CXMLTools::GetNodeValue(document.Get(), L"missing", value));
    EXPECT_EQ(value, -1);
    EXPECT_TRUE(CXMLTools::GetNodeValue(Find(document, L"n").Get(), value));
    EXPECT_EQ(value, 42);
    EXPECT_FALSE(CXMLTools::GetNodeValue(nullptr, value));
    EXPECT_EQ(value, -1);
    value = 7;
    EXPECT_TRUE(CXMLTools::GetNodeValue(document.Get(), L"t", value)) << "found, whatever the conversion did";
    EXPECT_EQ(value, -1);
    value = 7;
    EXPECT_FALSE(CXMLTools::GetNodeValue(Find(document, L"t").Get(), value));
    EXPECT_EQ(value, -1);
    CString text = L"before";
    const bool isRead = CXMLTools::GetNodeValue(Find(document, L"t").Get(), text);
    EXPECT_EQ(isRead, !text.empty()) << "a DOM may keep the text of what is no number, or have none to give";
}

TEST_F(XMLTools, AValueWithADataTypeIsReadAsText)
{
    const auto document = Parse(L"<r xmlns:dt='urn:schemas-microsoft-com:datatypes'><n dt:dt='i4'>12</n>"
                                L"<b dt:dt='boolean'>1</b><f dt:dt='r8'>2.5</f><p>7</p></r>");
    CString value;
    for (const auto& [name, text] : {std::pair(L"n", L"12"), std::pair(L"b", L"1"), std::pair(L"f", L"2.5")}) {
        EXPECT_TRUE(CXMLTools::GetNodeValue(document.Get(), name, value));
        EXPECT_EQ(value, text);
    }
    const CBstr type(L"i4");
    ASSERT_EQ(Find(document, L"p")->put_dataType(type.Get()), S_OK) << "as reading a number does";
    EXPECT_EQ(Text(Find(document, L"p")), L"7");
}

TEST_F(XMLTools, TextValuesOfMissingNodesAreEmpty)
{
    const auto document = Parse(L"<r><n>a<b>c</b></n></r>");
    CString value = L"before";
    EXPECT_TRUE(CXMLTools::GetNodeValue(document.Get(), L"n", value));
    EXPECT_EQ(value, L"ac");
    EXPECT_FALSE(CXMLTools::GetNodeValue(document.Get(), L"missing", value));
    EXPECT_EQ(value, L"");
    value = L"before";
    EXPECT_FALSE(CXMLTools::GetNodeValue(nullptr, L"n", value));
    EXPECT_EQ(value, L"");
    value = L"before";
    EXPECT_FALSE(CXMLTools::GetNodeValue(nullptr, value));
    EXPECT_EQ(value, L"");
}

TEST_F(XMLTools, AttributesAreReadAsTextNumberAndGuid)
{
    const auto node = Find(
        Parse(L"<r Type='a b' n=' -12x' l='99999999999' m='x' g='{80D84198-37D5-4BB3-B254-91460E9F8FFC}' h='xyz'/>"),
        L"r");
    EXPECT_EQ(Attribute(node, L"TYPE"), L"a b");
    long number = 0;
    EXPECT_TRUE(CXMLTools::GetAttributeValue(node.Get(), L"n", number));
    EXPECT_EQ(number, -12);
    EXPECT_TRUE(CXMLTools::GetAttributeValue(node.Get(), L"l", number));
    EXPECT_EQ(number, 2147483647) << "the same on every system, whatever fits into its long";
    EXPECT_TRUE(CXMLTools::GetAttributeValue(node.Get(), L"m", number));
    EXPECT_EQ(number, 0);
    EXPECT_FALSE(CXMLTools::GetAttributeValue(node.Get(), L"missing", number));
    EXPECT_EQ(number, -1);
    GUID guid = {};
    EXPECT_TRUE(CXMLTools::GetAttributeValue(node.Get(), L"g", guid));
    EXPECT_EQ(GuidToText(guid), L"{80D84198-37D5-4BB3-B254-91460E9F8FFC}");
    EXPECT_TRUE(CXMLTools::GetAttributeValue(node.Get(), L"h", guid)) << "the attribute is there";
    EXPECT_EQ(GuidToText(guid), L"{00000000-0000-0000-0000-000000000000}");
    EXPECT_FALSE(CXMLTools::GetAttributeValue(node.Get(), L"missing", guid));
    CString value = L"before";
    EXPECT_FALSE(CXMLTools::GetAttributeValue(nullptr, L"n", value));
    EXPECT_EQ(value, L"");
}

TEST_F(XMLTools, ADeepDocumentDoesNotExhaustTheStack)
{
    // Built by calls: the parsers refuse such a text before anything could search it.
    constexpr int kDepth = 100000;
    const CComPtr<IXMLDOMNode> root = Find(Parse(L"<d/>"), L"d");
    CComPtr<IXMLDOMDocument> document;
    ASSERT_EQ(root->get_ownerDocument(document.Put()), S_OK);
    const CBstr middle(L"d");
    const CBstr bottom(L"x");
    CComPtr<IXMLDOMNode> place = root;
    for (int level = 0; level <= kDepth; ++level) {
        CComPtr<IXMLDOMElement> child;
        ASSERT_EQ(document->createElement(level < kDepth ? middle.Get() : bottom.Get(), child.Put()), S_OK);
        ASSERT_EQ(place->appendChild(child.Get(), nullptr), S_OK);
        place = CComPtr<IXMLDOMNode>(child.Get());
    }
    EXPECT_TRUE(Find(root, L"x"));
    EXPECT_FALSE(Find(root, L"y"));
}
