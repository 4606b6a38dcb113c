// A plug-in that greets: <Request><Task Type="Hello"><Name>Ada</Name></Task></Request>

#include <ZEL_Processor/ZelPlugin.h>

namespace {

constexpr CLSID kHelloFactoryId = {0x6D1F2B3A, 0x94C7, 0x4E58, {0xA0, 0x1B, 0x7C, 0x35, 0xD2, 0xE6, 0x48, 0xF9}};

class CHelloTask : public CZelObject<IWQ_ZELProcessorTask> {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override
    {
        return CXMLTools::GetNodeValue(task, L"Name", m_strName);
    }
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override
    {
        progress->SetRange(0, m_strName.size());
        for (std::size_t letter = 0; letter < m_strName.size() && !context->IsCanceled(); ++letter) {
            m_strGreeting += m_strName[letter];
            progress->SetPos(letter + 1);
        }
        return true;
    }
    [[nodiscard]] const CString& Greeting() const { return m_strGreeting; }

private:
    CString m_strName;
    CString m_strGreeting = L"Hello, ";
};

class CHelloResponse : public CZelXmlResponse<CHelloTask> {
protected:
    bool Write(CHelloTask& task, CZelXmlWriter& xml) override
    {
        xml.Open("Response");
        xml.Element("Greeting", task.Greeting());
        xml.Close();
        return true;
    }
};

class CHelloFactory : public CZelXmlFactory {
protected:
    bool TakesType(const CString& type) override { return type == L"Hello"; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString& type) override
    {
        return TakesType(type) ? CComPtr<IWQ_ZELProcessorTask>(ZelMake<CHelloTask>().Get()) : nullptr;
    }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override
    {
        return CComPtr<IWQ_ZELProcessorResponse>(ZelMake<CHelloResponse>().Get());
    }
};

} // namespace

ZEL_PLUGIN_MODULE(ZelPluginClass<CHelloFactory>(kHelloFactoryId, L"Hello"))
