#include <ZEL_Processor/ZelPlugin.h>

#include <stdexcept>

namespace {

constexpr CLSID kThrowingId = {0x5D1B7E20, 0x3A44, 0x4F0B, {0x8C, 0x11, 0x20, 0x61, 0x7D, 0x00, 0x00, 0x01}};

/// A factory that can't be made.
class CThrowingFactory : public CZelXmlFactory {
public:
    CThrowingFactory() { throw std::runtime_error("this plug-in throws when it is made"); }

protected:
    std::vector<CString> Types() override { return {}; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString&) override { return {}; }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override { return {}; }
};

} // namespace

ZEL_PLUGIN_MODULE(ZelPluginClass<CThrowingFactory>(kThrowingId, L"Throwing"))
