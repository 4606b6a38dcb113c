#pragma once

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "framework/archive/EasyMOXArchive.h"

#include <cstddef>
#include <vector>

/// A growable array of GUIDs. Sizes come in as signed numbers, as they do in archives.
class CGuidArray {
public:
    /// New places are null GUIDs. Throws CInvalidArgException for a negative size.
    void SetSize(LONGLONG size);
    [[nodiscard]] std::vector<GUID>& Items() { return m_items; }
    [[nodiscard]] const std::vector<GUID>& Items() const { return m_items; }

private:
    std::vector<GUID> m_items;
};

/// The list without counting of references.
class CWQ_CLSIDArrayImpl : public IWQ_CLSIDArray {
public:
    using ComInterface = IWQ_CLSIDArray;

    HRESULT STDMETHODCALLTYPE Add(const GUID* value) override;
    BOOL STDMETHODCALLTYPE Contains(const GUID* value) override;
    HRESULT STDMETHODCALLTYPE ContainsVB(const GUID* value, VARIANT_BOOL* contains) override;
    HRESULT STDMETHODCALLTYPE Remove(const GUID* value) override;
    HRESULT STDMETHODCALLTYPE RemoveAll() override;
    HRESULT STDMETHODCALLTYPE GetCount(ULONGLONG* count) override;
    HRESULT STDMETHODCALLTYPE GetAt(ULONGLONG index, GUID* value) override;
    HRESULT STDMETHODCALLTYPE CopyTo(IWQ_CLSIDArray* target) override;
    HRESULT STDMETHODCALLTYPE SetAt(ULONGLONG index, const GUID* value) override;

    virtual ~CWQ_CLSIDArrayImpl();
    /// Stores or loads the list. E_POINTER for null; E_FAIL for what Store and Load throw CArchiveException for,
    /// E_INVALIDARG for a negative count. After a failed load the list is empty.
    virtual HRESULT STDMETHODCALLTYPE Serialize(IWQ_Archive* archive);

    /// Throw CArchiveException (cause 1, "Serialize CWQ_CLSIDArrayImpl") for more elements than a count can tell and,
    /// when loading, for an unknown version or more elements than the archive has bytes for; CInvalidArgException for a
    /// negative count; CComError for what the archive answers.
    void Store(CEasyMOXArchive& archive) const;
    void Load(CEasyMOXArchive& archive);

private:
    CGuidArray m_array;
};
