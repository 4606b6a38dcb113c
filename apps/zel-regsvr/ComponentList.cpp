#include "apps/zel-regsvr/ComponentList.h"

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "com/ComPtr.h"
#include "com/Components.h"
#include "com/Guid.h"

#include "RegsvrTexts.h"

#include <algorithm>

namespace {

bool IsPlugin(const SComponentInfo& component)
{
    return std::ranges::find(component.categories, CATID_ZELProcessorFactory) != component.categories.end();
}

/// Why the class cannot be used; empty when it can.
std::wstring FaultOf(const SComponentInfo& component)
{
    CComPtr<IUnknown> object;
    std::wstring error;
    const IID& iid = IsPlugin(component) ? ComIid<IWQ_ZELProcessorFactory>() : ComIid<IUnknown>();
    static_cast<void>(CreateComponent(component.id, iid, object.PutVoid(), error));
    return error;
}

std::wstring Described(const SComponentInfo& component, const std::wstring& fault)
{
    std::wstring text = GuidToText(component.id);
    if (!component.name.empty())
        text += L" " + component.name;
    const auto add = [&text](const STextCode& what, const std::wstring& value) {
        text += L"\n   " + WQ_ModuleText(what, {value});
    };
    add(RegsvrTexts::IDS_LIST_MODULE, component.modulePath);
    add(RegsvrTexts::IDS_LIST_SOURCE, component.source);
    if (!fault.empty())
        add(RegsvrTexts::IDS_LIST_FAULT, fault);
    return text + L"\n";
}

} // namespace

std::wstring ListOfComponents(bool& isBroken)
{
    std::vector<std::wstring> errors;
    LoadDefaultComponentFolders(errors);
    std::wstring plugins;
    std::wstring others;
    int number = 0;
    isBroken = !errors.empty();
    for (const SComponentInfo& component : ListComponents(CATID_ZELProcessorFactory)) {
        if (component.source.empty())
            continue; // of this program itself
        const std::wstring fault = FaultOf(component);
        isBroken = isBroken || !fault.empty();
        if (IsPlugin(component))
            plugins += std::to_wstring(++number) + L". " + Described(component, fault);
        else
            others += L"-  " + Described(component, fault);
    }
    std::wstring text = plugins + others;
    for (const std::wstring& error : errors)
        text += WQ_ModuleText(RegsvrTexts::IDS_BROKEN, {error}) + L"\n";
    return text;
}
