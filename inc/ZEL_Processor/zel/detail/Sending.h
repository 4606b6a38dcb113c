#pragma once

#include "ZEL_Processor/zel/detail/Core.h"
#include "platform/Os.h"

#include <cerrno>
#include <fstream>
#include <functional>
#include <memory>
#include <string_view>

/// How a request is handed over. No part of what zel promises.
namespace zel::detail {

/// Why no request can have this name; empty when one can.
[[nodiscard]] inline std::string whyNoName(const std::wstring& name)
{
    constexpr std::size_t kMaxNameBytes = 255;
    constexpr std::string_view kLongestEnding = ".status.lock"; // what the system appends
    const std::wstring extension = platform::ExtensionOf(name);
    if (!platform::IsPortableFileName(name))
        return "not a plain file name";
    if (!platform::EqualsNoCase(extension, ZelProtocol::kRequestExtension) &&
        !platform::EqualsNoCase(extension, ZelProtocol::kXmlRequestExtension))
        return "it ends in neither .drq nor .xml";
    if (platform::ToUtf8(name).size() + kLongestEnding.size() > kMaxNameBytes)
        return "too long";
    return {};
}

[[nodiscard]] inline Result<void> checkName(const std::wstring& name)
{
    const std::string why = whyNoName(name);
    if (why.empty())
        return {};
    return Error{Code::badName, "'" + platform::ToUtf8(name) + "' cannot name a request: " + why};
}

/// In the order in which a request travels: one that moves meanwhile is found at its next place.
[[nodiscard]] inline Result<void> checkUnused(const Core& core, const std::wstring& name)
{
    for (const std::wstring& path :
         {core.inRequests(name), core.inQueue(name), core.statusFile(name), core.response(name)}) {
        if (Core::exists(path))
            return Error{Code::nameInUse, "the name is in use: there is '" + platform::ToUtf8(path) + "'"};
    }
    return {};
}

/// Waits for others who send under the name just now.
[[nodiscard]] inline platform::eOsError lockName(const Core& core, const std::wstring& path,
                                                 std::unique_ptr<platform::ILockFile>& lock)
{
    constexpr std::chrono::milliseconds kLook{1};
    const std::string note = platform::ToUtf16Le(L"Process id: " + std::to_wstring(platform::CurrentProcessId()) +
                                                 L"\nThread id: " + std::to_wstring(platform::CurrentThreadId()));
    const Deadline deadline(std::chrono::seconds(2));
    for (;;) {
        const platform::eOsError result = platform::Files().OpenLockFile(path, note, lock);
        if (result != platform::eOsError_SharingViolation || core.isStopped() || deadline.isOver())
            return result;
        platform::Clock().SleepFor(kLook);
    }
}

/// The hand-over replaces a file of the same name: while we look whether there is one, no other client of this kind may
/// send. The lock's file is none that a server looks at.
[[nodiscard]] inline Result<void> handOver(Core& core, const std::wstring& staged, const std::wstring& name)
{
    std::unique_ptr<platform::ILockFile> lock;
    const std::wstring lockPath = core.inRequests(name) + ZelProtocol::kLockExtension;
    if (const platform::eOsError locked = lockName(core, lockPath, lock); !platform::Succeeded(locked))
        return core.isStopped() ? Core::stopped() : fileError("cannot lock the name with", lockPath, locked);
    if (Result<void> unused = checkUnused(core, name); !unused)
        return unused;
    Call call(core);
    if (call->SendRequest(staged) == eRequestStatus_Sent)
        return {};
    if (core.isStopped())
        return Core::stopped();
    return Error{Code::fileError, call.why("the request was not handed over")};
}

/// write makes the file of the given path; false with the reason.
using StagedWrite = std::function<Result<void>(const std::filesystem::path& to)>;

[[nodiscard]] inline Result<void> send(Core& core, const std::wstring& name, const StagedWrite& write)
{
    if (Result<void> named = checkName(name); !named)
        return named;
    // Asked before the copying, too, which may take long.
    if (Result<void> unused = checkUnused(core, name); !unused)
        return unused;
    if (Result<void> made = core.place.folder.makeOwned(); !made)
        return made;
    OwnFolder staging(core.place.folder.path()); // the same name may be on its way twice
    if (Result<void> made = staging.make(); !made)
        return made;
    const std::wstring staged = platform::JoinPath(staging.path(), name);
    if (Result<void> written = write(pathOf(staged)); !written)
        return written;
    return handOver(core, staged, name);
}

[[nodiscard]] inline Result<void> copyTo(const std::filesystem::path& from, const std::filesystem::path& to)
{
    std::error_code error;
    if (std::filesystem::copy_file(from, to, error))
        return {};
    return Error{Code::fileError, said("cannot copy", from, error)};
}

[[nodiscard]] inline Result<void> writeTo(std::string_view content, const std::filesystem::path& to)
{
    errno = 0;
    std::ofstream file(to, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (file)
        return {};
    return Error{Code::fileError, said("cannot write", to, std::error_code(errno, std::generic_category()))};
}

} // namespace zel::detail
