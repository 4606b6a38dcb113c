#pragma once

#include "CallGate.h"
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelServerInfo.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/ComPtr.h"
#include "framework/AutoInterfaceArray.h"

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// The plug-in factories of the component category, in category order, with one reference to each.
class CZelProcessorFactories {
public:
    /// Fills the collection anew. A component that can't be created, or is no factory, is left out with a warning in
    /// the log that names it and the reason. True when there is at least one.
    bool LoadFactories();
    /// Adds one behind those that are there. isAlone: it serves one request at a time.
    void Add(IWQ_ZELProcessorFactory& factory, bool isAlone = false)
    {
        m_factories.Add(&factory);
        m_classes.push_back(GUID_NULL);
        m_isAlone.push_back(isAlone);
    }
    /// Through which all go that use classes of which one object at a time may be used; null: nobody else uses them.
    /// wait: enters it for this one while others are in; false when there is no more sense in that.
    void SetGate(CCallGate* alone, std::function<bool(const void* who)> wait = {})
    {
        m_pAlone = alone;
        m_wait = std::move(wait);
    }
    /// What was looked for last was not found because the wait for a class that others use was given up.
    [[nodiscard]] bool HasGivenUp() const { return m_bGivenUp; }
    /// Of whatever was found nothing is used any more.
    void EndUse()
    {
        m_bUsed = false;
        if (m_pAlone)
            m_pAlone->Leave(this);
    }
    /// The next loading looks for components again, instead of taking those that the process found first.
    static void ForgetCategory();

    /// Each asks the factories in order; the first that accepts supplies the result, which is null when none does.
    /// One that serves one request at a time is waited for while another thread uses such a one, and used by nobody
    /// else from when it has accepted until EndUse.
    [[nodiscard]] CComPtr<IWQ_ZELProcessorRequest> FindRequest(const wchar_t* path) const;
    /// Tells whether a factory accepted, since one may accept and give nothing.
    [[nodiscard]] bool FindTask(const wchar_t* type, CComPtr<IWQ_ZELProcessorTask>& task) const;
    /// Waits for as long as goOn says instead: what the response is made of is there already.
    [[nodiscard]] CComPtr<IWQ_ZELProcessorResponse> FindResponse(
        IWQ_ZELProcessorRequest* request, const std::function<bool()>& goOn = [] { return true; }) const;

    /// The types of tasks that the factories serve, of those that tell.
    [[nodiscard]] std::vector<CString> TaskTypes() const;
    /// The plug-ins in their order, each with its types; one that was added has no name and no module.
    [[nodiscard]] std::vector<SZelServerPlugin> Describe() const;
    /// Why components were left out, of this process, since the category was forgotten.
    [[nodiscard]] static std::vector<std::wstring> LeftOut();

    [[nodiscard]] const CAutoInterfaceArray<IWQ_ZELProcessorFactory>& GetArray() const { return m_factories; }

private:
    template <class Result, class Ask, class Wait>
    bool FindFirst(const Ask& ask, CComPtr<Result>& result, const Wait& wait) const;
    template <class Result, class Ask>
    bool AskOne(std::size_t index, const Ask& ask, CComPtr<Result>& result) const;

    CAutoInterfaceArray<IWQ_ZELProcessorFactory> m_factories;
    std::vector<CLSID> m_classes; ///< of the same order; null for one that was added
    std::vector<bool> m_isAlone;  ///< of the same order
    CCallGate* m_pAlone = nullptr;
    std::function<bool(const void* who)> m_wait;
    mutable bool m_bGivenUp = false; ///< the last time
    mutable bool m_bUsed = false;    ///< one that serves one request at a time has accepted
};

/// For objects that can't do without factories: shows the error box and throws CUserException.
[[noreturn]] void ThrowNoFactory();
