#include "DefaultProject.h"

#include "ZEL_Processor/XMLTools.h"
#include "com/Bstr.h"
#include "com/OsResult.h"
#include "framework/HeapMemFile.h"
#include "framework/archive/ArchiveBuffer.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"

#include <span>
#include <utility>

namespace {

/// What an archive can hold at most, so that whatever was written can be read.
constexpr std::size_t kLongestProject = CArchiveBuffer::kMaxBytes;

std::string BytesOf(IWQ_ArchiveObj* object, const wchar_t* name)
{
    CHeapMemFile file;
    ThrowIfFailed(CXMLTools::StoreWQ_ArchiveObjIntoBinaryData(object, name, file, true));
    const auto bytes = file.GetReadBuffer();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace

CDefaultProject::CDefaultProject(CString path) : m_strPath(std::move(path)) {}

HRESULT CDefaultProject::Open()
{
    const platform::CMutexLock lock(m_mutex);
    std::string bytes;
    const auto read = platform::ReadWholeFile(m_strPath, platform::eOpenMode_ReadShared, bytes, kLongestProject);
    if (read == platform::eOsError_FileNotFound) {
        SProjectContent content;
        ThrowIfFailed(CoCreateGuid(&content.id));
        return Replace(std::move(content));
    }
    if (platform::Succeeded(read))
        m_content = SProjectContent::FromBytes(bytes);
    return OsResult(read);
}

HRESULT STDMETHODCALLTYPE CDefaultProject::GetErrorMessage(BSTR* message)
{
    if (message == nullptr)
        return E_POINTER;
    *message = nullptr;
    return ComGuard([&] {
        const platform::CMutexLock lock(m_mutex);
        *message = CBstr(std::wstring_view(m_strError)).Detach();
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE CDefaultProject::GetFence(LONG* fence)
{
    if (fence == nullptr)
        return E_POINTER;
    const platform::CMutexLock lock(m_mutex);
    *fence = m_content.fence;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CDefaultProject::PutFence(LONG fence)
{
    return ComGuard([&] {
        const platform::CMutexLock lock(m_mutex);
        SProjectContent content = m_content;
        content.fence = fence;
        return Replace(std::move(content));
    });
}

HRESULT STDMETHODCALLTYPE CDefaultProject::GetProjectId(GUID* id)
{
    if (id == nullptr)
        return E_POINTER;
    const platform::CMutexLock lock(m_mutex);
    *id = m_content.id;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CDefaultProject::GetStorageObjectsCount(LONG* count)
{
    if (count == nullptr)
        return E_POINTER;
    const platform::CMutexLock lock(m_mutex);
    *count = static_cast<LONG>(m_content.objects.size());
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CDefaultProject::GetStorageObject(const wchar_t* name, IWQ_ArchiveObj** object)
{
    if (name == nullptr || object == nullptr)
        return E_POINTER;
    *object = nullptr;
    return ComGuard([&] {
        CHeapMemFile file;
        {
            const platform::CMutexLock lock(m_mutex);
            const auto* stored = m_content.Find(name);
            if (stored == nullptr)
                return S_FALSE;
            if (!file.Write(std::as_bytes(std::span(stored->bytes))))
                return E_OUTOFMEMORY;
        }
        // The object's own code runs now, and may ask the project something.
        return CXMLTools::LoadWQ_ArchiveObjFromBinaryData(file, name, object);
    });
}

HRESULT STDMETHODCALLTYPE CDefaultProject::PutStorageObject(const wchar_t* name, IWQ_ArchiveObj* object)
{
    if (name == nullptr)
        return E_POINTER;
    if (*name == L'\0')
        return E_INVALIDARG;
    return ComGuard([&] {
        std::string bytes = object == nullptr ? std::string() : BytesOf(object, name);
        const platform::CMutexLock lock(m_mutex);
        SProjectContent content = m_content;
        content.Put(name, std::move(bytes));
        return Replace(std::move(content));
    });
}

HRESULT CDefaultProject::Replace(SProjectContent content)
{
    const platform::eOsError written = Write(content.ToBytes());
    if (platform::Succeeded(written)) {
        m_content = std::move(content);
        m_strError.clear();
    } else {
        m_strError = L"The project file " + m_strPath + L" cannot be written: " + platform::OsErrorText(written);
    }
    return OsResult(written);
}

/// Beside it first: a project that is half written when the machine stops would be lost.
platform::eOsError CDefaultProject::Write(const std::string& bytes) const
{
    const CString written = m_strPath + L".new";
    const platform::eOsError result = platform::WriteWholeFile(written, bytes);
    if (!platform::Succeeded(result))
        return result;
    const platform::eOsError moved = platform::Files().Move(
        written, m_strPath, platform::eMoveFlag_ReplaceExisting | platform::eMoveFlag_WriteThrough);
    return platform::HasMoved(moved) ? platform::eOsError_None : moved;
}

HRESULT CreateWQ_Project(const CString& path, IWQ_Project** project) noexcept
{
    if (project == nullptr)
        return E_POINTER;
    *project = nullptr;
    return ComGuard([&] {
        const auto made = MakeComObject<CDefaultProject>(path);
        const HRESULT opened = made->Open();
        return FAILED(opened) ? opened : made->QueryInterface(ComIid<IWQ_Project>(), reinterpret_cast<void**>(project));
    });
}
