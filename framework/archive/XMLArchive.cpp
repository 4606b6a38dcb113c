#include "framework/XMLArchive.h"

#include "com/Guid.h"
#include "framework/archive/XMLArchiveLoader.h"
#include "framework/archive/XMLArchiveStorer.h"
#include "framework/archive/XMLName.h"
#include "platform/FileSystem.h"

namespace {

bool ToGuid(bool found, const std::wstring& text, GUID& value)
{
    value = GUID{};
    return found && GuidFromText(text, value);
}

} // namespace

CWQ_XMLArchive::CWQ_XMLArchive(bool rawNames) : m_bRawNames(rawNames) {}
CWQ_XMLArchive::~CWQ_XMLArchive() = default;

bool CWQ_XMLArchive::Open(const std::wstring& path, eDirection direction)
{
    if (IsOpen())
        return false;
    m_strErrorText.clear();
    m_bUnreadable = false;
    m_strPath = path;
    if (direction == eDirection_Store) {
        m_pStorer = std::make_unique<CXMLArchiveStorer>();
        return true;
    }
    auto loader = std::make_unique<CXMLArchiveLoader>();
    if (!loader->Load(path, m_strErrorText, m_bUnreadable))
        return false;
    m_pLoader = std::move(loader);
    return true;
}

bool CWQ_XMLArchive::Close()
{
    if (m_pLoader) {
        m_pLoader.reset();
        return true;
    }
    if (!m_pStorer)
        return false;
    const std::string bytes = m_pStorer->Finish();
    m_pStorer.reset();
    const platform::eOsError written = platform::WriteWholeFile(m_strPath, bytes);
    if (!platform::Succeeded(written))
        m_strErrorText = platform::OsErrorText(written);
    return platform::Succeeded(written);
}

bool CWQ_XMLArchive::IsOpen() const
{
    return m_pLoader || m_pStorer;
}

const std::wstring& CWQ_XMLArchive::GetErrorText() const
{
    return m_strErrorText;
}

bool CWQ_XMLArchive::IsUnreadable() const
{
    return m_bUnreadable;
}

std::wstring CWQ_XMLArchive::NameOf(const std::wstring& name) const
{
    return CWQ_XMLName(std::wstring_view(name), m_bRawNames ? eXMLNameMode_Any : eXMLNameMode_Printable).GetText();
}

bool CWQ_XMLArchive::EnterElement(const std::wstring& name)
{
    if (m_pLoader)
        return m_pLoader->Enter(NameOf(name));
    return m_pStorer && m_pStorer->Enter(NameOf(name));
}

bool CWQ_XMLArchive::LeaveElement()
{
    if (m_pLoader)
        return m_pLoader->Leave();
    return m_pStorer && m_pStorer->Leave();
}

bool CWQ_XMLArchive::NextSibling(const std::wstring& name)
{
    if (m_pLoader)
        return m_pLoader->NextSibling(NameOf(name));
    return m_pStorer && m_pStorer->Leave() && m_pStorer->Enter(NameOf(name));
}

bool CWQ_XMLArchive::IsOnElement() const
{
    return m_pStorer || (m_pLoader && m_pLoader->IsOnElement());
}

bool CWQ_XMLArchive::GetAttribute(const std::wstring& name, std::wstring& value) const
{
    value.clear();
    return m_pLoader && m_pLoader->GetAttribute(NameOf(name), value);
}

bool CWQ_XMLArchive::GetAttribute(const std::wstring& name, GUID& value) const
{
    std::wstring text;
    const bool found = GetAttribute(name, text);
    return ToGuid(found, text, value);
}

bool CWQ_XMLArchive::GetText(std::wstring& value) const
{
    value.clear();
    return m_pLoader && m_pLoader->GetText(value);
}

bool CWQ_XMLArchive::GetText(GUID& value) const
{
    std::wstring text;
    const bool found = GetText(text);
    return ToGuid(found, text, value);
}

bool CWQ_XMLArchive::PutAttribute(const std::wstring& name, const std::wstring& value)
{
    return m_pStorer && m_pStorer->PutAttribute(NameOf(name), value);
}

bool CWQ_XMLArchive::PutAttribute(const std::wstring& name, const GUID& value)
{
    return PutAttribute(name, GuidToText(value));
}

bool CWQ_XMLArchive::PutText(const std::wstring& value)
{
    return m_pStorer && m_pStorer->PutText(value);
}

bool CWQ_XMLArchive::PutText(const GUID& value)
{
    return PutText(GuidToText(value));
}
