#include "framework/archive/FileArchive.h"

#include "com/OsResult.h"
#include "platform/Os.h"

#include <span>
#include <utility>

HRESULT STDMETHODCALLTYPE CFileArchive::OpenForReading(const wchar_t* path)
{
    if (path == nullptr)
        return E_POINTER;
    return ComGuard([&] {
        Abandon();
        std::string bytes;
        const auto read =
            platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, CArchiveBuffer::kMaxBytes);
        if (platform::Succeeded(read))
            m_buffer.StartLoading(std::move(bytes));
        return OsResult(read);
    });
}

HRESULT STDMETHODCALLTYPE CFileArchive::OpenForWriting(const wchar_t* path)
{
    if (path == nullptr)
        return E_POINTER;
    return ComGuard([&] {
        Abandon();
        m_path = path;
        const auto opened = platform::Files().Open(m_path, platform::eOpenMode_WriteExclusive, m_pFile);
        if (platform::Succeeded(opened))
            m_buffer.StartStoring();
        return OsResult(opened);
    });
}

HRESULT STDMETHODCALLTYPE CFileArchive::Close()
{
    if (!m_buffer.IsStoring()) {
        const bool wasLoading = m_buffer.IsLoading();
        m_buffer.Stop();
        return wasLoading ? S_OK : S_FALSE;
    }
    return ComGuard([&] {
        const auto bytes = std::as_bytes(std::span(m_buffer.Bytes()));
        const auto written = bytes.empty() ? platform::eOsError_None : m_pFile->Write(bytes);
        const auto closed = m_pFile->Close();
        m_pFile.reset();
        m_buffer.Stop();
        const auto failure = platform::Succeeded(written) ? closed : written;
        // The file was cut to what did get written, which is not nothing. When emptying it fails as well, the reader
        // will find half a file and refuse it.
        if (!platform::Succeeded(failure))
            static_cast<void>(platform::WriteWholeFile(m_path, {}));
        return OsResult(failure);
    });
}

/// Closing a file into which nothing was written empties it.
void CFileArchive::Abandon()
{
    m_pFile.reset();
    m_buffer.Stop();
}
