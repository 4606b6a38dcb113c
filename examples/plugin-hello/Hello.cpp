// A plug-in that greets: <Request><Task Type="Hello"><Name>Ada</Name></Task></Request>

#include <ZEL_Processor/ZelPlugin.h>

namespace {

class CHelloTask : public CZelTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override
    {
        CZelParameters parameters(task);
        return parameters.Get(L"Name", m_strName) || Fail(L"who is to be greeted? " + parameters.Error());
    }
    [[nodiscard]] const CString& Greeting() const { return m_strGreeting; }

protected:
    bool Work(CZelProcessorContext& context, CZelProcessorProgress& progress) override
    {
        progress.SetRange(0, m_strName.size());
        for (std::size_t letter = 0; letter < m_strName.size() && !context.IsCanceled(); ++letter) {
            m_strGreeting += m_strName[letter];
            progress.SetPos(letter + 1);
        }
        return true;
    }

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
    std::vector<CString> Types() override { return {L"Hello"}; }
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

ZEL_PLUGIN_FACTORY(CHelloFactory)
