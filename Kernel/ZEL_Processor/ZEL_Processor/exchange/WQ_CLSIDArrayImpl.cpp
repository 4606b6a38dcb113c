#include "WQ_CLSIDArrayImpl.h"

#include "com/ComObject.h"
#include "framework/Exceptions.h"

#include <algorithm>

namespace {

constexpr LONG kArrayVersion = 2; // 0 and 1 had the same form
constexpr std::size_t kCountLimit = 0x7FFFFFFF;

[[noreturn]] void ThrowArchiveException()
{
    throw CArchiveException(1, L"Serialize CWQ_CLSIDArrayImpl");
}

} // namespace

void CGuidArray::SetSize(LONGLONG size)
{
    if (size < 0)
        AfxThrowInvalidArgException();
    m_items.resize(static_cast<std::size_t>(size));
}

CWQ_CLSIDArrayImpl::~CWQ_CLSIDArrayImpl() = default;

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::Add(const GUID* value)
{
    if (value == nullptr)
        return E_POINTER;
    return ComGuard([&] {
        m_array.Items().push_back(*value);
        return S_OK;
    });
}

BOOL STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::Contains(const GUID* value)
{
    const auto& items = m_array.Items();
    return value != nullptr && std::find(items.begin(), items.end(), *value) != items.end() ? 1 : 0;
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::ContainsVB(const GUID* value, VARIANT_BOOL* contains)
{
    if (contains == nullptr)
        return E_POINTER;
    *contains = static_cast<VARIANT_BOOL>(Contains(value));
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::Remove(const GUID* value)
{
    if (value == nullptr)
        return E_POINTER;
    // A copy: what the pointer names may be an element.
    return std::erase(m_array.Items(), GUID(*value)) > 0 ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::RemoveAll()
{
    m_array.Items().clear();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::GetCount(ULONGLONG* count)
{
    if (count == nullptr)
        return E_POINTER;
    *count = m_array.Items().size();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::GetAt(ULONGLONG index, GUID* value)
{
    if (value == nullptr || index >= m_array.Items().size())
        return E_POINTER;
    *value = m_array.Items()[static_cast<std::size_t>(index)];
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::CopyTo(IWQ_CLSIDArray* target)
{
    if (target == nullptr)
        return E_POINTER;
    return ComGuard([&] {
        // Taken before the target is emptied: the target may be this list.
        const std::vector<GUID> items = m_array.Items();
        ThrowIfFailed(target->RemoveAll());
        for (const GUID& item : items)
            ThrowIfFailed(target->Add(&item));
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::SetAt(ULONGLONG index, const GUID* value)
{
    if (value == nullptr || index >= m_array.Items().size())
        return E_POINTER;
    m_array.Items()[static_cast<std::size_t>(index)] = *value;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CWQ_CLSIDArrayImpl::Serialize(IWQ_Archive* archive)
{
    if (archive == nullptr)
        return E_POINTER;
    const bool storing = archive->IsStoring();
    const HRESULT result = ComGuard([&] {
        CEasyMOXArchive values(archive);
        try {
            storing ? Store(values) : Load(values);
        } catch (const CArchiveException&) {
            return E_FAIL;
        } catch (const CInvalidArgException&) {
            return E_INVALIDARG;
        }
        return S_OK;
    });
    if (FAILED(result) && !storing)
        RemoveAll();
    return result;
}

void CWQ_CLSIDArrayImpl::Store(CEasyMOXArchive& archive) const
{
    const auto& items = m_array.Items();
    archive << kArrayVersion;
    if (items.size() >= kCountLimit)
        ThrowArchiveException();
    archive << static_cast<LONG>(items.size());
    for (const GUID& item : items)
        archive << item;
}

void CWQ_CLSIDArrayImpl::Load(CEasyMOXArchive& archive)
{
    LONG version = 0;
    LONG count = 0;
    RemoveAll();
    archive >> version;
    if (version < 0 || version > kArrayVersion)
        ThrowArchiveException();
    archive >> count;
    if (count > 0 && static_cast<ULONGLONG>(count) > archive.Remaining() / sizeof(GUID))
        ThrowArchiveException();
    m_array.SetSize(count);
    for (GUID& item : m_array.Items())
        archive >> item;
}
