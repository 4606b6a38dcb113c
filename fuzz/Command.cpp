#include "protocol/CommandFile.h"

#include "fuzz/Fuzz.h"

/// A command that was read can be written, and is then read as it was.
void TryBytes(const std::string& bytes)
{
    CommandFile::SContent content;
    if (CommandFile::Read(ScratchFile(bytes), content) != CommandFile::eRead_Ok || !CommandFile::WordOf(content.type))
        return;
    const std::wstring path = ScratchFile({});
    HRESULT documentResult = S_OK;
    Require(CommandFile::Write(path, content.type, content.name, documentResult));
    CommandFile::SContent again;
    Require(CommandFile::Read(path, again) == CommandFile::eRead_Ok);
    Require(again.type == content.type && again.name == content.name);
}
