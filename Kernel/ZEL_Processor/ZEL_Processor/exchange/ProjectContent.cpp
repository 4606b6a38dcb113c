#include "ProjectContent.h"

#include "ArchiveRoom.h"
#include "com/CreateInstance.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int kProjectVersion = 1;

void RequireProject(bool condition)
{
    if (!condition)
        throw CComError(E_FAIL);
}

SProjectContent::SObject ReadObject(_ar::archive& archive)
{
    SProjectContent::SObject object;
    unsigned long length = 0;
    archive >> object.name >> length;
    RequireProject(!object.name.empty() && length > 0 && length <= BytesLeft(archive));
    object.bytes.resize(length);
    RequireProject(archive.Read(object.bytes.data(), length) == length);
    return object;
}

} // namespace

const SProjectContent::SObject* SProjectContent::Find(const CString& name) const
{
    const auto found =
        std::find_if(objects.begin(), objects.end(), [&](const SObject& object) { return object.name == name; });
    return found == objects.end() ? nullptr : &*found;
}

void SProjectContent::Put(const CString& name, std::string bytes)
{
    const auto found =
        std::find_if(objects.begin(), objects.end(), [&](const SObject& object) { return object.name == name; });
    if (found == objects.end()) {
        if (!bytes.empty())
            objects.push_back({name, std::move(bytes)});
    } else if (bytes.empty()) {
        objects.erase(found);
    } else {
        found->bytes = std::move(bytes);
    }
}

std::string SProjectContent::ToBytes() const
{
    const auto memory = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
    _ar::archive archive(memory.QueryTo<IWQ_Archive>().Get());
    archive << kProjectVersion << id << static_cast<int>(fence) << static_cast<int>(objects.size());
    for (const SObject& object : objects) {
        const auto length = static_cast<unsigned long>(object.bytes.size());
        archive << object.name << length;
        archive.Write(object.bytes.data(), length);
    }
    const void* data = nullptr;
    ULONG count = 0;
    ThrowIfFailed(memory->GetData(&data, &count));
    return {static_cast<const char*>(data), count};
}

SProjectContent SProjectContent::FromBytes(const std::string& bytes)
{
    const auto memory = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
    ThrowIfFailed(memory->PutData(bytes.data(), static_cast<ULONG>(bytes.size())));
    _ar::archive archive(memory.QueryTo<IWQ_Archive>().Get());
    SProjectContent content;
    int version = 0;
    int fence = 0;
    int count = 0;
    archive >> version;
    RequireProject(version == kProjectVersion);
    archive >> content.id >> fence >> count;
    content.fence = fence;
    for (int i = 0; i < count; ++i) {
        SObject object = ReadObject(archive);
        RequireProject(content.Find(object.name) == nullptr);
        content.objects.push_back(std::move(object));
    }
    RequireProject(count >= 0 && BytesLeft(archive) == 0);
    return content;
}
