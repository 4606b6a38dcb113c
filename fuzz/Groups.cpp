#include "protocol/ChangedGroupsFile.h"

#include "com/Guid.h"
#include "fuzz/Fuzz.h"

#include <algorithm>

/// Whatever was read can be written, and is then read as it was.
void TryBytes(const std::string& bytes)
{
    ChangedGroupsFile::SContent content;
    if (ChangedGroupsFile::Read(ScratchFile(bytes), content) != ChangedGroupsFile::eRead_Ok || content.ids.empty())
        return;
    const std::wstring path = ScratchFile({});
    Require(ChangedGroupsFile::Write(path, content.ids));
    ChangedGroupsFile::SContent again;
    Require(ChangedGroupsFile::Read(path, again) == ChangedGroupsFile::eRead_Ok);
    Require(!again.isSideBySide && again.ids == content.ids);
}
