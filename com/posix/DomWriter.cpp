#include "com/posix/DomWriter.h"

#include "com/ComError.h"
#include "com/posix/DomText.h"

#include <libxml/encoding.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlsave.h>

#include <memory>
#include <new>

namespace com_posix {
namespace {

struct SFreeBuffer {
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};
using CBufferPtr = std::unique_ptr<xmlBuffer, SFreeBuffer>;

void Dump(xmlOutputBuffer* output, const xmlNode* node, const char* lineEnd)
{
    if (node->type != XML_DOCUMENT_NODE) {
        xmlNodeDumpOutput(output, node->doc, const_cast<xmlNode*>(node), 0, 0, nullptr);
        return;
    }
    for (xmlNode* part = node->children; part != nullptr; part = part->next) {
        xmlNodeDumpOutput(output, node->doc, part, 0, 0, nullptr);
        xmlOutputBufferWriteString(output, lineEnd);
    }
}

/// The handler is the output's from here on; null writes UTF-8.
std::string Write(const xmlNode* node, const char* lineEnd, xmlCharEncodingHandler* handler)
{
    const CBufferPtr buffer(xmlBufferCreate());
    xmlOutputBuffer* output = buffer ? xmlOutputBufferCreateBuffer(buffer.get(), handler) : nullptr;
    if (output == nullptr) {
        xmlCharEncCloseFunc(handler);
        throw std::bad_alloc();
    }
    Dump(output, node, lineEnd);
    if (xmlOutputBufferClose(output) < 0)
        throw CComError(E_FAIL);
    return {reinterpret_cast<const char*>(xmlBufferContent(buffer.get())),
            static_cast<std::size_t>(xmlBufferLength(buffer.get()))};
}

/// From the first node of the document when that is an XML declaration.
std::string DeclaredEncodingOf(const xmlNode* document)
{
    const xmlNode* first = document->children;
    if (first == nullptr || first->type != XML_PI_NODE || ViewOf(first->name) != "xml")
        return {};
    const std::string_view content = ViewOf(first->content);
    const std::size_t keyword = content.find("encoding");
    const std::size_t open = keyword == std::string_view::npos ? keyword : content.find_first_of("'\"", keyword);
    if (open == std::string_view::npos)
        return {};
    const std::size_t close = content.find(content[open], open + 1);
    return close == std::string_view::npos ? std::string() : std::string(content.substr(open + 1, close - open - 1));
}

} // namespace

std::string WriteXml(const xmlNode* node)
{
    if (IsNamespaceDeclaration(node))
        return NameOf(node) + "=\"" + ValueOf(node) + "\"";
    return Write(node, "\r\n", nullptr);
}

std::string WriteXmlFile(const CDomTree& tree)
{
    const std::string encoding = DeclaredEncodingOf(tree.Root());
    xmlCharEncodingHandler* handler = nullptr;
    if (!encoding.empty() && xmlParseCharEncoding(encoding.c_str()) != XML_CHAR_ENCODING_UTF8) {
        handler = xmlFindCharEncodingHandler(encoding.c_str());
        if (handler == nullptr)
            throw CComError(E_FAIL);
    }
    return Write(tree.Root(), "\n", handler);
}

} // namespace com_posix
