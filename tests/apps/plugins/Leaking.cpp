#include <ZEL_Processor/ZelPlugin.h>

#include <vector>

namespace {

constexpr CLSID kLeakingId = {0x5D1B7E20, 0x3A44, 0x4F0B, {0x8C, 0x11, 0x20, 0x61, 0x7D, 0x00, 0x00, 0x04}};

class CKeptTask : public CZelTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode*) override { return true; }

protected:
    bool Work(CZelProcessorContext&, CZelProcessorProgress&) override { return true; }
};

/// Never lets a task go.
std::vector<CComPtr<CKeptTask>> keptTasks;

class CKeptResponse : public CZelXmlResponse<CKeptTask> {
protected:
    bool Write(CKeptTask&, CZelXmlWriter& xml) override
    {
        xml.Open("Response");
        xml.Close();
        return true;
    }
};

class CLeakingFactory : public CZelXmlFactory {
protected:
    std::vector<CString> Types() override { return {L"Leak"}; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString&) override
    {
        keptTasks.push_back(ZelMake<CKeptTask>());
        return CComPtr<IWQ_ZELProcessorTask>(keptTasks.back().Get());
    }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override
    {
        return CComPtr<IWQ_ZELProcessorResponse>(ZelMake<CKeptResponse>().Get());
    }
};

} // namespace

ZEL_PLUGIN_MODULE(ZelPluginClass<CLeakingFactory>(kLeakingId, L"Leaking"))
