#include "SlotRecord.h"

#include "KeyedLines.h"
#include "ProtocolPaths.h"
#include "ZEL_Processor/ZelServerOptions.h"
#include "platform/Os.h"
#include "platform/Path.h"

namespace {

constexpr std::string_view kFirstLineOfSlot = "zel-slot\t1\n";

void TakeLine(std::string_view key, std::string_view value, SSlotRecord& record)
{
    if (key == "process")
        KeyedLines::TakeNumber(value, record.process);
    else if (key == "since")
        KeyedLines::TakeNumber(value, record.since);
    else if (key == "request")
        record.request = KeyedLines::ValueOf(value);
}

} // namespace

CString SlotRecord::FolderIn(const CString& outputDir)
{
    return platform::JoinPath(platform::JoinPath(outputDir, Protocol::kServerDirectory), Protocol::kSlotsDirectory);
}

std::string SlotRecord::ToText(const SSlotRecord& record)
{
    std::string text(kFirstLineOfSlot);
    text += KeyedLines::Line("process", std::to_wstring(record.process));
    text += KeyedLines::Line("since", std::to_wstring(record.since));
    text += KeyedLines::Line("request", record.request);
    return text + std::string(KeyedLines::kLastLine);
}

bool SlotRecord::FromText(std::string_view text, SSlotRecord& record)
{
    record = {};
    return KeyedLines::Read(text, kFirstLineOfSlot, kMaxBytes,
                            [&](std::string_view key, std::string_view value) { TakeLine(key, value, record); });
}

std::vector<SSlotRecord> SlotRecord::ReadAll(const CString& folder, std::uint32_t process)
{
    std::vector<SSlotRecord> records;
    // A server has its slots from the first one on, and each has run a request before it is of interest: one without a
    // file says nothing of the next.
    for (unsigned slot = 1; process != 0 && slot <= SZelServerOptions::kMostSlots; ++slot) {
        std::string text;
        SSlotRecord record;
        const CString path = platform::JoinPath(folder, std::to_wstring(slot));
        if (!platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, text, kMaxBytes)) ||
            !FromText(text, record) || record.process != process)
            continue;
        record.slot = slot;
        records.push_back(record);
    }
    return records;
}
