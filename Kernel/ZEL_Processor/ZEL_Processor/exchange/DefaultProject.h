#pragma once

#include "ProjectContent.h"
#include "ZEL_Processor/Project.h"
#include "com/ComObject.h"
#include "platform/Mutex.h"
#include "platform/OsError.h"

/// A project in one file; see CreateWQ_Project.
class CDefaultProject final : public CComObject<IWQ_Project> {
public:
    explicit CDefaultProject(CString path);

    /// Reads the file, or makes it. Called once, before anything else.
    HRESULT Open();

    HRESULT STDMETHODCALLTYPE GetErrorMessage(BSTR* message) override;
    HRESULT STDMETHODCALLTYPE GetFence(LONG* fence) override;
    HRESULT STDMETHODCALLTYPE PutFence(LONG fence) override;
    HRESULT STDMETHODCALLTYPE GetProjectId(GUID* id) override;
    HRESULT STDMETHODCALLTYPE GetStorageObjectsCount(LONG* count) override;
    HRESULT STDMETHODCALLTYPE GetStorageObject(const wchar_t* name, IWQ_ArchiveObj** object) override;
    HRESULT STDMETHODCALLTYPE PutStorageObject(const wchar_t* name, IWQ_ArchiveObj* object) override;

private:
    HRESULT Replace(SProjectContent content) ZEL_REQUIRES(m_mutex);
    [[nodiscard]] platform::eOsError Write(const std::string& bytes) const;

    const CString m_strPath;

    platform::CMutex m_mutex;
    SProjectContent m_content ZEL_GUARDED_BY(m_mutex); ///< what the file holds
    CString m_strError ZEL_GUARDED_BY(m_mutex);
};
