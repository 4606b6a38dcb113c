#include "ZEL_Processor/XMLTools.h"

#include "com/ComPtr.h"
#include "framework/Archive.h"
#include "framework/HeapMemFile.h"
#include "fuzz/Fuzz.h"

#include <span>

/// There is an object exactly when the result says so.
void TryBytes(const std::string& bytes)
{
    CHeapMemFile file;
    Require(file.Write(std::as_bytes(std::span(bytes))));
    CComPtr<IWQ_ArchiveObj> object;
    const HRESULT result = CXMLTools::LoadWQ_ArchiveObjFromBinaryData(file, L"Groups", object.Put());
    Require(result == S_OK ? static_cast<bool>(object) : result == E_FAIL && !object);
}
