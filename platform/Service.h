#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <functional>
#include <string>
#include <vector>

/// This program as a service that the system starts and stops. Only Windows keeps services in this way; elsewhere each
/// operation fails with eOsError_NotSupported, and ServiceAdvice tells what to do instead.
namespace platform {

constexpr eOsError eOsError_ServiceTimeout{1053};
constexpr eOsError eOsError_NoSuchService{1060};
constexpr eOsError eOsError_NotAService{1063};
constexpr eOsError eOsError_ServiceExists{1073};

struct SServiceDefinition {
    std::wstring name; ///< by which the system knows the service
    std::wstring displayName;
    std::wstring description;
    std::vector<std::wstring> arguments; ///< of this program when the system starts it
};

/// Makes a service of this program that starts with the system, runs under the account LocalService and is started
/// again when it dies or ends with a result that is not 0. Needs an administrator. eOsError_ServiceExists when there is
/// one of that name.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError InstallService(const SServiceDefinition& definition);

/// Stops the service if it runs, waits for its end, and removes it. Needs an administrator. eOsError_NoSuchService when
/// there is none; eOsError_ServiceTimeout when it has not stopped within 90 seconds, and then it stays.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError RemoveService(const std::wstring& name);

/// For the main function of a program that was started as a service: runs the body as the service's work, on a thread
/// of its own, and returns when it is over, with its result. eOsError_NotAService when the system has not started this
/// process as a service. The body must not throw. Once in a process.
///
/// The system is told that the service starts, that it runs when the body calls NotifyServiceManager("READY=1"), that
/// it stops, and the body's result when that is not 0. A stop arrives as eProgramSignal_Stop. The system says so once
/// only: a body that has not returned after 20 seconds gets the signal again, after 2 when the system is going down.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError RunService(const std::wstring& name, const std::function<int()>& body,
                                                    int& result);

/// What to do where services are kept in another way; empty where they are kept in this one.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring ServiceAdvice();

} // namespace platform
