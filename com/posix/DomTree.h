#pragma once

#include "com/posix/Types.h"
#include "com/posix/Xml.h"

#include <libxml/tree.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The tree behind the DOM objects, and what they do with it. Nothing here recurses: the depth of a tree is not the
/// depth of the stack.
namespace com_posix {

/// Before the first use of the library on any thread: what it makes of its own at first use is not made for threads
/// that come at once. Safe from any thread, and cheap.
void InitializeXmlLibrary();

/// A document's nodes. Every DOM object holds a share of it, so a node is valid as long as anybody has it, in the
/// tree or taken out of it: what is taken out stays with the tree as an orphan to the end.
class CDomTree {
public:
    /// Takes the document over; null makes an empty one. Throws std::bad_alloc.
    explicit CDomTree(xmlDoc* document = nullptr);
    ~CDomTree();
    CDomTree(const CDomTree&) = delete;
    CDomTree& operator=(const CDomTree&) = delete;

    [[nodiscard]] xmlDoc* Document() const { return m_pDocument; }
    [[nodiscard]] xmlNode* Root() const { return reinterpret_cast<xmlNode*>(m_pDocument); }

    /// Takes over a node that is in no tree. Throws std::bad_alloc for null.
    xmlNode* Adopt(xmlNode* orphan);
    /// Takes a node out of its parent.
    void Unlink(xmlNode* node);
    /// Makes an orphan, or a node of this tree, the last child of the parent.
    void Append(xmlNode* parent, xmlNode* node);
    /// Replaces all children by one text, or by none when it is empty.
    void SetText(xmlNode* parent, const std::string& utf8);
    /// Makes an attribute or a namespace declaration, or gives the attribute of that name a new text. E_FAIL for
    /// another namespace than the one declared, which names in use may stand in. Throws std::bad_alloc.
    HRESULT SetAttribute(xmlNode* element, const std::string& name, const std::string& utf8);

    /// Grows with every change of the structure; lists use it to tell whether their place is still theirs.
    [[nodiscard]] std::uint64_t Changes() const { return m_nChanges; }
    /// An attribute or a namespace declaration came.
    void NoteChange() { ++m_nChanges; }

    /// The object that its user has for the document, which sets and clears it; not a reference.
    IXMLDOMDocument* m_pDocumentObject = nullptr;
    /// White space at the ends of texts counts (the document's own property).
    bool m_bPreserveWhiteSpace = false;
    /// Somewhere there may be an xml:space attribute; without one nobody needs to look for it.
    bool m_bMayHaveSpaceAttribute = false;

private:
    void ForgetOrphan(xmlNode* node);

    xmlDoc* m_pDocument = nullptr;
    std::vector<xmlNode*> m_orphans;
    std::uint64_t m_nChanges = 0;
};

using CDomTreePtr = std::shared_ptr<CDomTree>;

/// Kind, name and neighbours as the DOM has them. Namespace declarations are attributes there; the parser keeps them in
/// a list of their own whose entries share only the position of the type with a node.
[[nodiscard]] DOMNodeType TypeOf(const xmlNode* node);
[[nodiscard]] std::string NameOf(const xmlNode* node);
[[nodiscard]] bool IsNamespaceDeclaration(const xmlNode* node);
[[nodiscard]] xmlNode* FirstChildOf(const xmlNode* node);
[[nodiscard]] xmlNode* LastChildOf(const xmlNode* node);
[[nodiscard]] xmlNode* NextOf(const xmlNode* node);
[[nodiscard]] xmlNode* PreviousOf(const xmlNode* node);
[[nodiscard]] xmlNode* ParentOf(const xmlNode* node);

/// Walks what is written as attributes, then the namespace declarations. Null at the end.
[[nodiscard]] xmlNode* FirstAttributeOf(const xmlNode* element);
[[nodiscard]] xmlNode* NextAttribute(const xmlNode* element, const xmlNode* attribute);
/// By its whole name; null when there is none.
[[nodiscard]] xmlNode* FindAttribute(const xmlNode* element, const std::string& name);

/// Value of an attribute, text, comment, CDATA section or processing instruction, as it is.
[[nodiscard]] std::string ValueOf(const xmlNode* node);
/// All text at and below a node. White space at both ends is cut off unless it stands in a CDATA section, below an
/// xml:space="preserve", or in a document that preserves it.
[[nodiscard]] std::string TextOf(const CDomTree& tree, const xmlNode* node);
/// Removes the texts of white space alone that are not to be preserved.
void RemoveBlankTexts(CDomTree& tree);

} // namespace com_posix
