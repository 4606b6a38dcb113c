#include "com/posix/DomTree.h"

#include "com/posix/DomText.h"

#include <libxml/parser.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace com_posix {
namespace {

constexpr std::string_view kNamespacePrefix = "xmlns:";

const xmlNs* AsNamespace(const xmlNode* node)
{
    return reinterpret_cast<const xmlNs*>(node);
}

std::string QualifiedName(const xmlNode* node)
{
    std::string name;
    if (node->ns != nullptr && node->ns->prefix != nullptr) {
        name = ViewOf(node->ns->prefix);
        name += ':';
    }
    return name.append(ViewOf(node->name));
}

/// Text with the part of it that must stay when white space is cut off.
class CTextCollector {
public:
    void Append(std::string_view text, bool trimmed)
    {
        const std::size_t start = m_sText.size();
        m_sText += text;
        std::size_t first = 0;
        std::size_t last = text.size();
        while (trimmed && first < last && IsXmlSpace(text[first]))
            ++first;
        while (trimmed && last > first && IsXmlSpace(text[last - 1]))
            --last;
        if (first == last)
            return;
        m_nFirst = std::min(m_nFirst, start + first);
        m_nLast = start + last;
    }
    [[nodiscard]] std::string Take()
    {
        if (m_nFirst >= m_nLast)
            return {};
        m_sText.resize(m_nLast);
        m_sText.erase(0, m_nFirst);
        return std::move(m_sText);
    }

private:
    std::string m_sText;
    std::size_t m_nFirst = std::string::npos;
    std::size_t m_nLast = 0;
};

/// Walks a subtree in document order and knows at each place whether white space counts: the element above it that has
/// an xml:space tells. Asking for that at each place is quadratic.
class CSpaceWalk {
public:
    CSpaceWalk(const CDomTree& tree, xmlNode* top) : m_tree(tree), m_pTop(top), m_pNode(top)
    {
        m_keeps.push_back(tree.m_bPreserveWhiteSpace ||
                          (tree.m_bMayHaveSpaceAttribute && xmlNodeGetSpacePreserve(top->parent) == 1));
    }

    [[nodiscard]] xmlNode* Node() const { return m_pNode; } ///< null at the end
    [[nodiscard]] bool KeepsSpace() const { return m_keeps.back(); }
    void Advance()
    {
        if (xmlNode* child = FirstChildOf(m_pNode)) {
            m_keeps.push_back(KeepsSpaceIn(m_pNode));
            m_pNode = child;
            return;
        }
        while (m_pNode != m_pTop && m_pNode->next == nullptr) {
            m_pNode = m_pNode->parent;
            m_keeps.pop_back();
        }
        m_pNode = m_pNode == m_pTop ? nullptr : m_pNode->next;
    }

private:
    [[nodiscard]] bool KeepsSpaceIn(const xmlNode* node) const
    {
        if (m_tree.m_bPreserveWhiteSpace || !m_tree.m_bMayHaveSpaceAttribute || node->type != XML_ELEMENT_NODE)
            return KeepsSpace();
        const xmlAttr* space = xmlHasNsProp(node, XmlChars("space"), XML_XML_NAMESPACE);
        const std::string value = space == nullptr ? std::string() : ValueOf(reinterpret_cast<const xmlNode*>(space));
        return value == "preserve" || (value != "default" && KeepsSpace());
    }

    const CDomTree& m_tree;
    const xmlNode* const m_pTop;
    xmlNode* m_pNode;
    std::vector<bool> m_keeps; ///< of the levels above the node, the top's own first
};

bool IsBlank(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), IsXmlSpace);
}

} // namespace

void InitializeXmlLibrary()
{
    static const bool initialized = (xmlInitParser(), true);
    static_cast<void>(initialized);
}

CDomTree::CDomTree(xmlDoc* document)
{
    InitializeXmlLibrary();
    m_pDocument = document != nullptr ? document : xmlNewDoc(XmlChars("1.0"));
    if (m_pDocument == nullptr)
        throw std::bad_alloc();
    // Without one the writer takes the document for ASCII and writes attributes in character references. What a
    // file is to be written in is told by its XML declaration, which is a node.
    if (m_pDocument->encoding == nullptr)
        m_pDocument->encoding = xmlStrdup(XmlChars("UTF-8"));
}

CDomTree::~CDomTree()
{
    // Orphans first: their names may lie in the document's dictionary.
    for (xmlNode* orphan : m_orphans)
        xmlFreeNode(orphan);
    xmlFreeDoc(m_pDocument);
}

xmlNode* CDomTree::Adopt(xmlNode* orphan)
{
    if (orphan == nullptr)
        throw std::bad_alloc();
    try {
        m_orphans.push_back(orphan);
    } catch (...) {
        xmlFreeNode(orphan);
        throw;
    }
    return orphan;
}

void CDomTree::ForgetOrphan(xmlNode* node)
{
    const auto found = std::find(m_orphans.rbegin(), m_orphans.rend(), node);
    if (found != m_orphans.rend())
        m_orphans.erase(std::next(found).base());
}

void CDomTree::Unlink(xmlNode* node)
{
    m_orphans.reserve(m_orphans.size() + 1);
    xmlUnlinkNode(node);
    m_orphans.push_back(node);
    ++m_nChanges;
}

void CDomTree::Append(xmlNode* parent, xmlNode* node)
{
    // Not xmlAddChild: it merges neighbouring texts and frees one of them, which somebody may hold.
    if (node->parent != nullptr)
        xmlUnlinkNode(node);
    else
        ForgetOrphan(node);
    node->parent = parent;
    node->prev = parent->last;
    node->next = nullptr;
    (parent->last != nullptr ? parent->last->next : parent->children) = node;
    parent->last = node;
    ++m_nChanges;
}

void CDomTree::SetText(xmlNode* parent, const std::string& utf8)
{
    xmlNode* text = nullptr;
    if (!utf8.empty())
        text = Adopt(xmlNewDocTextLen(m_pDocument, XmlChars(utf8.data()), static_cast<int>(utf8.size())));
    while (parent->children != nullptr)
        Unlink(parent->children);
    if (text != nullptr)
        Append(parent, text);
}

HRESULT CDomTree::SetAttribute(xmlNode* element, const std::string& name, const std::string& utf8)
{
    xmlNode* known = FindAttribute(element, name);
    if (known != nullptr && IsNamespaceDeclaration(known))
        return ValueOf(known) == utf8 ? S_OK : E_FAIL;
    if (known != nullptr) {
        // Not xmlSetProp: it frees the old text, which somebody may hold.
        SetText(known, utf8);
        return S_OK;
    }
    NoteChange();
    // As a mere attribute the library would not know it, and declare the same prefix once more.
    if (name == "xmlns" || name.starts_with(kNamespacePrefix)) {
        const char* prefix = name == "xmlns" ? nullptr : name.c_str() + kNamespacePrefix.size();
        return xmlNewNs(element, XmlChars(utf8.c_str()), XmlChars(prefix)) == nullptr ? E_FAIL : S_OK;
    }
    if (xmlSetProp(element, XmlChars(name.c_str()), XmlChars(utf8.c_str())) == nullptr)
        throw std::bad_alloc();
    return S_OK;
}

bool IsNamespaceDeclaration(const xmlNode* node)
{
    return node->type == XML_NAMESPACE_DECL;
}

DOMNodeType TypeOf(const xmlNode* node)
{
    switch (node->type) {
    case XML_ELEMENT_NODE: return NODE_ELEMENT;
    case XML_ATTRIBUTE_NODE:
    case XML_NAMESPACE_DECL: return NODE_ATTRIBUTE;
    case XML_TEXT_NODE: return NODE_TEXT;
    case XML_CDATA_SECTION_NODE: return NODE_CDATA_SECTION;
    case XML_ENTITY_REF_NODE: return NODE_ENTITY_REFERENCE;
    case XML_PI_NODE: return NODE_PROCESSING_INSTRUCTION;
    case XML_COMMENT_NODE: return NODE_COMMENT;
    case XML_DOCUMENT_NODE: return NODE_DOCUMENT;
    case XML_DTD_NODE: return NODE_DOCUMENT_TYPE;
    default: return NODE_INVALID;
    }
}

std::string NameOf(const xmlNode* node)
{
    switch (node->type) {
    case XML_NAMESPACE_DECL: {
        const xmlNs* declaration = AsNamespace(node);
        return declaration->prefix == nullptr ? "xmlns" : "xmlns:" + std::string(ViewOf(declaration->prefix));
    }
    case XML_TEXT_NODE: return "#text";
    case XML_CDATA_SECTION_NODE: return "#cdata-section";
    case XML_COMMENT_NODE: return "#comment";
    case XML_DOCUMENT_NODE: return "#document";
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE: return QualifiedName(node);
    default: return std::string(ViewOf(node->name));
    }
}

xmlNode* FirstChildOf(const xmlNode* node)
{
    switch (node->type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE:
    case XML_DOCUMENT_NODE: return node->children;
    default: return nullptr;
    }
}

xmlNode* LastChildOf(const xmlNode* node)
{
    return FirstChildOf(node) == nullptr ? nullptr : node->last;
}

xmlNode* NextOf(const xmlNode* node)
{
    return TypeOf(node) == NODE_ATTRIBUTE ? nullptr : node->next;
}

xmlNode* PreviousOf(const xmlNode* node)
{
    return TypeOf(node) == NODE_ATTRIBUTE ? nullptr : node->prev;
}

xmlNode* ParentOf(const xmlNode* node)
{
    return TypeOf(node) == NODE_ATTRIBUTE ? nullptr : node->parent;
}

xmlNode* FirstAttributeOf(const xmlNode* element)
{
    if (element->type != XML_ELEMENT_NODE)
        return nullptr;
    return element->properties != nullptr ? reinterpret_cast<xmlNode*>(element->properties)
                                          : reinterpret_cast<xmlNode*>(element->nsDef);
}

xmlNode* NextAttribute(const xmlNode* element, const xmlNode* attribute)
{
    if (attribute->type == XML_NAMESPACE_DECL)
        return reinterpret_cast<xmlNode*>(AsNamespace(attribute)->next);
    return attribute->next != nullptr ? attribute->next : reinterpret_cast<xmlNode*>(element->nsDef);
}

xmlNode* FindAttribute(const xmlNode* element, const std::string& name)
{
    xmlNode* attribute = FirstAttributeOf(element);
    while (attribute != nullptr && NameOf(attribute) != name)
        attribute = NextAttribute(element, attribute);
    return attribute;
}

std::string ValueOf(const xmlNode* node)
{
    if (node->type == XML_NAMESPACE_DECL)
        return std::string(ViewOf(AsNamespace(node)->href));
    if (node->type != XML_ATTRIBUTE_NODE)
        return std::string(ViewOf(node->content));
    std::string value;
    for (const xmlNode* part = node->children; part != nullptr; part = part->next)
        value += ViewOf(part->content);
    return value;
}

std::string TextOf(const CDomTree& tree, const xmlNode* node)
{
    const DOMNodeType type = TypeOf(node);
    if (type != NODE_ELEMENT && type != NODE_DOCUMENT && type != NODE_TEXT)
        return ValueOf(node);
    CTextCollector collector;
    for (CSpaceWalk walk(tree, const_cast<xmlNode*>(node)); walk.Node() != nullptr; walk.Advance()) {
        const xmlNode* part = walk.Node();
        if (part->type == XML_TEXT_NODE)
            collector.Append(ViewOf(part->content), !walk.KeepsSpace());
        else if (part->type == XML_CDATA_SECTION_NODE)
            collector.Append(ViewOf(part->content), false);
    }
    return collector.Take();
}

void RemoveBlankTexts(CDomTree& tree)
{
    for (CSpaceWalk walk(tree, tree.Root()); walk.Node() != nullptr;) {
        xmlNode* node = walk.Node();
        const bool isKept = walk.KeepsSpace();
        walk.Advance();
        if (node->type == XML_TEXT_NODE && !isKept && IsBlank(ViewOf(node->content))) {
            xmlUnlinkNode(node);
            xmlFreeNode(node);
        }
    }
}

} // namespace com_posix
