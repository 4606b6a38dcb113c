#include "LibraryUses.h"
#include "WQ_CLSIDArrayImpl.h"
#include "framework/archive/ComArchiveImplBase.h"
#include "framework/module/RegisteredClass.h"

namespace {

constexpr GUID kArrayArchiveType = {0xEF8E54AF, 0x0BD3, 0x4006, {0x85, 0x4F, 0x68, 0x02, 0x18, 0xA7, 0x3A, 0x50}};

class CWQ_CLSIDArray final : public CMOX_ComArchiveImplBase<CWQ_CLSIDArrayImpl> {
public:
    CWQ_CLSIDArray() : CMOX_ComArchiveImplBase(CLSID_WQ_CLSIDArray, kArrayArchiveType) {}

private:
    const CModuleUse m_use{LibraryUses()};
};

const CRegisteredClass g_arrayClass(CLSID_WQ_CLSIDArray, CreateWQ_CLSIDArray);

} // namespace

HRESULT CreateWQ_CLSIDArray(REFIID iid, void** object) noexcept
{
    return MakeAndQuery<CWQ_CLSIDArray>(iid, object);
}
