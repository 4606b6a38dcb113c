#include "com/posix/DomParser.h"

#include "com/posix/DomText.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace com_posix {
namespace {

struct SFreeContext {
    void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};
using CContextPtr = std::unique_ptr<xmlParserCtxt, SFreeContext>;

/// What the parser's callbacks, which are C and must not throw, leave behind.
struct SParseState {
    SXmlError first;
    bool isWhole = true; ///< the tree has all that the document says
};

SParseState& StateOf(void* context)
{
    return *static_cast<SParseState*>(static_cast<xmlParserCtxt*>(context)->_private);
}

/// Nothing is built of what follows a fatal error. The parser takes missing memory for harmless, after which the text
/// would silently lack something.
template <class Error>
bool LosesContent(const Error& error)
{
    return error.level == XML_ERR_FATAL || error.code == XML_ERR_NO_MEMORY;
}

/// The first error that refuses the document is the cause; what follows are its consequences. Namespace errors are
/// none: names are compared as written.
template <class Error>
void OnError(void* context, Error* error)
{
    if (!LosesContent(*error))
        return;
    // Behind an error the parser may take for a tag what the scan took for a text, which has another limit. Not
    // xmlStopParser: it frees what the parser's functions between here and there still read.
    static_cast<xmlParserCtxt*>(context)->instate = XML_PARSER_EOF;
    SParseState& state = StateOf(context);
    if (!state.isWhole)
        return;
    state.isWhole = false;
    state.first.code = error->code;
    state.first.line = error->line;
    state.first.column = error->int2;
    try {
        state.first.reason = error->message == nullptr ? "" : error->message;
    } catch (const std::bad_alloc&) {
        state.first.reason.clear(); // the code, line and column say enough
    }
}

/// Nobody looks for elements by their ids, and the table that the parser makes of them is slow when they are many. What
/// is set before is taken back by the options.
void OnStart(void* context)
{
    xmlSAX2StartDocument(context);
    static_cast<xmlParserCtxt*>(context)->loadsubset |= XML_SKIP_IDS;
}

/// Errors of character sets have no parser to go to: the library would print them on standard error.
class CQuietThread {
public:
    CQuietThread() { xmlSetStructuredErrorFunc(nullptr, &Ignore); }
    ~CQuietThread() { xmlSetStructuredErrorFunc(m_pOldContext, m_pOldFunction); }
    CQuietThread(const CQuietThread&) = delete;
    CQuietThread& operator=(const CQuietThread&) = delete;

private:
    static void Ignore(void*, xmlErrorPtr) {}

    void* const m_pOldContext = xmlStructuredErrorContext;
    const xmlStructuredErrorFunc m_pOldFunction = xmlStructuredError;
};

CContextPtr MakeContext(SParseState& state)
{
    InitializeXmlLibrary();
    CContextPtr context(xmlNewParserCtxt());
    if (!context)
        throw std::bad_alloc();
    context->_private = &state;
    context->sax->serror = [](void* data, auto* error) { OnError(data, error); };
    context->sax->startDocument = OnStart;
    return context;
}

SXmlError ErrorOf(SParseState& state)
{
    SXmlError error = std::move(state.first);
    if (error.code == 0)
        error.code = XML_ERR_INTERNAL_ERROR;
    while (!error.reason.empty() && IsXmlSpace(error.reason.back()))
        error.reason.pop_back();
    if (error.reason.empty())
        error.reason = "The document is not well formed";
    return error;
}

/// The XML declaration as a processing instruction, which is what the DOM makes of it.
void AddDeclarationNode(CDomTree& tree, const xmlParserCtxt& context, std::string_view encoding)
{
    if (context.standalone == -1) // there is none; -2 is one that does not say "standalone"
        return;
    std::string content = "version=\"";
    content.append(ViewOf(context.version)).append("\"");
    if (!encoding.empty())
        content.append(" encoding=\"").append(encoding).append("\"");
    if (context.standalone >= 0)
        content.append(" standalone=\"").append(context.standalone == 1 ? "yes" : "no").append("\"");
    xmlNode* node = xmlNewDocPI(tree.Document(), XmlChars("xml"), XmlChars(content.c_str()));
    if (node == nullptr)
        throw std::bad_alloc();
    xmlNode* root = tree.Root();
    node->parent = root;
    node->next = root->children;
    (root->children != nullptr ? root->children->prev : root->last) = node;
    root->children = node;
}

/// The name that an XML declaration gives for the encoding. The document is known to be well formed.
std::string_view DeclaredEncoding(std::string_view utf8)
{
    const std::size_t end = utf8.find("?>");
    if (utf8.substr(0, 5) != "<?xml" || end == std::string_view::npos)
        return {};
    const std::string_view declaration = utf8.substr(0, end);
    const std::size_t keyword = declaration.find("encoding");
    if (keyword == std::string_view::npos)
        return {};
    const std::size_t open = declaration.find_first_of("'\"", keyword);
    if (open == std::string_view::npos)
        return {};
    const std::size_t close = declaration.find(declaration[open], open + 1);
    return close == std::string_view::npos ? std::string_view() : declaration.substr(open + 1, close - open - 1);
}

enum eEncoding {
    eEncoding_Declared, ///< by a byte-order mark or an encoding declaration, else UTF-8
    eEncoding_Utf8,     ///< whatever is declared
};

/// Bytes that were scanned. The limits are the scan's: XML_PARSE_HUGE lifts the parser's own.
CDomTreePtr Parse(std::string_view bytes, eEncoding encoding, bool preserveWhiteSpace, SXmlError& error)
{
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) - 16) {
        error = XmlTooLong(XmlLimitsOfThread()); // longer than the parser can count
        return nullptr;
    }
    SParseState state;
    const CContextPtr context = MakeContext(state);
    const CQuietThread quiet;
    const int options = XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_NOWARNING | XML_PARSE_NOERROR |
                        XML_PARSE_COMPACT | XML_PARSE_HUGE | (encoding == eEncoding_Utf8 ? XML_PARSE_IGNORE_ENC : 0);
    xmlDoc* document = xmlCtxtReadMemory(context.get(), bytes.empty() ? "" : bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr, options);
    if (document == nullptr || !state.isWhole) {
        xmlFreeDoc(document);
        error = ErrorOf(state);
        return nullptr;
    }
    std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> owned(document, &xmlFreeDoc);
    // The parser gives the document what it found out, unless it was told.
    const std::string found(ViewOf(document->encoding));
    auto tree = std::make_shared<CDomTree>(owned.get());
    static_cast<void>(owned.release());
    tree->m_bPreserveWhiteSpace = preserveWhiteSpace;
    // Searched in the bytes where they are ASCII-like; in UTF-16 the answer is "perhaps".
    tree->m_bMayHaveSpaceAttribute =
        bytes.find("xml:space") != std::string_view::npos || bytes.find('\0') != std::string_view::npos;
    AddDeclarationNode(*tree, *context, encoding == eEncoding_Utf8 ? DeclaredEncoding(bytes) : std::string_view(found));
    if (!preserveWhiteSpace)
        RemoveBlankTexts(*tree);
    return tree;
}

} // namespace

CDomTreePtr ParseXmlBytes(std::string_view bytes, bool preserveWhiteSpace, SXmlError& error)
{
    return Parse(bytes, eEncoding_Declared, preserveWhiteSpace, error);
}

CDomTreePtr ParseXmlText(std::wstring_view text, bool preserveWhiteSpace, SXmlError& error)
{
    if (!ScanXmlText(text, XmlLimitsOfThread(), error))
        return nullptr;
    if (!text.empty() && text.front() == 0xFEFF)
        text.remove_prefix(1);
    LONG skippedLines = 0;
    while (!text.empty() && text.front() > 0 && text.front() < 0x80 && IsXmlSpace(static_cast<char>(text.front()))) {
        skippedLines += text.front() == L'\n' ? 1 : 0;
        text.remove_prefix(1);
    }
    std::string utf8;
    if (!ToXmlUtf8(text, utf8)) {
        error = {kXmlError_NoCharacter, "The text has a code that is no character", 0, 0};
        return nullptr;
    }
    CDomTreePtr tree = Parse(utf8, eEncoding_Utf8, preserveWhiteSpace, error);
    if (!tree && error.line > 0)
        error.line += skippedLines;
    return tree;
}

} // namespace com_posix
