#include "ZEL_Processor/XMLTools.h"

#include "com/Bstr.h"
#include "platform/Path.h"
#include "tests/library/exchange/ExchangeFixture.h"
#include "tests/support/Predicates.h"

#include <utility>
#include <vector>

namespace {

struct SProperties {
    CString action = L"before";
    CString dataSource = L"before";
    eElementIdentification identification = eElementIdentification_Name;
    CString id = L"before";
    CString propertyName = L"before";
    CString value = L"before";
    bool result = false;
};

class XMLToolsProperties : public CExchangeTest {
protected:
    static CComPtr<IXMLDOMDocument> Document(const wchar_t* xml)
    {
        const CBstr text{std::wstring_view(xml)};
        CComPtr<IXMLDOMDocument> document;
        CString error;
        EXPECT_TRUE(CXMLTools::CreateXmlDomFromString(text.Get(), document.Put(), error));
        return document;
    }
    using CChildren = std::vector<std::pair<CString, CString>>;

    static std::pair<CString, CString> NameAndText(IXMLDOMNode* node)
    {
        CBstr name;
        CBstr text;
        EXPECT_EQ(node->get_nodeName(name.Put()), S_OK);
        EXPECT_EQ(node->get_text(text.Put()), S_OK);
        return {name.Text(), text.Text()};
    }
    /// Names and texts of the child nodes, in their order.
    static CChildren Children(IXMLDOMNode* node)
    {
        CChildren children;
        CComPtr<IXMLDOMNode> child;
        static_cast<void>(node->get_firstChild(child.Put()));
        while (child) {
            children.push_back(NameAndText(child.Get()));
            CComPtr<IXMLDOMNode> next;
            static_cast<void>(child->get_nextSibling(next.Put()));
            child = next;
        }
        return children;
    }
    static SProperties Read(IXMLDOMNode* task)
    {
        SProperties read;
        read.result = CXMLTools::ReadTask_Properties(task, read.action, read.dataSource, read.identification, read.id,
                                                     read.propertyName, read.value);
        return read;
    }
    static SProperties Read(const std::wstring& children)
    {
        const auto document = Document((L"<Task Type=\"Properties\">" + children + L"</Task>").c_str());
        return Read(document.Get());
    }
};

} // namespace

TEST_F(XMLToolsProperties, ATaskHasItsFourChildrenInOrder)
{
    const auto document = Document(L"<Request/>");
    CComPtr<IXMLDOMElement> task;
    ASSERT_TRUE(CXMLTools::CreateTask_Properties(document.Get(), L"birds", L"17", L"Size", task.Put()));
    EXPECT_EQ(NameAndText(task.Get()).first, L"Task");
    CString type;
    EXPECT_TRUE(CXMLTools::GetAttributeValue(task.Get(), L"Type", type));
    EXPECT_EQ(type, L"Properties");
    EXPECT_EQ(Children(task.Get()),
              (CChildren{{L"Action", L"Get"}, {L"DataSource", L"birds"}, {L"Id", L"17"}, {L"PropertyName", L"Size"}}));
    // The caller appends it.
    CComPtr<IXMLDOMNode> parent;
    EXPECT_EQ(task->get_parentNode(parent.Put()), S_FALSE);
}

TEST_F(XMLToolsProperties, ATaskIsReadAsItWasMade)
{
    // Wine's DOM takes a typed value for markup.
    const CString dataSource = testsupport::IsWine() ? L"birds" : L"<birds> & \"bees\"";
    CComPtr<IXMLDOMElement> task;
    ASSERT_TRUE(
        CXMLTools::CreateTask_Properties(Document(L"<Request/>").Get(), dataSource, L"17", L"Size", task.Put()));
    const SProperties read = Read(task.Get());
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.action, L"Get");
    EXPECT_EQ(read.dataSource, dataSource);
    EXPECT_EQ(read.identification, eElementIdentification_Id);
    EXPECT_EQ(read.id, L"17");
    EXPECT_EQ(read.propertyName, L"Size");
    EXPECT_EQ(read.value, L"");
}

TEST_F(XMLToolsProperties, NullPointersMakeNoTask)
{
    CComPtr<IXMLDOMElement> task;
    EXPECT_FALSE(CXMLTools::CreateTask_Properties(nullptr, L"a", L"b", L"c", task.Put()));
    EXPECT_FALSE(CXMLTools::CreateTask_Properties(Document(L"<a/>").Get(), L"a", L"b", L"c", nullptr));
}

TEST_F(XMLToolsProperties, ATextThatTheDomRefusesIsReportedAndMakesNoTask)
{
    const auto document = Document(L"<Request/>");
    CComPtr<IXMLDOMElement> task;
    const bool isMade = CXMLTools::CreateTask_Properties(document.Get(), L"birds\x01", L"17", L"Size", task.Put());
    EXPECT_EQ(isMade, static_cast<bool>(task));
    if (!isMade)
        m_host.ExpectReport(1, L"Unable to create the task: COM error 0x");
    // The system's DOM, where there is one, may refuse such a text only when it is saved.
    EXPECT_FALSE(isMade && platform::kPathSeparator == L'/');
}

TEST_F(XMLToolsProperties, AnIdWinsOverAName)
{
    const SProperties read = Read(L"<ElementName>n</ElementName><Id>5</Id>");
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.identification, eElementIdentification_Id);
    EXPECT_EQ(read.id, L"5");
}

TEST_F(XMLToolsProperties, GetFirstCountsInAnyLetterCase)
{
    for (const wchar_t* id : {L"GetFirst", L"getfirst", L"GETFIRST"}) {
        const SProperties read = Read(L"<Id>" + std::wstring(id) + L"</Id>");
        EXPECT_TRUE(read.result);
        EXPECT_EQ(read.identification, eElementIdentification_First);
        EXPECT_EQ(read.id, id);
    }
    EXPECT_EQ(Read(L"<Id>GetFirst1</Id>").identification, eElementIdentification_Id);
}

TEST_F(XMLToolsProperties, ANameIdentifiesWithoutAnId)
{
    const SProperties read = Read(L"<Action>Get</Action><ElementName>GetFirst</ElementName><Value>v</Value>");
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.identification, eElementIdentification_Name);
    EXPECT_EQ(read.id, L"GetFirst");
    EXPECT_EQ(read.dataSource, L"");
    EXPECT_EQ(read.propertyName, L"");
    EXPECT_EQ(read.value, L"v");
}

TEST_F(XMLToolsProperties, WithoutIdentificationEverythingIsEmptied)
{
    const SProperties read = Read(L"<Action>Get</Action><DataSource>d</DataSource><PropertyName>p</PropertyName>");
    EXPECT_FALSE(read.result);
    EXPECT_EQ(read.identification, eElementIdentification_None);
    for (const CString& text : {read.action, read.dataSource, read.id, read.propertyName, read.value})
        EXPECT_EQ(text, L"");
    EXPECT_FALSE(Read(static_cast<IXMLDOMNode*>(nullptr)).result);
}

TEST_F(XMLToolsProperties, TypeDefinitionsCountBehindTheFirstCharacter)
{
    EXPECT_FALSE(CXMLTools::XmlContainsTypeDefinitions(L"dt:dt"));
    EXPECT_FALSE(CXMLTools::XmlContainsTypeDefinitions(L"dt:dt and dt:dt again"));
    EXPECT_TRUE(CXMLTools::XmlContainsTypeDefinitions(L" dt:dt"));
    EXPECT_TRUE(CXMLTools::XmlContainsTypeDefinitions(L"<a dt:dt=\"i4\"/>"));
    EXPECT_FALSE(CXMLTools::XmlContainsTypeDefinitions(L" DT:DT"));
    EXPECT_FALSE(CXMLTools::XmlContainsTypeDefinitions(L""));
}
