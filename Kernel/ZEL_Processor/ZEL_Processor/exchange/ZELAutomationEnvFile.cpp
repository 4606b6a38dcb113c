#include "ZELAutomation/ZELAutomationEnvFile.h"

#include "ArchiveRoom.h"
#include "DsEventRecord.h"
#include "DsEventsFile.h"
#include "com/CreateInstance.h"
#include "framework/Exceptions.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"

#include <chrono>
#include <new>

namespace {

constexpr std::chrono::seconds kOpenPatience{2};

using Opener = HRESULT (STDMETHODCALLTYPE IWQ_FileArchive::*)(const wchar_t*);

/// Whether a failed opening should be tried again; gives the time slice away before it is.
bool MayRetry(std::chrono::nanoseconds start, const std::atomic<bool>* pGoOn)
{
    if (platform::Clock().Steady() - start > kOpenPatience || (pGoOn && !*pGoOn))
        return false;
    platform::Clock().YieldThread();
    return true;
}

bool OpenWithPatience(IWQ_FileArchive& file, Opener open, const CString& path, const std::atomic<bool>* pGoOn)
{
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    while (FAILED((file.*open)(path.c_str()))) {
        if (!MayRetry(start, pGoOn))
            return false;
    }
    return true;
}

/// An open events file.
struct SOpenFile {
    CComPtr<IWQ_FileArchive> file;
    _ar::archive archive;
};

bool OpenFile(const CString& path, Opener open, SOpenFile& opened, const std::atomic<bool>* pGoOn)
{
    if (!platform::PathExists(path))
        return false;
    opened.file = CreateInstanceZEL<IWQ_FileArchive>(kClsidFileArchive);
    if (!OpenWithPatience(*opened.file, open, path, pGoOn))
        return false;
    opened.archive = _ar::archive(opened.file.QueryTo<IWQ_Archive>().Get());
    return true;
}

/// A failed value or an object that can't be made ends the whole access. What is thrown ends here, because the callers
/// are told by a bool.
template <class Body>
bool Succeeds(const Body& body)
{
    try {
        return body();
    } catch (const CComError&) {
        return false;
    } catch (const CException&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool ReadEvent(_ar::archive& archive, CDsEventsDataVector& events)
{
    CComPtr<IWQ_DsEventsData> event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
    if (!DsEventRecord::Read(archive, *event))
        return false;
    events.push_back(std::move(event));
    return true;
}

/// The count is not compared with the length of the file: no room is made for it, and what a file that was cut off
/// still has is to be read.
bool ReadEvents(_ar::archive& archive, CDsEventsDataVector& events)
{
    if (BytesLeft(archive) == 0)
        return true; // emptied by its reader
    int count = -1;
    archive >> count;
    if (count < 0)
        return false;
    for (int i = 0; i < count; ++i) {
        if (!ReadEvent(archive, events))
            return false;
    }
    return BytesLeft(archive) == 0;
}

} // namespace

bool DsEventsFile::Fits(const CDsEventsDataVector& events, std::uint64_t maxBytes)
{
    const CComPtr<IWQ_Archive> object = CreateInstanceZEL<IWQ_Archive>(kClsidMemoryArchive);
    _ar::archive archive(object.Get());
    archive << static_cast<int>(events.size());
    for (const CComPtr<IWQ_DsEventsData>& event : events) {
        DsEventRecord::Write(archive, *event);
        ULONGLONG bytes = 0;
        ThrowIfFailed(object->GetPosition(&bytes));
        if (bytes > maxBytes)
            return false;
    }
    return true;
}

bool DsEventsFile::Write(const CString& path, const CDsEventsDataVector& events, const std::atomic<bool>* pGoOn)
{
    return Succeeds([&] {
        SOpenFile opened;
        if (!OpenFile(path, &IWQ_FileArchive::OpenForWriting, opened, pGoOn))
            return false;
        opened.archive << static_cast<int>(events.size());
        for (const CComPtr<IWQ_DsEventsData>& event : events)
            DsEventRecord::Write(opened.archive, *event);
        return SUCCEEDED(opened.file->Close());
    });
}

DsEventsFile::eRead DsEventsFile::Read(const CString& path, CDsEventsDataVector& events, const std::atomic<bool>* pGoOn)
{
    bool isOpened = false;
    const bool isRead = Succeeds([&] {
        SOpenFile opened;
        isOpened = OpenFile(path, &IWQ_FileArchive::OpenForReading, opened, pGoOn);
        return isOpened && ReadEvents(opened.archive, events) && SUCCEEDED(opened.file->Close());
    });
    return isRead ? eRead_Done : isOpened ? eRead_Damaged : eRead_NotOpened;
}

bool WriteDsEventsFile(const CString& path, const CDsEventsDataVector& events)
{
    return DsEventsFile::Write(path, events, nullptr);
}

bool CZELEnvFileDsEventsFile::ReadDsEventsFile(const CString& path, CDsEventsDataVector& events)
{
    return DsEventsFile::Read(path, events, nullptr) == DsEventsFile::eRead_Done;
}
