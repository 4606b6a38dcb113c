#include "ZEL_Processor/IWQ_ProjectMarker.h"

#include "LibraryUses.h"
#include "framework/archive/ComArchiveImplBase.h"
#include "framework/archive/EasyMOXArchive.h"
#include "framework/module/RegisteredClass.h"

namespace {

constexpr GUID kMarkerArchiveType = {0x3E9F74CD, 0xD758, 0x473B, {0x9B, 0x64, 0x0E, 0x27, 0xED, 0x5A, 0x0A, 0x5C}};
constexpr LONG kMarkerVersion = 1;

class CWQ_ProjectMarkerImpl : public IWQ_ProjectMarker {
public:
    using ComInterface = IWQ_ProjectMarker;

    HRESULT STDMETHODCALLTYPE GetValue(VARIANT_BOOL* value) override
    {
        if (value == nullptr)
            return E_POINTER;
        *value = m_bValue ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE PutValue(VARIANT_BOOL value) override
    {
        m_bValue = value != VARIANT_FALSE;
        return S_OK;
    }
    virtual HRESULT STDMETHODCALLTYPE Serialize(IWQ_Archive* archive)
    {
        return ComGuard([&] {
            CEasyMOXArchive values(archive);
            return values.IsStoring() ? Store(values) : Load(values);
        });
    }

private:
    HRESULT Store(CEasyMOXArchive& archive) const
    {
        archive << kMarkerVersion << LONG{m_bValue ? 1 : 0};
        return S_OK;
    }
    HRESULT Load(CEasyMOXArchive& archive)
    {
        LONG version = 0;
        LONG value = 0;
        archive >> version >> value;
        if (version != kMarkerVersion || value < 0 || value > 1)
            return E_FAIL;
        m_bValue = value == 1;
        return S_OK;
    }

    bool m_bValue = false;
};

class CWQ_ProjectMarker final : public CMOX_ComArchiveImplBase<CWQ_ProjectMarkerImpl> {
public:
    CWQ_ProjectMarker() : CMOX_ComArchiveImplBase(CLSID_WQ_ProjectMarker, kMarkerArchiveType) {}

private:
    const CModuleUse m_use{LibraryUses()};
};

const CRegisteredClass g_markerClass(CLSID_WQ_ProjectMarker, CreateWQ_ProjectMarker);

} // namespace

HRESULT CreateWQ_ProjectMarker(REFIID iid, void** object) noexcept
{
    return MakeAndQuery<CWQ_ProjectMarker>(iid, object);
}
