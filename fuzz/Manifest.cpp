#include "com/Components.h"

#include "fuzz/Fuzz.h"

/// A manifest that was read has a module and classes, and is the same when it was written and read again; one that was
/// not has a reason.
void TryBytes(const std::string& bytes)
{
    SComponentManifest manifest;
    std::wstring error;
    if (!ReadComponentManifest(ScratchFile(bytes), manifest, error))
        return Require(!error.empty());
    Require(!manifest.modulePath.empty() && !manifest.classes.empty());
    const std::wstring path = ScratchFile({});
    SComponentManifest again;
    Require(WriteComponentManifest(path, manifest, error) && ReadComponentManifest(path, again, error));
    Require(again.modulePath == manifest.modulePath && again.classes.size() == manifest.classes.size());
    for (std::size_t index = 0; index < again.classes.size(); ++index)
        Require(again.classes[index].id == manifest.classes[index].id &&
                again.classes[index].name == manifest.classes[index].name &&
                again.classes[index].categories == manifest.classes[index].categories);
}
