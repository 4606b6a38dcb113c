#pragma once

#include "apps/zel-server/ServerOptions.h"

#include <functional>
#include <string>

/// The server that has the directories of these options already, as one that is to serve in its place meets it.
namespace TakeOver {

/// False when there is none.
[[nodiscard]] bool HasOther(const SServerOptions& options);
/// Has it drain; true as well when there is none. goOn: asked while its answer is waited for. False with the reason,
/// and without one when goOn ended that.
[[nodiscard]] bool Drain(const SServerOptions& options, const std::function<bool()>& goOn, std::wstring& error);

} // namespace TakeOver
