#include "framework/XMLArchive.h"

#include "fuzz/Fuzz.h"

/// Walks the file as its readers do.
void TryBytes(const std::string& bytes)
{
    CWQ_XMLArchive archive;
    if (!archive.Open(ScratchFile(bytes), CWQ_XMLArchive::eDirection_Load)) {
        Require(!archive.GetErrorText().empty());
        return;
    }
    GUID id = {};
    bool more = archive.EnterElement(L"Group");
    while (more) {
        archive.GetAttribute(L"RevisionID", id);
        if (archive.EnterElement(L"RevisionID")) {
            do
                archive.GetText(id);
            while (archive.NextSibling(L"RevisionID"));
            Require(archive.LeaveElement());
        }
        more = archive.NextSibling(L"Group");
    }
    Require(archive.Close());
}
