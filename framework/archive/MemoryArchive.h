#pragma once

#include "framework/archive/ArchiveComponent.h"

/// The archive component over memory; see IWQ_MemoryArchive.
class CMemoryArchive final : public CArchiveComponent<IWQ_MemoryArchive> {
public:
    CMemoryArchive() { m_buffer.StartStoring(); }

    HRESULT STDMETHODCALLTYPE PutData(const void* data, ULONG count) override
    {
        if (data == nullptr && count > 0)
            return E_POINTER;
        if (count > CArchiveBuffer::kMaxBytes)
            return E_OUTOFMEMORY;
        return ComGuard([&] {
            const auto* bytes = static_cast<const char*>(data);
            m_buffer.StartLoading(count == 0 ? std::string() : std::string(bytes, count));
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetData(const void** data, ULONG* count) override
    {
        if (data == nullptr || count == nullptr)
            return E_POINTER;
        *count = static_cast<ULONG>(m_buffer.Bytes().size());
        *data = *count == 0 ? nullptr : m_buffer.Bytes().data();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsValid(LONG* valid) override
    {
        if (valid == nullptr)
            return E_POINTER;
        *valid = 0;
        return ComGuard([&] {
            *valid = ArchiveObject::IsNext(m_buffer, m_settings) ? 1 : 0;
            return S_OK;
        });
    }
};
