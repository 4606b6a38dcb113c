#include "ChangedGroupsFile.h"

#include "com/Guid.h"
#include "framework/XMLArchive.h"

#include <set>

namespace {

constexpr const wchar_t* kGroup = L"Group";
constexpr const wchar_t* kRevision = L"RevisionID";

} // namespace

ChangedGroupsFile::eRead ChangedGroupsFile::Read(const CString& path, SContent& content)
{
    content = {};
    CWQ_XMLArchive archive;
    if (!archive.Open(path, CWQ_XMLArchive::eDirection_Load)) {
        content.reason = archive.GetErrorText();
        return archive.IsUnreadable() ? eRead_Unreadable : eRead_Damaged;
    }
    if (!archive.EnterElement(kGroup))
        return eRead_Ok;
    // What is no id is the null id.
    content.isSideBySide = !archive.EnterElement(kRevision);
    do {
        GUID& id = content.ids.emplace_back();
        if (content.isSideBySide)
            archive.GetAttribute(kRevision, id);
        else
            archive.GetText(id);
    } while (archive.NextSibling(content.isSideBySide ? kGroup : kRevision));
    return eRead_Ok;
}

bool ChangedGroupsFile::Write(const CString& path, const std::vector<GUID>& ids, CString* reason)
{
    CWQ_XMLArchive archive;
    if (!archive.Open(path, CWQ_XMLArchive::eDirection_Store) || !archive.EnterElement(kGroup))
        return false;
    for (const GUID& id : ids) {
        if (!archive.EnterElement(kRevision) || !archive.PutText(id) || !archive.LeaveElement())
            return false;
    }
    const bool isWritten = archive.Close();
    if (reason != nullptr)
        *reason = archive.GetErrorText();
    return isWritten;
}

std::vector<GUID> ChangedGroupsFile::WithoutRepeats(const std::vector<GUID>& ids)
{
    std::vector<GUID> all;
    std::set<GUID, SGuidLess> known;
    for (const GUID& id : ids) {
        if (known.insert(id).second)
            all.push_back(id);
    }
    if (all.size() > kMaxIds)
        all.assign(1, GUID{});
    return all;
}

std::vector<GUID> ChangedGroupsFile::Bounded(std::vector<GUID> ids)
{
    return ids.size() > kMaxWithRepeats ? WithoutRepeats(ids) : std::move(ids);
}
