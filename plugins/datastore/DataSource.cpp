#include "plugins/datastore/DataSource.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "plugins/datastore/RequestLimits.h"
#include "plugins/datastore/TemporarySpace.h"
#include "plugins/datastore/XmlElements.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::size_t kMaxNameLength = 100;

bool IsNameCharacter(wchar_t character)
{
    return (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z') ||
           (character >= L'0' && character <= L'9') || character == L'_' || character == L'-' || character == L'.';
}

/// "NUL.sqlite" is a device on some Windows versions, like every name that begins so.
bool IsDeviceName(const CString& name)
{
    constexpr std::array<std::wstring_view, 4> kDevices = {L"con", L"prn", L"aux", L"nul"};
    const CString stem = name.substr(0, name.find(L'.'));
    const auto isStem = [&](std::wstring_view device) { return platform::EqualsNoCase(stem, device); };
    if (std::any_of(kDevices.begin(), kDevices.end(), isStem))
        return true;
    const std::wstring_view port = std::wstring_view(stem).substr(0, 3);
    return stem.size() == 4 && stem[3] >= L'0' && stem[3] <= L'9' &&
           (platform::EqualsNoCase(port, L"com") || platform::EqualsNoCase(port, L"lpt"));
}

} // namespace

bool CDataSource::IsName(const CString& name)
{
    return !name.empty() && name.size() <= kMaxNameLength && name.front() != L'.' && platform::IsPlainFileName(name) &&
           std::all_of(name.begin(), name.end(), &IsNameCharacter) && !IsDeviceName(name);
}

bool CDataSource::Read(IXMLDOMNode* task, CString& error)
{
    CString text;
    return RequiredText(task, L"DataSource", text, error) && SetName(text, error);
}

bool CDataSource::SetName(const CString& name, CString& error)
{
    m_strName = Trimmed(name);
    if (IsName(m_strName))
        return true;
    error = L"\"" + m_strName.substr(0, kMaxNameLength) + L"\" is no valid name of a data source.";
    return false;
}

CString CDataSource::Folder()
{
    return platform::Environment(L"ZEL_DATA_DIR");
}

bool CDataSource::Open(CDatabase& database, CString& error) const
{
    const CString folder = Folder();
    if (folder.empty()) {
        error = L"The server has no data sources: the variable ZEL_DATA_DIR is not set.";
        return false;
    }
    SRequestLimits limits;
    if (!limits.Read(error))
        return false;
    temporaryspace::SetLimit(limits.spaceBytes);
    database.LimitTime(limits.time);
    const CString path = platform::JoinPath(folder, m_strName + kExtension);
    platform::SFileAttributes attributes;
    if (!platform::Succeeded(platform::Files().GetAttributes(path, attributes)) || attributes.isDirectory) {
        error = L"There is no data source \"" + m_strName + L"\".";
        return false;
    }
    if (database.Open(path))
        return true;
    error = ErrorOf(database.ErrorText());
    return false;
}

CString CDataSource::ErrorOf(const CString& reason) const
{
    return L"Data source \"" + m_strName + L"\": " + reason;
}
