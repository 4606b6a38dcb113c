#include "ZEL_Processor/IWQ_CLSIDArray.h"

#include <cstdint>
#include <cstdio>

namespace {

int Fail(HRESULT result)
{
    std::printf("0x%08x\n", static_cast<unsigned>(static_cast<std::uint32_t>(result)));
    return 1;
}

} // namespace

/// Makes a list of class ids through the system, of which it knows nothing but the class id.
int main()
{
    if (const HRESULT result = CoInitialize(nullptr); FAILED(result))
        return Fail(result);
    IWQ_CLSIDArray* array = nullptr;
    const HRESULT result = CoCreateInstance(CLSID_WQ_CLSIDArray, nullptr, CLSCTX_INPROC_SERVER,
                                            ComIid<IWQ_CLSIDArray>(), reinterpret_cast<void**>(&array));
    if (FAILED(result))
        return Fail(result);
    ULONGLONG count = 0;
    const bool works = array->Add(&CLSID_WQ_CLSIDArray) == S_OK && array->Add(&CLSID_WQ_CLSIDArray) == S_OK &&
                       array->GetCount(&count) == S_OK;
    array->Release();
    CoFreeUnusedLibraries();
    CoUninitialize();
    if (!works)
        return Fail(E_FAIL);
    std::printf("an array of %u\n", static_cast<unsigned>(count));
    return 0;
}
