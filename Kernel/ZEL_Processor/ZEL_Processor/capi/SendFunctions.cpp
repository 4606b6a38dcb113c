#include "capi/Clients.h"

namespace {

/// Path or text, and perhaps a name.
SOutcome SendOne(const CClientObject& client, const zel_order& order, std::wstring& sent)
{
    std::wstring path;
    std::wstring name;
    if ((order.path == nullptr) == (order.text == nullptr))
        return BadArgument("either path or text");
    if (order.path != nullptr && !TakePath(order.path, path))
        return BadArgument("path");
    if (order.length > ZEL_MAX_TEXT_BYTES)
        return BadArgument("text");
    if (order.name != nullptr) {
        if (SOutcome taken = TakeName(order.name, name); !taken.IsGood())
            return taken;
    }
    const std::string narrow = platform::ToUtf8(name);
    const zel::Client& face = client.Face();
    zel::Result<zel::Request> request = [&] {
        if (order.path != nullptr) {
            const std::filesystem::path file = zel::detail::pathOf(path);
            return narrow.empty() ? face.send(file) : face.send(file, narrow);
        }
        const zel::Text text{std::string(order.text, order.length)};
        return narrow.empty() ? face.send(text) : face.send(text, narrow);
    }();
    if (!request)
        return request;
    sent = platform::FromUtf8(request->name());
    return {};
}

zel_code SendAndTell(const zel_client* client, const zel_order& order, char** sent)
{
    Forget(sent);
    return WithClient(client, [&](const CClientObject& object) {
        std::wstring name;
        SOutcome outcome = SendOne(object, order, name);
        if (outcome.IsGood())
            GiveText(name, sent);
        return outcome;
    });
}

} // namespace

extern "C" {

zel_code zel_send_file(zel_client* client, const char* path, const char* name, char** sent)
{
    return SendAndTell(client, {sizeof(zel_order), 0, path, nullptr, 0, name}, sent);
}

zel_code zel_send_text(zel_client* client, const char* text, size_t length, const char* name, char** sent)
{
    return SendAndTell(client, {sizeof(zel_order), 0, nullptr, text, length, name}, sent);
}

zel_code zel_send_many(zel_client* client, const zel_order* orders, size_t count, zel_code* codes, zel_names** names)
{
    Forget(names);
    return WithClient(client, [&](const CClientObject& object) -> SOutcome {
        if (orders == nullptr || count == 0 || count > ZEL_MAX_NAMES || orders->size < sizeof *orders ||
            orders->size > kLargestStructure || orders->size % alignof(zel_order) != 0)
            return BadArgument("orders");
        CBlock<zel_names> block;
        const char** const sent = block.NewArray<const char*>(count);
        block->count = count;
        block->names = sent;
        SOutcome first;
        for (std::size_t index = 0; index < count; ++index) {
            const char* const place = reinterpret_cast<const char*>(orders) + index * orders->size;
            zel_order order{};
            std::wstring name;
            SOutcome outcome = TakeStructure(*reinterpret_cast<const zel_order*>(place), sizeof order, order)
                                   ? SendOne(object, order, name)
                                   : BadArgument("orders");
            sent[index] = block.Text(name);
            if (codes != nullptr)
                codes[index] = outcome.code;
            if (first.IsGood())
                first = std::move(outcome);
        }
        block.Give(names);
        return first;
    });
}

zel_code zel_unique_name(char** name)
{
    Forget(name);
    return CallSafely([&]() -> SOutcome {
        const std::string unique = zel::Client::uniqueName();
        if (unique.empty())
            return {ZEL_SYSTEM_ERROR, "the system has no ids to give"};
        GiveText(platform::FromUtf8(unique), name);
        return {};
    });
}

} // extern "C"
