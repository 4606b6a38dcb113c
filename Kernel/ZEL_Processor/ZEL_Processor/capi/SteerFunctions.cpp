#include "capi/Clients.h"

#include "ZEL_Processor/zel/detail/Copying.h"
#include "ZEL_Processor/zel/detail/Steering.h"

namespace {

using zel::detail::Call;
using zel::detail::Core;

/// A command of those who run a server.
template <class Give>
zel_code Operate(zel_client* client, const Give& give)
{
    return WithClient(
        client, [&](const CClientObject& object) -> SOutcome { return zel::detail::command(object.Core(), give); });
}
template <class Give>
zel_code OperateOn(zel_client* client, const char* name, const Give& give)
{
    return WithRequest(client, name, [&](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        return zel::detail::command(object.Core(), [&](Call& call) { return give(call, wide); });
    });
}

/// All of a response.
SOutcome ReadResponse(const Core& core, const std::wstring& path, CBlock<zel_bytes>& block)
{
    std::unique_ptr<platform::IFile> file;
    platform::SFileAttributes attributes;
    platform::eOsError result = zel::detail::openAlone(core, path, file);
    if (platform::Succeeded(result))
        result = file->GetAttributes(attributes);
    if (!platform::Succeeded(result))
        return zel::detail::fileError("cannot read", path, result);
    if (attributes.length > ZEL_MAX_TEXT_BYTES)
        return {ZEL_FILE_ERROR, "too large for the memory: '" + platform::ToUtf8(path) + "'"};
    const auto length = static_cast<std::size_t>(attributes.length);
    char* const bytes = block.NewArray<char>(length + 1);
    for (std::size_t read = 1; block->length < length && read != 0; block->length += read) {
        result = file->Read(std::as_writable_bytes(std::span(bytes, length)).subspan(block->length), read);
        if (!platform::Succeeded(result))
            return zel::detail::fileError("cannot read", path, result);
    }
    // Where a file can be opened by one alone (Windows) nobody makes it shorter meanwhile.
    if (block->length < length)
        return {ZEL_FILE_ERROR, "became shorter while it was read: '" + platform::ToUtf8(path) + "'"};
    block->bytes = bytes;
    return {};
}

SOutcome ReceiveBytes(Core& core, const std::wstring& name, CBlock<zel_bytes>& block)
{
    if (const zel::Result<zel::Status> ended = zel::detail::endOf(core.status(name)); !ended)
        return ended;
    const std::wstring path = core.response(name);
    if (!Core::exists(path))
        return {ZEL_UNKNOWN_REQUEST, "the request is done, and there is no '" + platform::ToUtf8(path) + "'"};
    if (SOutcome read = ReadResponse(core, path, block); !read.IsGood())
        return read;
    return zel::detail::forget(core, name);
}

} // namespace

extern "C" {

zel_code zel_cancel(zel_client* client, const char* name)
{
    return WithRequest(client, name, [](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        return object.Request(wide).cancel();
    });
}

zel_code zel_pause(zel_client* client, const char* name)
{
    return WithRequest(client, name, [](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        return object.Request(wide).pause();
    });
}

zel_code zel_resume(zel_client* client, const char* name)
{
    return WithRequest(client, name, [](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        return object.Request(wide).resume();
    });
}

zel_code zel_receive(zel_client* client, const char* name, const char* target)
{
    return WithRequest(client, name, [&](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        std::wstring path;
        if (!TakePath(target, path))
            return BadArgument("target");
        return object.Request(wide).receive(zel::detail::pathOf(path));
    });
}

zel_code zel_receive_bytes(zel_client* client, const char* name, zel_bytes** bytes)
{
    Forget(bytes);
    return WithRequest(client, name, [&](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        if (bytes == nullptr)
            return BadArgument("bytes");
        CBlock<zel_bytes> block;
        SOutcome received = ReceiveBytes(object.Core(), wide, block);
        if (block->bytes != nullptr) // also when something is left of the request, for the response may be gone
            block.Give(bytes);
        return received;
    });
}

zel_code zel_forget(zel_client* client, const char* name)
{
    return WithRequest(client, name, [](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        return object.Request(wide).forget();
    });
}

zel_code zel_hold_queue(zel_client* client)
{
    return Operate(client, [](Call& call) { return call->HoldQueue(); });
}

zel_code zel_release_queue(zel_client* client)
{
    return Operate(client, [](Call& call) { return call->ReleaseQueue(); });
}

zel_code zel_drain_server(zel_client* client)
{
    return Operate(client, [](Call& call) { return call->DrainServer(); });
}

zel_code zel_move(zel_client* client, const char* name, int32_t where, const char* other)
{
    static_assert(ZEL_MOVE_FIRST == int{eRequestPlace_First} && ZEL_MOVE_LAST == int{eRequestPlace_Last} &&
                  ZEL_MOVE_BEFORE == int{eRequestPlace_Before});
    return WithRequest(client, name, [&](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        std::wstring before;
        if (where < ZEL_MOVE_FIRST || where > ZEL_MOVE_BEFORE || (where == ZEL_MOVE_BEFORE) != (other != nullptr))
            return BadArgument("where or other");
        if (other != nullptr) {
            if (SOutcome taken = TakeName(other, before); !taken.IsGood())
                return taken;
        }
        return zel::detail::command(object.Core(), [&](Call& call) {
            return call->MoveRequest(wide, static_cast<eRequestPlace>(where), before);
        });
    });
}

zel_code zel_retry_failed(zel_client* client, const char* name)
{
    return OperateOn(client, name, [](Call& call, const std::wstring& wide) { return call->RetryFailed(wide); });
}

zel_code zel_discard_failed(zel_client* client, const char* name)
{
    return OperateOn(client, name, [](Call& call, const std::wstring& wide) { return call->DiscardFailed(wide); });
}

} // extern "C"
