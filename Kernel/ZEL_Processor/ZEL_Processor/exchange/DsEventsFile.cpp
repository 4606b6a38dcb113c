#include "DsEventsFile.h"

#include "DsEventRecord.h"
#include "com/CreateInstance.h"
#include "platform/Os.h"

#include <algorithm>
#include <span>
#include <utility>

namespace DsEventsFile {

namespace {

template <class Body>
std::string BytesOf(const Body& body)
{
    const auto written = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
    _ar::archive archive(written.QueryTo<IWQ_Archive>().Get());
    body(archive);
    const void* bytes = nullptr;
    ULONG count = 0;
    ThrowIfFailed(written->GetData(&bytes, &count));
    return {static_cast<const char*>(bytes), count};
}

std::string HeadOf(int count)
{
    return BytesOf([count](_ar::archive& archive) { archive << count; });
}

constexpr std::uint64_t kHeadBytes = 4;

/// Opens the file for adding to what is known of it. What is known is found out anew when the file is not as it was
/// left; it is not the file's end when that cannot be told: a damaged file, one that a stranger changed meanwhile, one
/// that the opening made anew.
platform::eOsError OpenAtEnd(const CString& path, SEnd& known, std::unique_ptr<platform::IFile>& file, bool& isLost)
{
    static constinit const std::atomic<bool> s_isPatient = false;
    platform::SFileAttributes attributes;
    platform::eOsError error = platform::Files().GetAttributes(path, attributes);
    if (!platform::Succeeded(error) && !platform::IsAbsent(error))
        return error;
    if (attributes.length != known.length) {
        CDsEventsDataVector events;
        const eRead read = attributes.length == 0 ? eRead_Done : Read(path, events, &s_isPatient);
        if (read == eRead_NotOpened)
            return WhyNotOpened(path);
        known = read == eRead_Done ? SEnd{attributes.length, static_cast<int>(events.size())} : SEnd{};
    }
    error = platform::Files().Open(path, platform::eOpenMode_WriteExclusive, file);
    if (!platform::Succeeded(error))
        return error;
    // At once, for a file that is closed ends at its position.
    error = file->Seek(known.length);
    isLost = !platform::Succeeded(error);
    if (platform::Succeeded(error))
        error = file->GetAttributes(attributes);
    isLost |= attributes.length != known.length;
    return error;
}

/// Writes behind the end, and the count last: what can't be written whole leaves the file as it was.
platform::eOsError Put(platform::IFile& file, const SRecords& news, const SEnd& end)
{
    const auto write = [&](std::uint64_t position, const std::string& bytes) {
        const platform::eOsError sought = file.Seek(position);
        return platform::Succeeded(sought) ? file.Write(std::as_bytes(std::span(bytes))) : sought;
    };
    const std::string head = HeadOf(end.count + news.count);
    if (end.length == 0)
        return write(0, head + news.bytes);
    platform::eOsError error = write(end.length, news.bytes);
    if (platform::Succeeded(error))
        error = write(0, head);
    return platform::Succeeded(error) ? file.Seek(end.length + news.bytes.size()) : error;
}

} // namespace

SRecords Reload()
{
    const auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
    ThrowIfFailed(event->PutKind(eDsEventKind_Reload));
    return RecordOf(*event);
}

platform::eOsError WhyNotOpened(const CString& path)
{
    std::unique_ptr<platform::IFile> file;
    const platform::eOsError error = platform::Files().Open(path, platform::eOpenMode_ReadShared, file);
    return platform::Succeeded(error) ? platform::eOsError_SharingViolation : error;
}

SRecords RecordOf(IWQ_DsEventsData& event)
{
    return {1, BytesOf([&event](_ar::archive& archive) { DsEventRecord::Write(archive, event); })};
}

void Add(SRecords& records, const SRecords& news, std::uint64_t maxBytes)
{
    if (kHeadBytes + records.bytes.size() + news.bytes.size() > maxBytes) {
        records = Reload();
        return;
    }
    records.count += news.count;
    records.bytes += news.bytes;
}

platform::eOsError Append(const CString& path, SRecords& news, std::uint64_t maxBytes, SEnd& end)
{
    SEnd known = std::exchange(end, {}); // until the file is closed
    std::unique_ptr<platform::IFile> file;
    bool isLost = false;
    platform::eOsError error = OpenAtEnd(path, known, file, isLost);
    if (!platform::Succeeded(error)) {
        news = isLost ? Reload() : std::move(news);
        return error;
    }
    if (isLost || std::max(known.length, kHeadBytes) + news.bytes.size() > maxBytes) {
        news = Reload();
        known = {};
    }
    error = Put(*file, news, known);
    if (!platform::Succeeded(error))
        static_cast<void>(file->Seek(known.length));
    const platform::eOsError closed = file->Close();
    if (!platform::Succeeded(error) || !platform::Succeeded(closed))
        return platform::Succeeded(error) ? closed : error;
    end = {std::max(known.length, kHeadBytes) + news.bytes.size(), known.count + news.count};
    news = {};
    return platform::eOsError_None;
}

} // namespace DsEventsFile
