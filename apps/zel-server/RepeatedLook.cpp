#include "apps/zel-server/RepeatedLook.h"

#include "com/ComThread.h"

#include <chrono>
#include <utility>

namespace {

/// What somebody removed is noticed within a second.
constexpr std::chrono::milliseconds kLookPause{800};
/// Longer takes one that hangs alone.
constexpr std::chrono::milliseconds kUsualLook{500};

} // namespace

CRepeatedLook::~CRepeatedLook()
{
    End();
    static_cast<void>(m_thread.Join());
}

bool CRepeatedLook::Start(std::function<bool()> look)
{
    return m_thread.Start([this, look = std::move(look)] {
        platform::SetCurrentThreadName("zel-server::Look");
        const CComThread com;
        while (!m_evEnd.IsSet() && look())
            static_cast<void>(m_evEnd.WaitFor(kLookPause));
        return 0U;
    });
}

void CRepeatedLook::End()
{
    m_evEnd.Set();
    if (m_thread.WaitFor(kUsualLook))
        static_cast<void>(m_thread.Join());
}
