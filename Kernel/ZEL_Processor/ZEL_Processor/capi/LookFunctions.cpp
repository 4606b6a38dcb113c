#include "capi/Clients.h"

#include "ZEL_Processor/zel/detail/Serving.h"
#include "platform/AccountName.h"
#include "protocol/FailedRecord.h"

#include <map>
#include <tuple>

namespace {

using zel::detail::Core;

/// Names of users, each asked once: the answer may come from another machine.
class COwners {
public:
    [[nodiscard]] const std::wstring& NameOf(const std::wstring& path)
    {
        platform::FileOwner owner;
        static_cast<void>(platform::Files().GetOwner(path, owner));
        const auto [entry, isNew] = m_names.try_emplace(owner);
        if (isNew)
            entry->second = platform::AccountName(owner);
        return entry->second;
    }

private:
    std::map<platform::FileOwner, std::wstring> m_names;
};

constexpr std::int64_t kNanosecondsInSecond = 1'000'000'000;

/// The request that a file is of; empty for other files.
std::wstring RequestOf(std::wstring name)
{
    const std::wstring_view status = ZelProtocol::kStatusExtension;
    if (name.ends_with(status))
        name.resize(name.size() - status.size());
    return zel::detail::whyNoName(name).empty() && IsUnicode(name) ? name : std::wstring();
}

SOutcome AddNames(const std::wstring& directory, std::int32_t place, std::map<std::wstring, std::int32_t>& names)
{
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError listed = platform::Files().List(directory, entries);
    if (!platform::Succeeded(listed) && !(place == ZEL_PLACE_QUEUE && platform::IsAbsent(listed)))
        return zel::detail::fileError("cannot read", directory, listed);
    for (const platform::SDirectoryEntry& entry : entries) {
        if (const std::wstring name = RequestOf(entry.name); !entry.isDirectory && !name.empty())
            names[name] = place; // where it was seen last
    }
    return {};
}

std::wstring PathAt(const Core& core, const std::wstring& name, std::int32_t place)
{
    switch (place) {
    case ZEL_PLACE_REQUESTS: return core.inRequests(name);
    case ZEL_PLACE_QUEUE: return core.inQueue(name);
    default: return Core::exists(core.response(name)) ? core.response(name) : core.statusFile(name);
    }
}

/// What is known of a file.
template <class Entry, class Root>
void FillFile(CBlock<Root>& block, Entry& entry, const std::wstring& path, bool isContent, COwners& owners)
{
    platform::SFileAttributes attributes;
    const bool isThere = platform::Succeeded(platform::Files().GetAttributes(path, attributes));
    entry.bytes = isThere && isContent ? static_cast<std::int64_t>(attributes.length) : -1;
    entry.owner = block.Text(isThere ? owners.NameOf(path) : std::wstring());
}

const zel_entry* MakeEntry(CBlock<zel_list>& block, const Core& core, const std::wstring& name,
                           const zel::Status& status, std::int32_t place, COwners& owners)
{
    auto* const entry = block.New<zel_entry>();
    auto* const shown = block.New<zel_status>();
    FillStatus(block, *shown, name, status);
    entry->status = shown;
    entry->place = place;
    const std::wstring path = PathAt(core, name, place);
    FillFile(block, *entry, path, path != core.statusFile(name), owners);
    platform::FileTimeNs time = 0;
    if (platform::Succeeded(platform::Files().GetChangeTime(path, time)))
        entry->since = time / kNanosecondsInSecond;
    return entry;
}

SOutcome List(Core& core, CBlock<zel_list>& block)
{
    // In the order in which a request travels, so that none is missed that moves meanwhile. What waits or runs has a
    // file in the queue, whatever is seen of it in the output directory.
    std::map<std::wstring, std::int32_t> names;
    std::map<std::wstring, std::int32_t> queued;
    SOutcome outcome = AddNames(core.place.requests, ZEL_PLACE_REQUESTS, names);
    if (outcome.IsGood())
        outcome = AddNames(core.inQueue({}), ZEL_PLACE_QUEUE, queued);
    if (outcome.IsGood())
        outcome = AddNames(core.place.output, ZEL_PLACE_OUTPUT, names);
    if (!outcome.IsGood())
        return outcome;
    for (const auto& [name, place] : queued)
        names[name] = place;
    COwners owners;
    std::vector<const zel_entry*> entries;
    for (const auto& [name, place] : names) {
        if (core.isStopped())
            return Core::stopped();
        const zel::Status status = core.status(name);
        // One without any file by now was received while we looked.
        if (status.state == zel::State::notRequested && !Core::exists(core.response(name)))
            continue;
        const bool isOver = status.hasEnded() && !Core::exists(core.inQueue(name));
        entries.push_back(MakeEntry(block, core, name, status, isOver ? ZEL_PLACE_OUTPUT : place, owners));
    }
    block->count = entries.size();
    block->entries = block.Array(entries);
    return {};
}

const zel_plugin* MakePlugin(CBlock<zel_server_info>& block, const SZelServerPlugin& from)
{
    auto* const plugin = block.New<zel_plugin>();
    plugin->name = block.Text(from.name);
    plugin->module = block.Text(from.module);
    plugin->task_type_count = from.taskTypes.size();
    plugin->task_types = block.Texts(from.taskTypes);
    return plugin;
}

void FillInfo(CBlock<zel_server_info>& block, const SZelServerInfo& server)
{
    static_assert(ZEL_PRESENCE_NONE == int{eServerPresence_None} && ZEL_PRESENCE_SERVES == int{eServerPresence_Serves});
    block->presence = server.presence;
    block->process = server.process;
    block->has_stopped = server.hasStopped ? 1 : 0;
    block->is_held = server.isHeld ? 1 : 0;
    block->started = server.started;
    block->ended = server.ended;
    block->seen = server.seen;
    block->version = block.Text(server.version);
    block->request_directory = block.Text(server.requestDir);
    block->option_count = server.options.size();
    block->options = block.Texts(server.options);
    std::vector<const zel_plugin*> plugins;
    for (const SZelServerPlugin& plugin : server.plugins)
        plugins.push_back(MakePlugin(block, plugin));
    block->plugin_count = plugins.size();
    block->plugins = block.Array(plugins);
    block->left_out_count = server.leftOut.size();
    block->left_out = block.Texts(server.leftOut);
}

const zel_failure* MakeFailure(CBlock<zel_failures>& block, const std::wstring& folder, const std::wstring& name,
                               COwners& owners)
{
    const std::wstring path = platform::JoinPath(folder, name);
    SFailedRecord record;
    if (!FailedRecord::Read(FailedRecord::PathOf(path), record))
        record = {};
    auto* const failure = block.New<zel_failure>();
    failure->attempt = record.attempt;
    failure->attempts = record.attempts;
    failure->when = record.when;
    failure->name = block.Text(name);
    failure->reason = block.Text(record.reason);
    failure->crash_report = block.Text(record.crashReport);
    FillFile(block, *failure, path, true, owners);
    return failure;
}

SOutcome ListFailures(const Core& core, CBlock<zel_failures>& block)
{
    const std::wstring folder = FailedRecord::FolderIn(core.place.output);
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError listed = platform::Files().List(folder, entries);
    if (!platform::Succeeded(listed) && !platform::IsAbsent(listed))
        return zel::detail::fileError("cannot read", folder, listed);
    COwners owners;
    std::vector<const zel_failure*> failures;
    for (const platform::SDirectoryEntry& entry : entries) {
        if (!entry.isDirectory && RequestOf(entry.name) == entry.name)
            failures.push_back(MakeFailure(block, folder, entry.name, owners));
    }
    std::sort(failures.begin(), failures.end(), [](const zel_failure* left, const zel_failure* right) {
        return std::tuple(right->when, std::string_view(left->name)) <
               std::tuple(left->when, std::string_view(right->name));
    });
    block->count = failures.size();
    block->failures = block.Array(failures);
    return {};
}

} // namespace

extern "C" {

zel_code zel_list_requests(zel_client* client, zel_list** list)
{
    Forget(list);
    return WithClient(client, [&](const CClientObject& object) {
        CBlock<zel_list> block;
        SOutcome outcome = List(object.Core(), block);
        if (outcome.IsGood())
            block.Give(list);
        return outcome;
    });
}

zel_code zel_get_server_info(zel_client* client, zel_server_info** info)
{
    Forget(info);
    return WithClient(client, [&](const CClientObject& object) -> SOutcome {
        Core& core = object.Core();
        const zel::detail::Reports reports;
        CBlock<zel_server_info> block;
        FillInfo(block, core.client.GetServerInfo());
        zel::ServerInfo queue;
        zel::detail::lookAtQueue(core, queue);
        std::vector<std::wstring> running;
        for (const std::string& name : queue.running)
            running.push_back(platform::FromUtf8(name));
        block->waiting = queue.waiting;
        block->paused = queue.paused;
        block->running_count = running.size();
        block->running = block.Texts(running);
        block.Give(info);
        return {};
    });
}

zel_code zel_list_failures(zel_client* client, zel_failures** failures)
{
    Forget(failures);
    return WithClient(client, [&](const CClientObject& object) {
        CBlock<zel_failures> block;
        SOutcome outcome = ListFailures(object.Core(), block);
        if (outcome.IsGood())
            block.Give(failures);
        return outcome;
    });
}

} // extern "C"
