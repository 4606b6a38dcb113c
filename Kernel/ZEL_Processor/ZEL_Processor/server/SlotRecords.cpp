#include "SlotRecords.h"
#include "RecordFolder.h"
#include "ServerSettings.h"
#include "ZEL_Processor/ZelServerOptions.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/SlotRecord.h"

#include <chrono>
#include <string>
#include <vector>

using namespace std::chrono_literals;

namespace {

/// A reader has the file for microseconds. Who keeps it open has what it says grow old, and holds up no run.
constexpr int kTries = 3;
constexpr auto kPause = 1ms;

bool IsSlot(const CString& name)
{
    for (unsigned slot = 1; slot <= SZelServerOptions::kMostSlots; ++slot) {
        if (name == std::to_wstring(slot))
            return true;
    }
    return false;
}

} // namespace

void CSlotRecords::Clear() const
{
    if (!m_settings.m_options.tellSlots || !IsOurs())
        return;
    std::vector<CString> left;
    static_cast<void>(platform::Files().Visit(Folder(), [&](const platform::SDirectoryEntry& entry) {
        if (IsSlot(entry.name))
            left.push_back(entry.name);
        return true;
    }));
    for (const CString& name : left)
        static_cast<void>(platform::Files().Remove(platform::JoinPath(Folder(), name)));
}

void CSlotRecords::Tell(std::size_t slot, const CString& requestPath) const
{
    if (!m_settings.m_options.tellSlots || m_settings.Slots() < 2 || !(IsOurs() || MakeFolder()))
        return;
    const std::string text = SlotRecord::ToText({.process = platform::CurrentProcessId(),
                                                 .since = platform::Clock().UtcSeconds(),
                                                 .request = platform::FileNameOf(requestPath)});
    const auto write = [&] {
        return platform::WriteWholeFile(platform::JoinPath(Folder(), std::to_wstring(slot + 1)), text);
    };
    platform::eOsError error = write();
    for (int tries = 1; error == platform::eOsError_SharingViolation && tries < kTries; ++tries) {
        platform::Clock().SleepFor(kPause);
        error = write();
    }
}

CString CSlotRecords::Folder() const
{
    return SlotRecord::FolderIn(m_settings.m_paths.m_strOutputDir);
}

/// Whoever may create names in the output directory could have put the folder there.
bool CSlotRecords::IsOurs() const
{
    return platform::Succeeded(platform::CheckOwnDirectory(m_settings.m_paths.InOwnFolder({}))) &&
           platform::Succeeded(platform::CheckOwnDirectory(Folder()));
}

/// Not the way there: an output directory that is gone is not for this to make.
bool CSlotRecords::MakeFolder() const
{
    return platform::DirectoryExists(m_settings.m_paths.m_strOutputDir) &&
           platform::Succeeded(MakeOwnFolder(m_settings.m_paths.InOwnFolder({}))) &&
           platform::Succeeded(MakeOwnFolder(Folder()));
}
