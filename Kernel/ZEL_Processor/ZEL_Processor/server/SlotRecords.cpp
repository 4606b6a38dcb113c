#include "SlotRecords.h"
#include "RecordFolder.h"
#include "ServerSettings.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/SlotRecord.h"

#include <chrono>
#include <string>

using namespace std::chrono_literals;

namespace {

/// A reader has the file for microseconds. Who keeps it open has what it says grow old, and holds up no run.
constexpr int kTries = 3;
constexpr auto kPause = 1ms;

} // namespace

void CSlotRecords::Clear() const
{
    if (!m_settings.m_options.tellSlots)
        return;
    const CRecordFolder folder(SlotRecord::FolderIn(m_settings.m_paths.m_strOutputDir), false);
    static_cast<void>(folder.Visit([&](const CString& name, const std::string&) { folder.Remove(name); }));
}

void CSlotRecords::Tell(std::size_t slot, const CString& requestPath) const
{
    if (!m_settings.m_options.tellSlots || m_settings.Slots() < 2)
        return;
    const std::string text = SlotRecord::ToText({.process = platform::CurrentProcessId(),
                                                 .since = platform::Clock().UtcSeconds(),
                                                 .request = platform::FileNameOf(requestPath)});
    const CString folder = SlotRecord::FolderIn(m_settings.m_paths.m_strOutputDir);
    const auto write = [&] {
        return platform::WriteWholeFile(platform::JoinPath(folder, std::to_wstring(slot + 1)), text);
    };
    platform::eOsError error = write();
    if (platform::IsAbsent(error)) {
        // Not the way there: an output directory that is gone is not for this to make.
        static_cast<void>(platform::Files().MakeDirectory(m_settings.m_paths.InOwnFolder({})));
        static_cast<void>(platform::Files().MakeDirectory(folder));
        error = write();
    }
    for (int tries = 1; error == platform::eOsError_SharingViolation && tries < kTries; ++tries) {
        platform::Clock().SleepFor(kPause);
        error = write();
    }
}
