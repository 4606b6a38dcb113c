#include "platform/Sandbox.h"

namespace platform {

std::optional<SSandboxSupport> SandboxSupport()
{
    return std::nullopt;
}

eOsError EnterSandbox(const SSandbox&)
{
    return eOsError_NotSupported;
}

std::string TakeRefusedCall()
{
    return {};
}

} // namespace platform
