#include "ZEL_Processor/LockFile.h"

#include "HandOver.h"
#include "LockNote.h"
#include "framework/Exceptions.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <chrono>
#include <utility>

/// What copies of one lock share: whoever unlocks first closes the file for all of them.
struct CLockFile::SHandle {
    std::unique_ptr<platform::ILockFile> file;
};

namespace {

constexpr double kLockTimeoutSeconds = 2.0;

} // namespace

CLockFile::CLockFile(CString guardedPath) : m_strPath(std::move(guardedPath)), m_pHandle(std::make_shared<SHandle>()) {}

CLockFile::CLockFile(const CLockFile&) = default;
CLockFile& CLockFile::operator=(const CLockFile&) = default;

CLockFile::~CLockFile()
{
    if (IsHeld())
        Unlock();
}

bool CLockFile::Lock(bool bWait)
{
    return Lock(bWait, true);
}

bool CLockFile::Lock(bool bWait, const std::atomic<bool>& goOn)
{
    eLockRetVal result = CreateLockFile();
    if (!bWait)
        return result == eLockRet_Ok;

    const std::chrono::nanoseconds start = platform::Clock().Steady();
    for (;;) {
        if (result == eLockRet_Ok)
            return true;
        if (result == eLockRet_Error) {
            WQ_ReportErrorNow(SourceNames::kLockFile, ReportLines::kLockNotCreated, L"CLockFile::Lock",
                              L"Unable to create lock file");
            return false;
        }
        const std::chrono::duration<double> elapsed = platform::Clock().Steady() - start;
        if (elapsed.count() > kLockTimeoutSeconds) {
            WQ_ReportErrorNow(SourceNames::kLockFile, ReportLines::kLockTimeout, L"CLockFile::Lock",
                              L"Timeout expired");
            return false;
        }
        if (!goOn)
            return false;
        platform::Clock().YieldThread();
        result = CreateLockFile();
    }
}

bool CLockFile::Unlock()
{
    // Emptied before the file is closed: nobody who looks meanwhile sees a lock that is on its way out.
    const std::unique_ptr<platform::ILockFile> closing = std::move(m_pHandle->file);
    return true;
}

CString CLockFile::GetLockFileFullPath() const
{
    return m_strPath + Protocol::kLockExtension;
}

CLockFile::eLockRetVal CLockFile::CreateLockFile()
{
    if (IsHeld()) {
        WQ_ReportErrorNow(SourceNames::kLockFile, ReportLines::kLockAlreadyHeld, L"CLockFile::CreateLockFile",
                          L"Please call Unlock before next lock !");
        AfxThrowNotSupportedException();
    }
    // Copies must not see a lock that this object takes for itself, so it gets a state of its own.
    auto handle = std::make_shared<SHandle>();
    const platform::eOsError error =
        platform::Files().OpenLockFile(GetLockFileFullPath(), Protocol::LockNote(), handle->file);
    if (error == platform::eOsError_SharingViolation)
        return eLockRet_Busy;
    if (!platform::Succeeded(error))
        return eLockRet_Error;
    m_pHandle = std::move(handle);
    return eLockRet_Ok;
}

bool CLockFile::IsHeld() const
{
    return m_pHandle->file != nullptr;
}
