#include "KeptNames.h"
#include "platform/Os.h"

#include <chrono>
#include <utility>

namespace {

/// One move or removal by another thread. A wait for it has an end: that thread waits for nobody meanwhile, and forgets
/// the name whether its call comes back or throws.
constexpr std::chrono::milliseconds kWhileAFileGoes{1};

} // namespace

void CKeptNames::Hold(const CString& name, bool hasFailed)
{
    while (!TryHold(name, hasFailed))
        platform::Clock().SleepFor(kWhileAFileGoes);
}

bool CKeptNames::TryHold(const CString& name, bool hasFailed)
{
    const platform::CMutexLock lock(m_cs);
    const auto [held, isNew] = m_names.try_emplace(name);
    if (!isNew && held->second.holders == 0)
        return false;
    ++held->second.holders;
    if (isNew)
        held->second.hasFailed = hasFailed;
    return true;
}

bool CKeptNames::SetFailed(const CString& name, bool hasFailed)
{
    const platform::CMutexLock lock(m_cs);
    const auto held = m_names.find(name);
    return held != m_names.end() && std::exchange(held->second.hasFailed, hasFailed);
}

void CKeptNames::Release(const CString& name)
{
    Release(name, false, [](bool) {});
}

void CKeptNames::Release(const CString& name, bool hasFailed, const std::function<void(bool hasFailed)>& letGo)
{
    eRelease release = TryRelease(name, hasFailed);
    for (; release == eRelease_GoesAlready; release = TryRelease(name, hasFailed))
        platform::Clock().SleepFor(kWhileAFileGoes);
    if (release == eRelease_Held)
        return;
    struct SGone {
        ~SGone() { names.Forget(name); }
        CKeptNames& names;
        const CString& name;
    };
    const SGone gone{*this, name};
    letGo(hasFailed);
}

CKeptNames::eRelease CKeptNames::TryRelease(const CString& name, bool& hasFailed)
{
    const platform::CMutexLock lock(m_cs);
    const auto [held, isNew] = m_names.try_emplace(name);
    if (isNew)
        return eRelease_Goes; // nobody held it
    if (held->second.holders == 0)
        return eRelease_GoesAlready;
    if (--held->second.holders != 0)
        return eRelease_Held;
    hasFailed = held->second.hasFailed;
    return eRelease_Goes;
}

void CKeptNames::Forget(const CString& name)
{
    const platform::CMutexLock lock(m_cs);
    m_names.erase(name);
}
