#pragma once

#include "ZEL_Processor/ZelPluginRequest.h"
#include "ZEL_Processor/ZelPluginResponse.h"

#include <algorithm>
#include <vector>

/// Base of a factory for XML requests. A derived class tells its types and makes the objects; what it throws makes the
/// factory decline. More: what the factory implements besides, IWQ_DsEventSource for example.
template <class... More>
class CZelXmlFactoryWith : public CZelObject<IWQ_ZELProcessorFactory, IWQ_ZELProcessorTaskTypes, More...> {
public:
    /// Takes the file when it is XML with a Task of a known type. Others are left to the next factory, so a file that
    /// is broken is nobody's.
    bool STDMETHODCALLTYPE CreateRequest(const wchar_t* path, IWQ_ZELProcessorRequest** request) override
    {
        return Give(request, [&] {
            if (path == nullptr)
                return CComPtr<CZelXmlRequest>();
            CComPtr<CZelXmlRequest> made = MakeRequest(path);
            return made && made->Load() && TakesType(made->TaskType()) ? made : CComPtr<CZelXmlRequest>();
        });
    }
    bool STDMETHODCALLTYPE CreateTask(const wchar_t* type, IWQ_ZELProcessorTask** task) override
    {
        return Give(task, [&] { return type == nullptr ? CComPtr<IWQ_ZELProcessorTask>() : MakeTask(type); });
    }
    /// Answers for requests of this module only.
    bool STDMETHODCALLTYPE CreateResponse(IWQ_ZELProcessorRequest* request,
                                          IWQ_ZELProcessorResponse** response) override
    {
        return Give(response, [&] {
            const auto own = ZelOwn<CZelXmlRequest>(request);
            return own ? MakeResponse(*own) : CComPtr<IWQ_ZELProcessorResponse>();
        });
    }
    bool STDMETHODCALLTYPE GetTaskTypes(BSTR* types) override
    {
        if (types == nullptr)
            return false;
        *types = nullptr;
        return SUCCEEDED(ZelComResult([&] {
            CString lines;
            for (const CString& type : Types())
                lines += type + L"\n";
            *types = CBstr(lines).Detach();
            return S_OK;
        }));
    }

protected:
    /// The types of tasks that the factory serves. Who sends another one is told them.
    [[nodiscard]] virtual std::vector<CString> Types() { return {}; }
    /// For a factory whose types are no list.
    [[nodiscard]] virtual bool TakesType(const CString& type)
    {
        const std::vector<CString> types = Types();
        return std::find(types.begin(), types.end(), type) != types.end();
    }
    /// Empty for a type that is not served.
    [[nodiscard]] virtual CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString& type) = 0;
    [[nodiscard]] virtual CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest& request) = 0;
    [[nodiscard]] virtual CComPtr<CZelXmlRequest> MakeRequest(const CString& path)
    {
        return ZelMake<CZelXmlRequest>(path);
    }

private:
    template <class Interface, class Maker>
    static bool Give(Interface** target, Maker&& maker) noexcept
    {
        if (target == nullptr)
            return false;
        *target = nullptr;
        return SUCCEEDED(ZelComResult([&] {
            *target = maker().Detach();
            return *target != nullptr ? S_OK : E_FAIL;
        }));
    }
};

using CZelXmlFactory = CZelXmlFactoryWith<>;
