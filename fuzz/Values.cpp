#include "ZEL_Processor/Archive.h"

#include "com/CreateInstance.h"
#include "fuzz/Fuzz.h"

namespace {

template <class Value>
void ReadOne(_ar::archive& archive)
{
    Value value{};
    archive >> value;
}

void ReadWide(_ar::archive& archive)
{
    wchar_t* text = nullptr;
    archive >> &text;
    CoTaskMemFree(text);
}

/// A byte of the input says what is read next.
void ReadNext(_ar::archive& archive)
{
    unsigned char kind = 0;
    archive >> kind;
    switch (kind % 8) {
    case 0: ReadOne<CString>(archive); break;
    case 1: ReadOne<_ar::_variant_t>(archive); break;
    case 2: ReadOne<GUID>(archive); break;
    case 3: ReadOne<long long>(archive); break;
    case 4: ReadOne<double>(archive); break;
    case 5: ReadOne<int>(archive); break;
    case 6: ReadOne<short>(archive); break;
    default: ReadWide(archive); break;
    }
}

} // namespace

void TryBytes(const std::string& bytes)
{
    const auto memory = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
    Require(SUCCEEDED(memory->PutData(bytes.data(), static_cast<ULONG>(bytes.size()))));
    _ar::archive archive(memory.QueryTo<IWQ_Archive>().Get());
    try {
        for (;;)
            ReadNext(archive);
    } catch (const CComError& error) {
        Require(error.Code() == kArchiveEnd || error.Code() == DISP_E_BADVARTYPE);
    }
}
