#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelPluginObject.h"
#include "ZEL_Processor/ZelPluginProgress.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/Bstr.h"

#include <utility>

/// Base of a task that can say why it failed. A derived class has Init, and Work; or ObtainData in its place, which is
/// called with the server's own objects. More: what the task implements besides, IWQ_ZELProcessorTaskReadiness for
/// example.
template <class... More>
class CZelTaskWith : public CZelObject<IWQ_ZELProcessorTask, IWQ_ZELProcessorTaskError, More...> {
public:
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override
    {
        if (context == nullptr || progress == nullptr)
            return false;
        CZelPacedProgress paced(*progress, ProgressPause());
        return Work(*context, paced);
    }
    bool STDMETHODCALLTYPE GetErrorText(BSTR* text) override
    {
        if (text == nullptr)
            return false;
        *text = nullptr;
        return !m_strError.empty() && SUCCEEDED(ZelComResult([&] {
            *text = CBstr(m_strError).Detach();
            return S_OK;
        }));
    }

protected:
    /// Does the work. Ask the context often whether the request was cancelled; report progress as often as you like,
    /// for it is passed on in a pace of its own (CZelPacedProgress). Both are valid during the call only. False fails.
    [[nodiscard]] virtual bool Work(CZelProcessorContext& context, CZelProcessorProgress& progress)
    {
        static_cast<void>(context);
        static_cast<void>(progress);
        return Fail(L"the task has neither Work nor ObtainData.");
    }
    /// The pace of the progress; 0 passes every report on.
    [[nodiscard]] virtual std::chrono::milliseconds ProgressPause() const { return kZelProgressPause; }

    /// What the sender of the request is told, in a sentence: "return Fail(...)" in Init or Work. Always false.
    bool Fail(CString reason)
    {
        m_strError = std::move(reason);
        return false;
    }

private:
    CString m_strError;
};

using CZelTask = CZelTaskWith<>;
