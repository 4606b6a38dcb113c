#include "framework/archive/ArchiveObject.h"

#include "com/Components.h"
#include "com/CreateInstance.h"

#include <utility>

namespace ArchiveObject {

namespace {

constexpr std::uint32_t kMark = 0x4F415157; // "WQAO" as bytes
constexpr std::int16_t kForm = 1;
constexpr unsigned kMaxDepth = 32;

struct SHeader {
    std::int16_t version = 0;
    std::uint32_t flags = 0;
    std::wstring name;
    CLSID classId = {};
    GUID type = {};
    std::uint32_t length = 0;
};

/// Gives name, flags, version and depth back as they were.
class CScopedSettings {
public:
    explicit CScopedSettings(SArchiveSettings& settings) : m_settings(settings), m_saved(settings)
    {
        if (settings.depth >= kMaxDepth)
            throw CComError(E_FAIL);
        ++settings.depth;
    }
    ~CScopedSettings() { m_settings = std::move(m_saved); }
    CScopedSettings(const CScopedSettings&) = delete;
    CScopedSettings& operator=(const CScopedSettings&) = delete;

private:
    SArchiveSettings& m_settings;
    SArchiveSettings m_saved;
};

/// Lets nothing be read behind the content of an object while it loads.
class CScopedEnd {
public:
    CScopedEnd(CArchiveBuffer& buffer, std::size_t count) : m_buffer(buffer), m_end(buffer.LimitTo(count)) {}
    ~CScopedEnd() { m_buffer.RestoreEnd(m_end); }
    CScopedEnd(const CScopedEnd&) = delete;
    CScopedEnd& operator=(const CScopedEnd&) = delete;

private:
    CArchiveBuffer& m_buffer;
    std::size_t m_end;
};

std::size_t WriteHeader(CArchiveBuffer& buffer, const SArchiveSettings& settings, IWQ_ArchiveObj& object)
{
    CLSID classId = {};
    GUID type = {};
    ThrowIfFailed(object.GetClassId(&classId));
    ThrowIfFailed(object.GetArchiveType(&type));
    buffer.WriteInteger(kMark);
    buffer.WriteInteger(kForm);
    buffer.WriteInteger(settings.version);
    buffer.WriteInteger(settings.flags);
    buffer.WriteText(settings.name);
    buffer.WriteGuid(classId);
    buffer.WriteGuid(type);
    const std::size_t lengthPosition = buffer.Position();
    buffer.WriteInteger(std::uint32_t{0});
    return lengthPosition;
}

SHeader ReadHeader(CArchiveBuffer& buffer)
{
    if (buffer.ReadInteger<std::uint32_t>() != kMark || buffer.ReadInteger<std::int16_t>() != kForm)
        throw CComError(E_FAIL);
    SHeader header;
    header.version = buffer.ReadInteger<std::int16_t>();
    header.flags = buffer.ReadInteger<std::uint32_t>();
    header.name = buffer.ReadText();
    header.classId = buffer.ReadGuid();
    header.type = buffer.ReadGuid();
    header.length = buffer.ReadInteger<std::uint32_t>();
    if (header.length > buffer.Remaining())
        throw CComError(kArchiveEnd);
    return header;
}

bool HasWantedName(const SHeader& header, const SArchiveSettings& settings)
{
    return settings.name.empty() || settings.name == header.name;
}

CComPtr<IWQ_ArchiveObj> MakeObject(const SHeader& header)
{
    // The bytes come from outside: they must not make just any class that the system knows.
    if (!IsComponentKnown(header.classId))
        throw CComError(REGDB_E_CLASSNOTREG);
    CComPtr<IWQ_ArchiveObj> object = CreateInstanceZEL<IWQ_ArchiveObj>(header.classId);
    GUID type = {};
    ThrowIfFailed(object->GetArchiveType(&type));
    if (type != header.type)
        throw CComError(E_FAIL);
    return object;
}

} // namespace

void Store(IWQ_Archive& archive, CArchiveBuffer& buffer, SArchiveSettings& settings, IWQ_ArchiveObj& object)
{
    const CScopedSettings restore(settings);
    const std::size_t start = buffer.Position();
    try {
        const std::size_t lengthPosition = WriteHeader(buffer, settings, object);
        const std::size_t content = buffer.Position();
        ThrowIfFailed(object.Serialize(&archive));
        buffer.PatchULong(lengthPosition, static_cast<std::uint32_t>(buffer.Position() - content));
    } catch (...) {
        if (buffer.IsStoring())
            buffer.CutTo(start);
        throw;
    }
}

CComPtr<IWQ_ArchiveObj> Load(IWQ_Archive& archive, CArchiveBuffer& buffer, SArchiveSettings& settings)
{
    const CScopedSettings restore(settings);
    const SHeader header = ReadHeader(buffer);
    if (!HasWantedName(header, settings) || header.version > settings.version)
        throw CComError(E_FAIL);
    CComPtr<IWQ_ArchiveObj> object = MakeObject(header);
    settings.version = header.version;
    settings.flags = header.flags;
    const CScopedEnd limit(buffer, header.length);
    ThrowIfFailed(object->Serialize(&archive));
    if (buffer.Remaining() != 0)
        throw CComError(E_FAIL);
    return object;
}

bool IsNext(CArchiveBuffer& buffer, const SArchiveSettings& settings)
{
    if (!buffer.IsLoading())
        return false;
    const std::size_t start = buffer.Position();
    bool next = false;
    try {
        next = HasWantedName(ReadHeader(buffer), settings);
    } catch (const CComError&) {
        next = false; // not whole, or something else
    }
    buffer.SeekTo(start);
    return next;
}

} // namespace ArchiveObject
