#include "apps/zel/EventText.h"

#include "com/ComError.h"
#include "com/Guid.h"
#include "platform/Text.h"

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

using ListGetter = HRESULT (STDMETHODCALLTYPE IWQ_DsEventsData::*)(IWQ_DsList**);

/// The lists of an event in the order in which they are told.
struct SPart {
    const char* name;
    ListGetter get;
};
constexpr SPart kParts[] = {
    {"added", &IWQ_DsEventsData::GetAddedItems},       {"changed", &IWQ_DsEventsData::GetChangedItems},
    {"columns", &IWQ_DsEventsData::GetChangedColumns}, {"removed", &IWQ_DsEventsData::GetRemovedItems},
    {"renamed", &IWQ_DsEventsData::GetRenamedItems},   {"affected", &IWQ_DsEventsData::GetAffectedItems}};

ordered_json GuidJson(const GUID& id)
{
    return platform::ToUtf8(GuidToText(id));
}

ordered_json ItemsJson(IWQ_DsItems& items)
{
    ordered_json numbers = ordered_json::array();
    LONG item = 0;
    for (LONG index = 0; items.GetItem(index, &item) == S_OK; ++index)
        numbers.push_back(item);
    return numbers;
}

/// {"{GUID}":[1,2]}; null when there is nothing.
ordered_json ListJson(IWQ_DsList* list)
{
    ordered_json object;
    GUID key{};
    for (LONG index = 0; list != nullptr && list->GetKey(index, &key) == S_OK; ++index) {
        CComPtr<IWQ_DsItems> items;
        ThrowIfFailed(list->GetItemsAt(index, items.Put()));
        if (items)
            object[platform::ToUtf8(GuidToText(key))] = ItemsJson(*items);
    }
    return object;
}

ordered_json SourcesJson(IWQ_DsGuidSet* sources)
{
    ordered_json ids;
    GUID id{};
    for (LONG index = 0; sources != nullptr && sources->GetAt(index, &id) == S_OK; ++index)
        ids.push_back(GuidJson(id));
    return ids;
}

ordered_json KindJson(LONG kind)
{
    switch (kind) {
    case eDsEventKind_Unknown: return "unknown";
    case eDsEventKind_Items: return "items";
    case eDsEventKind_Sources: return "sources";
    case eDsEventKind_Reload: return "reload";
    default: return kind;
    }
}

ordered_json EventJson(IWQ_DsEventsData& event)
{
    LONG kind = eDsEventKind_Unknown;
    ThrowIfFailed(event.GetKind(&kind));
    ordered_json object{{"event", "items"}, {"kind", KindJson(kind)}};
    const auto add = [&](const char* name, ordered_json part) {
        if (!part.is_null())
            object[name] = std::move(part);
    };
    for (const SPart& part : kParts) {
        CComPtr<IWQ_DsList> list;
        ThrowIfFailed((event.*part.get)(list.Put()));
        add(part.name, ListJson(list.Get()));
    }
    CComPtr<IWQ_DsGuidSet> sources;
    ThrowIfFailed(event.GetChangedSources(sources.Put()));
    add("sources", SourcesJson(sources.Get()));
    return object;
}

ordered_json GroupsJson(IWQ_CLSIDArray* groups)
{
    if (groups == nullptr)
        return nullptr;
    ordered_json ids = ordered_json::array();
    ULONGLONG count = 0;
    ThrowIfFailed(groups->GetCount(&count));
    for (ULONGLONG index = 0; index < count; ++index) {
        GUID id{};
        ThrowIfFailed(groups->GetAt(index, &id));
        ids.push_back(GuidJson(id));
    }
    return ids;
}

/// " a b" of an array, " {GUID} a b" for each entry of an object.
std::string ValuesText(const ordered_json& values)
{
    std::string text;
    if (values.is_object()) {
        for (const auto& [key, items] : values.items())
            text += " " + key + ValuesText(items);
        return text;
    }
    for (const ordered_json& value : values)
        text += " " + (value.is_string() ? value.get<std::string>() : value.dump());
    return text;
}

} // namespace

std::wstring EventToJson(IWQ_DsEventsData& event)
{
    return platform::FromUtf8(EventJson(event).dump());
}

std::wstring EventToText(IWQ_DsEventsData& event)
{
    const ordered_json object = EventJson(event);
    std::string text = "items: ";
    text += object["kind"].is_string() ? object["kind"].get<std::string>() : object["kind"].dump();
    for (const auto& [name, values] : object.items()) {
        if (values.is_structured())
            text += "; " + name + ValuesText(values);
    }
    return platform::FromUtf8(text);
}

std::wstring GroupsToJson(IWQ_CLSIDArray* groups)
{
    return platform::FromUtf8(ordered_json{{"event", "groups"}, {"groups", GroupsJson(groups)}}.dump());
}

std::wstring GroupsToText(IWQ_CLSIDArray* groups)
{
    return platform::FromUtf8(groups == nullptr ? "groups: all" : "groups:" + ValuesText(GroupsJson(groups)));
}

std::wstring LockResultsToJson()
{
    return L"{\"event\":\"lock-results\"}";
}

std::wstring LockResultsToText()
{
    return L"lock-results";
}
