#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/ComPtr.h"
#include "framework/Archive.h"

/// A project of the host: what the data that is served belongs to, with a storage of objects by name. E_POINTER for a
/// null pointer where nothing else is said.
struct IWQ_Project : public IUnknown {
    /// What went wrong last in the project, for the operator; empty when nothing did. To be freed with SysFreeString.
    virtual HRESULT STDMETHODCALLTYPE GetErrorMessage(BSTR* message) = 0;
    /// The fence: a number that the host raises whenever everything that it handed out before is out of date.
    virtual HRESULT STDMETHODCALLTYPE GetFence(LONG* fence) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutFence(LONG fence) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProjectId(GUID* id) = 0;
    /// How many objects lie in the storage.
    virtual HRESULT STDMETHODCALLTYPE GetStorageObjectsCount(LONG* count) = 0;
    /// A new object with the content that was put under the name; S_FALSE, with null, when there is none.
    virtual HRESULT STDMETHODCALLTYPE GetStorageObject(const wchar_t* name, IWQ_ArchiveObj** object) = 0;
    /// Keeps the present content of an object in place of what was there; a null object takes the name away. The
    /// storage is as it was when that fails. E_INVALIDARG for an empty name.
    virtual HRESULT STDMETHODCALLTYPE PutStorageObject(const wchar_t* name, IWQ_ArchiveObj* object) = 0;
};

ZEL_DECLARE_IID(IWQ_Project, 0x9030BECD, 0x3757, 0x49C2, 0xA2, 0xE9, 0x86, 0x23, 0x2D, 0xC5, 0x53, 0x44);

/// The project of a host that has none of its own: it lies in one file (docs/archives.md), which every change replaces
/// as a whole; the change is on disk when the call returns. A missing file is made at the first call, with a new id.
/// One process at a time. The project is safe from any thread whose COM is initialised. Fails with the result of the
/// file operation, and with E_FAIL for a file that is no project, which stays as it is.
[[nodiscard]] ZEL_API HRESULT CreateWQ_Project(const CString& path, IWQ_Project** project) noexcept;

namespace _ar { // NOLINT(bugprone-reserved-identifier): the name is part of the public surface

/// A project as plain accessors. Holds a reference; null is allowed. A null project throws CComError (E_POINTER), a
/// failed operation CComError with its result.
class ZEL_API project {
public:
    project() noexcept;
    project(IWQ_Project* object) noexcept;
    project(const project& other) noexcept;
    project& operator=(const project& other) noexcept;
    ~project();

    [[nodiscard]] CString GetErrorMessage() const;
    [[nodiscard]] int GetFence() const;
    void SetFence(int fence);
    [[nodiscard]] GUID GetProjectId() const;
    [[nodiscard]] int GetStorageObjectsCount() const;

private:
    CComPtr<IWQ_Project> m_pProject;
};

} // namespace _ar
