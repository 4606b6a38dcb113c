#include "ZELAutomation/ZELAutomationEnvFile.h"

#include "fuzz/Fuzz.h"

/// Whatever was read can be written, and is then read whole.
void TryBytes(const std::string& bytes)
{
    CDsEventsDataVector events;
    static_cast<void>(CZELEnvFileDsEventsFile::ReadDsEventsFile(ScratchFile(bytes), events));
    const std::wstring path = ScratchFile({});
    Require(WriteDsEventsFile(path, events));
    CDsEventsDataVector again;
    Require(CZELEnvFileDsEventsFile::ReadDsEventsFile(path, again));
    Require(again.size() == events.size());
}
