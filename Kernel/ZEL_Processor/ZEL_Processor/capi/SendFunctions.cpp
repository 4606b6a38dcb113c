#include "capi/Clients.h"

#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

/// An order that may be sent, and the name that it gets.
struct SSending {
    zel_order order{};
    std::wstring path;
    std::wstring name;
};

/// Path or text, and perhaps a name.
SOutcome TakeOrder(const zel_order& order, SSending& sending)
{
    sending.order = order;
    if ((order.path == nullptr) == (order.text == nullptr))
        return BadArgument("either path or text");
    if (order.path != nullptr && !TakePath(order.path, sending.path))
        return BadArgument("path");
    if (order.length > ZEL_MAX_TEXT_BYTES)
        return BadArgument("text");
    if (order.name != nullptr)
        return TakeName(order.name, sending.name);
    sending.name = order.path != nullptr ? zel::detail::wide(zel::detail::pathOf(sending.path).filename())
                                         : platform::FromUtf8(zel::Client::uniqueName());
    return {};
}

SOutcome SendOne(const CClientObject& client, const SSending& sending)
{
    const std::string narrow = platform::ToUtf8(sending.name);
    const zel::Result<zel::Request> request =
        sending.order.path != nullptr
            ? client.Face().send(zel::detail::pathOf(sending.path), narrow)
            : client.Face().send(zel::Text{std::string(sending.order.text, sending.order.length)}, narrow);
    return request ? SOutcome() : SOutcome(request);
}

zel_code SendAndTell(const zel_client* client, const zel_order& order, char** sent)
{
    Forget(sent);
    return WithClient(client, [&](const CClientObject& object) {
        SSending sending;
        SOutcome outcome = TakeOrder(order, sending);
        if (!outcome.IsGood())
            return outcome;
        // Made first: no memory is needed any more to tell what was sent.
        char* name = nullptr;
        GiveText(sending.name, sent != nullptr ? &name : nullptr);
        std::unique_ptr<char, decltype(&zel_free)> made(name, &zel_free);
        outcome = SendOne(object, sending);
        if (outcome.IsGood() && sent != nullptr)
            *sent = made.release();
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
        // All names first: no memory is needed any more to tell which were sent.
        std::vector<SSending> sendings(count);
        std::vector<SOutcome> outcomes(count);
        for (std::size_t index = 0; index < count; ++index) {
            const char* const place = reinterpret_cast<const char*>(orders) + index * orders->size;
            zel_order order{};
            outcomes[index] = TakeStructure(*reinterpret_cast<const zel_order*>(place), sizeof order, order)
                                  ? TakeOrder(order, sendings[index])
                                  : BadArgument("orders");
            sent[index] = block.Text(sendings[index].name);
        }
        SOutcome first;
        for (std::size_t index = 0; index < count; ++index) {
            SOutcome outcome = std::move(outcomes[index]);
            try {
                if (outcome.IsGood())
                    outcome = SendOne(object, sendings[index]);
            } catch (const std::bad_alloc&) {
                outcome.code = ZEL_NO_MEMORY;
            }
            if (!outcome.IsGood())
                sent[index] = "";
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
