#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelServerInfo.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/ComPtr.h"
#include "framework/AutoInterfaceArray.h"

#include <string>
#include <vector>

/// The plug-in factories of the component category, in category order, with one reference to each.
class CZelProcessorFactories {
public:
    /// Fills the collection anew. A component that can't be created, or is no factory, is left out with a warning in
    /// the log that names it and the reason. True when there is at least one.
    bool LoadFactories();
    /// Adds one behind those that are there.
    void Add(IWQ_ZELProcessorFactory& factory)
    {
        m_factories.Add(&factory);
        m_classes.push_back(GUID_NULL);
    }
    /// The next loading looks for components again, instead of taking those that the process found first.
    static void ForgetCategory();

    /// Each asks the factories in order; the first that accepts supplies the result, which is null when none does.
    [[nodiscard]] CComPtr<IWQ_ZELProcessorRequest> FindRequest(const wchar_t* path) const;
    /// Tells whether a factory accepted, since one may accept and give nothing.
    [[nodiscard]] bool FindTask(const wchar_t* type, CComPtr<IWQ_ZELProcessorTask>& task) const;
    [[nodiscard]] CComPtr<IWQ_ZELProcessorResponse> FindResponse(IWQ_ZELProcessorRequest* request) const;

    /// The types of tasks that the factories serve, of those that tell.
    [[nodiscard]] std::vector<CString> TaskTypes() const;
    /// The plug-ins in their order, each with its types; one that was added has no name and no module.
    [[nodiscard]] std::vector<SZelServerPlugin> Describe() const;
    /// Why components were left out, of this process, since the category was forgotten.
    [[nodiscard]] static std::vector<std::wstring> LeftOut();

    [[nodiscard]] const CAutoInterfaceArray<IWQ_ZELProcessorFactory>& GetArray() const { return m_factories; }

private:
    CAutoInterfaceArray<IWQ_ZELProcessorFactory> m_factories;
    std::vector<CLSID> m_classes; ///< of the same order; null for one that was added
};

/// For objects that can't do without factories: shows the error box and throws CUserException.
[[noreturn]] void ThrowNoFactory();
