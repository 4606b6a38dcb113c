#pragma once

#include "framework/archive/ArchiveComponent.h"
#include "platform/FileSystem.h"

#include <memory>

/// The archive component over a file; see IWQ_FileArchive.
class CFileArchive final : public CArchiveComponent<IWQ_FileArchive> {
public:
    HRESULT STDMETHODCALLTYPE OpenForReading(const wchar_t* path) override;
    HRESULT STDMETHODCALLTYPE OpenForWriting(const wchar_t* path) override;
    HRESULT STDMETHODCALLTYPE Close() override;

private:
    void Abandon();

    std::wstring m_path;
    std::unique_ptr<platform::IFile> m_pFile; ///< while storing
};
