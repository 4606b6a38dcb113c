#include "capi/Clients.h"

#include "capi/Watches.h"
#include "framework/LogOptions.h"
#include "platform/Version.h"

using Brel::Log::SLogLine;

bool CClientObject::AddWatch(const std::shared_ptr<COutputWatch>& watch)
{
    const platform::CMutexLock lock(m_cs);
    if (m_bClosed)
        return false;
    std::erase_if(m_watches, [](const auto& other) { return other.expired(); });
    m_watches.push_back(watch);
    return true;
}

void CClientObject::Close()
{
    std::vector<std::weak_ptr<COutputWatch>> watches;
    {
        const platform::CMutexLock lock(m_cs);
        m_bClosed = true;
        watches.swap(m_watches);
    }
    m_face.stop();
    for (const std::weak_ptr<COutputWatch>& watch : watches) {
        if (const std::shared_ptr<COutputWatch> open = watch.lock())
            open->Stop();
    }
    zel::detail::Access::PartsOf(m_face).follower.stop();
}

namespace {

constexpr zel_client_options kClientDefaults{sizeof(zel_client_options), 1, 0, 0, 0, 10'000, 30'000, nullptr};

/// False for what is out of range.
bool TakeOptions(const zel_client_options* given, zel::Options& options)
{
    zel_client_options taken = kClientDefaults;
    if (given != nullptr && !TakeStructure(*given, sizeof taken, taken))
        return false;
    if (taken.poll_ms < 0 || taken.command_timeout_ms < 0 || taken.server_absence_ms < 0)
        return false;
    std::wstring own;
    if (!TakeOptionalPath(taken.own_directory, own))
        return false;
    options.own = zel::detail::pathOf(own);
    options.syncing = taken.syncing != 0;
    options.allowReading = taken.allow_reading != 0;
    options.checkedWatch = taken.checked_watch != 0;
    options.poll = TakeTimeout(taken.poll_ms);
    options.commandTimeout = TakeTimeout(taken.command_timeout_ms);
    options.serverAbsence = TakeTimeout(taken.server_absence_ms);
    return true;
}

} // namespace

extern "C" {

uint32_t zel_abi_version(void)
{
    return ZEL_ABI_VERSION;
}

const char* zel_version(void)
{
    return ZEL_VERSION;
}

zel_code zel_set_log(zel_log_callback callback, void* context, int32_t least)
{
    return CallSafely([&]() -> SOutcome {
        Brel::Log::SLogOptions options;
        if (least < Brel::Log::eLogLevel_Trace || least > Brel::Log::eLogLevel_Critical)
            return BadArgument("least");
        options.level = static_cast<Brel::Log::eLogLevel>(least);
        options.console = callback == nullptr;
        if (callback != nullptr) {
            options.sink = [callback, context](const SLogLine& line) {
                const CInCallback inside;
                const std::string logger(line.logger);
                const std::string text = SafeText(platform::FromUtf8(line.text));
                callback(context, line.level, logger.c_str(), text.c_str());
            };
        }
        static_cast<void>(Brel::Log::Configure(options)); // fails for a file alone
        return {};
    });
}

zel_code zel_client_options_init(zel_client_options* options, size_t size)
{
    return CallSafely([&] { return GiveStructure(options, size, sizeof kClientDefaults, kClientDefaults); });
}

zel_code zel_client_open(const char* request_directory, const char* output_directory, const zel_client_options* options,
                         zel_client** client)
{
    Forget(client);
    return CallSafely([&]() -> SOutcome {
        std::wstring requests;
        std::wstring output;
        zel::Options taken;
        if (client == nullptr || !TakePath(request_directory, requests) || !TakePath(output_directory, output))
            return BadArgument("directories or client");
        if (!TakeOptions(options, taken))
            return BadArgument("options");
        taken.requests = zel::detail::pathOf(requests);
        taken.output = zel::detail::pathOf(output);
        *client = CClients::All().Add(std::make_shared<CClientObject>(taken));
        return {};
    });
}

zel_code zel_client_stop(zel_client* client)
{
    return WithClient(client, [](const CClientObject& object) -> SOutcome {
        object.Face().stop();
        return {};
    });
}

zel_code zel_client_close(zel_client* client)
{
    return CallSafely([&]() -> SOutcome {
        if (CInCallback::IsHere())
            return {ZEL_WRONG_TIME, "a callback cannot close a client"};
        const std::shared_ptr<CClientObject> object = CClients::All().Remove(client);
        if (!object)
            return client == nullptr ? SOutcome() : BadArgument("client");
        object->Close();
        return {};
    });
}

} // extern "C"
