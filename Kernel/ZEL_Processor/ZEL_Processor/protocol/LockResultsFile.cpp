#include "LockResultsFile.h"

#include "framework/XMLArchive.h"

bool LockResultsFile::Write(const CString& path, CString* reason)
{
    CWQ_XMLArchive archive;
    const bool isWritten =
        archive.Open(path, CWQ_XMLArchive::eDirection_Store) && archive.EnterElement(L"LockResults") && archive.Close();
    if (reason != nullptr)
        *reason = archive.GetErrorText();
    return isWritten;
}
