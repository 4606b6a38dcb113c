#include "ZEL_Processor/XMLTools.h"

#include "com/ComObject.h"
#include "com/CreateInstance.h"
#include "framework/Archive.h"
#include "framework/Exceptions.h"
#include "framework/HeapMemFile.h"

#include <cstring>
#include <limits>
#include <span>

namespace {

constexpr SHORT kArchiveVersion = 1;
constexpr ULONG kArchiveFlags = 1;

/// Callers are told that it failed, not why.
template <class Body>
HRESULT OkOrFail(const Body& body)
{
    return SUCCEEDED(ComGuard(body)) ? S_OK : E_FAIL;
}

HRESULT CopyInto(CHeapMemFile& target, IWQ_MemoryArchive& source)
{
    const void* data = nullptr;
    ULONG count = 0;
    ThrowIfFailed(source.GetData(&data, &count));
    if (!target.SetLength(count))
        return E_OUTOFMEMORY;
    target.SeekToBegin();
    const std::span<std::byte> room = target.GetWriteBuffer(count);
    if (room.size() < count)
        return E_OUTOFMEMORY;
    if (count > 0)
        std::memcpy(room.data(), data, count);
    return S_OK;
}

void PutInto(IWQ_MemoryArchive& target, const CHeapMemFile& source)
{
    const std::span<const std::byte> bytes = source.GetReadBuffer();
    if (bytes.size() != source.GetLength() || bytes.size() > std::numeric_limits<ULONG>::max())
        throw CComError(E_FAIL);
    ThrowIfFailed(target.PutData(bytes.data(), static_cast<ULONG>(bytes.size())));
}

void RequireValid(IWQ_MemoryArchive& component)
{
    LONG valid = 0;
    ThrowIfFailed(component.IsValid(&valid));
    if (valid != 1)
        throw CComError(E_FAIL);
}

} // namespace

HRESULT CXMLTools::StoreWQ_ArchiveObjIntoBinaryData(IWQ_ArchiveObj* object, const wchar_t* name, CHeapMemFile& target,
                                                    bool rewind)
{
    if (!object || !name)
        AfxThrowInvalidArgException();
    return OkOrFail([&]() -> HRESULT {
        if (!target.SetLength(0))
            return E_FAIL;
        const auto component = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
        const auto archive = component.QueryTo<IWQ_Archive>();
        ThrowIfFailed(archive->PutVersion(kArchiveVersion));
        ThrowIfFailed(archive->PutName(name));
        ThrowIfFailed(archive->PutFlags(kArchiveFlags));
        ThrowIfFailed(archive->WriteObject(object));
        ThrowIfFailed(CopyInto(target, *component));
        if (rewind)
            target.SeekToBegin();
        return S_OK;
    });
}

HRESULT CXMLTools::LoadWQ_ArchiveObjFromBinaryData(CHeapMemFile& source, const wchar_t* name, IWQ_ArchiveObj** object)
{
    if (!object || !name)
        AfxThrowInvalidArgException();
    *object = nullptr;
    return OkOrFail([&]() -> HRESULT {
        const auto component = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
        const auto archive = component.QueryTo<IWQ_Archive>();
        PutInto(*component, source);
        ThrowIfFailed(archive->PutName(name));
        RequireValid(*component);
        ThrowIfFailed(archive->PutVersion(kArchiveVersion));
        return archive->ReadObject(object);
    });
}
