#include "platform/Service.h"

namespace platform {

eOsError InstallService(const SServiceDefinition&)
{
    return eOsError_NotSupported;
}

eOsError RemoveService(const std::wstring&)
{
    return eOsError_NotSupported;
}

eOsError RunService(const std::wstring&, const std::function<int()>&, int&)
{
    return eOsError_NotSupported;
}

std::wstring ServiceAdvice()
{
    return L"there are no services of this kind here; use the systemd unit zel-server.service: "
           L"systemctl enable --now zel-server";
}

} // namespace platform
