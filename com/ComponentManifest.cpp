#include "com/Bstr.h"
#include "com/ComPtr.h"
#include "com/Components.h"
#include "com/Guid.h"
#include "com/Variant.h"
#include "com/Xml.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/OsError.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

/// A manifest names one module and a handful of classes.
constexpr std::size_t kLongestManifest = 1 << 20;

/// The attribute "origin" of a manifest that a registration wrote.
constexpr wchar_t kRegisteredOrigin[] = L"registration";

/// What is wrong with a manifest. Ends its reading; the reader names the file.
struct SManifestFault {
    std::wstring reason;
};

[[noreturn]] void Fail(std::wstring reason)
{
    throw SManifestFault{std::move(reason)};
}

/// The DOM needs an initialised thread, whoever the caller is; one that already is so in the other way serves as well.
class CThreadInitialization {
public:
    CThreadInitialization() : m_hResult(CoInitializeZEL(nullptr))
    {
        if (m_hResult != RPC_E_CHANGED_MODE)
            ThrowIfFailed(m_hResult);
    }
    ~CThreadInitialization()
    {
        if (SUCCEEDED(m_hResult))
            CoUninitializeZEL();
    }
    CThreadInitialization(const CThreadInitialization&) = delete;
    CThreadInitialization& operator=(const CThreadInitialization&) = delete;

private:
    HRESULT m_hResult;
};

std::wstring NameOf(IXMLDOMNode& node)
{
    CBstr name;
    ThrowIfFailed(node.get_nodeName(name.Put()));
    return name.Text();
}

std::wstring AttributeOf(IXMLDOMNode& element, const wchar_t* name)
{
    const auto typed = CComPtr<IXMLDOMNode>(&element).QueryTo<IXMLDOMElement>();
    CVariant value;
    const CBstr wanted(name);
    ThrowIfFailed(typed->getAttribute(wanted.Get(), value.Put()));
    return std::wstring(value.Text());
}

/// Calls the visitor with each element among the children, and its name.
template <class Visitor>
void ForEachChild(IXMLDOMNode& parent, Visitor&& visitor)
{
    CComPtr<IXMLDOMNode> child;
    ThrowIfFailed(parent.get_firstChild(child.Put()));
    while (child) {
        DOMNodeType type = NODE_INVALID;
        ThrowIfFailed(child->get_nodeType(&type));
        if (type == NODE_ELEMENT)
            visitor(*child, NameOf(*child));
        CComPtr<IXMLDOMNode> next;
        ThrowIfFailed(child->get_nextSibling(next.Put()));
        child = std::move(next);
    }
}

GUID IdOf(const std::wstring& text, const wchar_t* what)
{
    GUID id{};
    if (!GuidFromText(text, id) || id == GUID_NULL)
        Fail(std::wstring(what) + L" id \"" + text + L"\" is not of the form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}");
    return id;
}

SComponentClass ReadClass(IXMLDOMNode& element)
{
    SComponentClass read;
    read.id = IdOf(AttributeOf(element, L"id"), L"class");
    read.name = AttributeOf(element, L"name");
    read.appId = AttributeOf(element, L"appId");
    if (std::wstring model = AttributeOf(element, L"threadingModel"); !model.empty()) {
        read.threadingModel = std::move(model);
        read.isThreadingTold = true;
    }
    ForEachChild(element, [&](IXMLDOMNode& child, const std::wstring& name) {
        if (name == L"category")
            read.categories.push_back(IdOf(AttributeOf(child, L"id"), L"category"));
    });
    return read;
}

std::wstring TextOf(IXMLDOMNode& element)
{
    CBstr text;
    ThrowIfFailed(element.get_text(text.Put()));
    return text.Text();
}

bool IsFullPath(std::wstring_view path)
{
    return platform::IsPathSeparator(path.front()) ||
           (platform::kPathSeparator == L'\\' && path.size() > 1 && path[1] == L':');
}

/// Manifests are written with "/" on every system.
std::wstring ModulePath(std::wstring written, const std::wstring& manifestPath)
{
    std::replace(written.begin(), written.end(), L'/', platform::kPathSeparator);
    return IsFullPath(written) ? written : platform::JoinPath(platform::DirectoryOf(manifestPath), written);
}

CComPtr<IXMLDOMElement> ParseManifest(const std::wstring& text)
{
    CComPtr<IXMLDOMDocument> document;
    ThrowIfFailed(CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                      document.PutVoid()));
    VARIANT_BOOL parsed = VARIANT_FALSE;
    const CBstr xml(text);
    ThrowIfFailed(document->loadXML(xml.Get(), &parsed));
    if (parsed != VARIANT_TRUE) {
        CComPtr<IXMLDOMParseError> error;
        ThrowIfFailed(document->get_parseError(error.Put()));
        CBstr reason;
        LONG line = 0;
        ThrowIfFailed(error->get_reason(reason.Put()));
        ThrowIfFailed(error->get_line(&line));
        Fail(L"not well formed: " + reason.Text() + L", line " + std::to_wstring(line));
    }
    CComPtr<IXMLDOMElement> root;
    ThrowIfFailed(document->get_documentElement(root.Put()));
    return root;
}

std::wstring ReadText(const std::wstring& path)
{
    std::string bytes;
    const platform::eOsError read =
        platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, kLongestManifest);
    if (!platform::Succeeded(read))
        Fail(platform::OsErrorText(read));
    std::wstring text = platform::FromUtf8(bytes);
    if (platform::HasLoneSurrogates(text) || text.find(L'\0') != std::wstring::npos)
        Fail(L"not UTF-8 text");
    return text;
}

void ParseManifestText(const std::wstring& text, const std::wstring& path, SComponentManifest& manifest)
{
    const CThreadInitialization initialized;
    const CComPtr<IXMLDOMElement> root = ParseManifest(text);
    if (NameOf(*root) != L"component")
        Fail(L"the document element is \"" + NameOf(*root) + L"\", not \"component\"");
    std::vector<std::wstring> modules;
    ForEachChild(*root, [&](IXMLDOMNode& child, const std::wstring& name) {
        if (name == L"module")
            modules.push_back(TextOf(child));
        else if (name == L"class")
            manifest.classes.push_back(ReadClass(child));
    });
    if (modules.size() != 1 || modules.front().empty())
        Fail(L"it must name exactly one module");
    if (manifest.classes.empty())
        Fail(L"it names no class");
    manifest.modulePath = ModulePath(modules.front(), path);
    manifest.isRegistered = AttributeOf(*root, L"origin") == kRegisteredOrigin;
    if (const std::wstring library = AttributeOf(*root, L"typeLibrary"); !library.empty())
        manifest.typeLibrary = IdOf(library, L"type library");
}

std::wstring ManifestAttribute(const wchar_t* name, std::wstring_view value)
{
    return std::wstring(L" ") + name + L"=\"" + EscapeForManifest(value) + L"\"";
}

std::wstring ManifestText(const SComponentManifest& manifest)
{
    std::wstring module = manifest.modulePath;
    std::replace(module.begin(), module.end(), platform::kPathSeparator, L'/');
    std::wstring text = L"<component";
    if (manifest.isRegistered)
        text += ManifestAttribute(L"origin", kRegisteredOrigin);
    if (manifest.typeLibrary != GUID_NULL)
        text += ManifestAttribute(L"typeLibrary", GuidToText(manifest.typeLibrary));
    text += L">\n  <module>" + EscapeForManifest(module) + L"</module>\n";
    for (const SComponentClass& component : manifest.classes) {
        text += L"  <class" + ManifestAttribute(L"id", GuidToText(component.id)) +
                ManifestAttribute(L"name", component.name);
        if (component.isThreadingTold || component.threadingModel != SComponentClass().threadingModel)
            text += ManifestAttribute(L"threadingModel", component.threadingModel);
        if (!component.appId.empty())
            text += ManifestAttribute(L"appId", component.appId);
        text += L">\n";
        for (const CATID& category : component.categories)
            text += L"    <category id=\"" + GuidToText(category) + L"\"/>\n";
        text += L"  </class>\n";
    }
    return text + L"</component>\n";
}

/// Whatever happens meanwhile, the manifest is the old one or the new one as a whole.
platform::eOsError WriteAside(const std::wstring& path, const std::string& bytes)
{
    const std::wstring aside = path + L".new";
    platform::eOsError result = platform::WriteWholeFile(aside, bytes);
    // Whatever the user's habits are: one that others may write to would not be used.
    if (platform::Succeeded(result))
        result = platform::KeepOthersFromWriting(aside);
    if (platform::Succeeded(result))
        result =
            platform::Files().Move(aside, path, platform::eMoveFlag_ReplaceExisting | platform::eMoveFlag_WriteThrough);
    if (platform::HasMoved(result))
        return platform::eOsError_None;                 // written, be it that a power cut may bring the old one back
    static_cast<void>(platform::Files().Remove(aside)); // else the next one written replaces it
    return result;
}

/// Runs a reading; what stops it becomes the error, and the manifest is empty then.
template <class Reading>
bool GuardedReading(const std::wstring& path, SComponentManifest& manifest, std::wstring& error, Reading&& reading)
{
    manifest = SComponentManifest();
    try {
        reading();
        return true;
    } catch (const SManifestFault& fault) {
        error = path + L": " + fault.reason;
    } catch (const CComError& fault) {
        error = path + L": " + platform::FromUtf8(fault.what());
    }
    manifest = SComponentManifest();
    return false;
}

} // namespace

std::wstring EscapeForManifest(std::wstring_view text)
{
    std::wstring escaped;
    for (const wchar_t character : text) {
        switch (character) {
        case L'&': escaped += L"&amp;"; break;
        case L'<': escaped += L"&lt;"; break;
        case L'"': escaped += L"&quot;"; break;
        default: escaped += character; break;
        }
    }
    return escaped;
}

bool ReadComponentManifest(const std::wstring& path, SComponentManifest& manifest, std::wstring& error)
{
    return GuardedReading(path, manifest, error, [&] { ParseManifestText(ReadText(path), path, manifest); });
}

bool ParseComponentManifest(const std::wstring& text, const std::wstring& path, SComponentManifest& manifest,
                            std::wstring& error)
{
    return GuardedReading(path, manifest, error, [&] { ParseManifestText(text, path, manifest); });
}

bool WriteComponentManifest(const std::wstring& path, const SComponentManifest& manifest, std::wstring& error)
{
    const std::wstring text = ManifestText(manifest);
    if (platform::HasLoneSurrogates(text)) {
        error = path + L": the module's path is not valid text, so no manifest can name it";
        return false;
    }
    const platform::eOsError written = WriteAside(path, platform::ToUtf8(text));
    if (platform::Succeeded(written))
        return true;
    error = path + L": " + platform::OsErrorText(written);
    return false;
}
