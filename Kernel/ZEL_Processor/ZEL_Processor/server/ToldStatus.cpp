#include "ToldStatus.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "protocol/StatusFileText.h"

#include <cstdint>
#include <string>

namespace {

/// The number is on the first line.
constexpr std::size_t kMaxToldBytes = std::size_t{1} << 20;
/// Readers need microseconds. Who holds one longer is waited for as long as all of them are.
constexpr int kTriesForReaders = 50;

} // namespace

eTold ReadTold(const CString& statusPath, const Protocol::GoOn& patience)
{
    int tries = 0;
    std::string bytes;
    const platform::eOsError error = Protocol::RetryWhileShared(
        [&] { return platform::ReadWholeFile(statusPath, platform::eOpenMode_ReadExclusive, bytes, kMaxToldBytes); },
        [&] { return ++tries < kTriesForReaders || patience(); });
    if (error == platform::eOsError_SharingViolation)
        return eTold_Held;
    std::int32_t status = eRequestStatus_NotIntialized;
    if (!platform::Succeeded(error) || !StatusFileText::FindStatus(platform::FromUtf16Le(bytes), status))
        return eTold_Nothing;
    switch (status) {
    case eRequestStatus_ServerError:
    case eRequestStatus_Canceled: return eTold_Failed;
    case eRequestStatus_Done: return eTold_Done;
    case eRequestStatus_Waiting: return eTold_Waiting;
    case eRequestStatus_Paused: return eTold_Paused;
    case eRequestStatus_NotIntialized:
    case eRequestStatus_ClientError: return eTold_Nothing;
    default: return eTold_Running;
    }
}
