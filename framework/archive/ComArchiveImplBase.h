#pragma once

#include "com/ComObjectPair.h"
#include "framework/Archive.h"

/// Makes a counted object that archives can store and load out of an implementation. The implementation derives from
/// its interface, names it ComInterface, and has `virtual HRESULT Serialize(IWQ_Archive*)`.
template <class Impl>
class CMOX_ComArchiveImplBase : public CComObjectPair<Impl, IWQ_ArchiveObj, typename Impl::ComInterface> {
public:
    CMOX_ComArchiveImplBase(const CLSID& classId, const GUID& archiveType) : m_classId(classId), m_type(archiveType) {}

    HRESULT STDMETHODCALLTYPE GetClassId(CLSID* classId) override { return HandOut(m_classId, classId); }
    HRESULT STDMETHODCALLTYPE GetArchiveType(GUID* type) override { return HandOut(m_type, type); }
    HRESULT STDMETHODCALLTYPE Serialize(IWQ_Archive* archive) override { return Impl::Serialize(archive); }

private:
    static HRESULT HandOut(const GUID& value, GUID* target)
    {
        if (target == nullptr)
            return E_POINTER;
        *target = value;
        return S_OK;
    }

    const CLSID m_classId;
    const GUID m_type;
};
