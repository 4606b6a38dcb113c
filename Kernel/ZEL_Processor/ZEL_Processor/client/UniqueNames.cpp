#include "ZEL_Processor/ZelProcessorClient.h"

#include "com/Com.h"
#include "com/ComError.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Mutex.h"

CString CZelProcessorClient::GetUniqueString()
{
    static platform::CMutex guard;
    static GUID guid ZEL_GUARDED_BY(guard) = {};
    static std::uint16_t counter ZEL_GUARDED_BY(guard) = 0;

    const platform::CMutexLock lock(guard);
    if (counter == 0)
        ThrowIfFailed(CoCreateGuid(&guid)); // without one the names would be those of other processes
    ++counter;
    return FormatText(L"%s_%d", {GuidToText(guid), std::to_wstring(counter)});
}
