#include <ZEL_Processor/ZelPlugin.h>

#include <cstdlib>

namespace {

constexpr CLSID kBareId = {0x5D1B7E20, 0x3A44, 0x4F0B, {0x8C, 0x11, 0x20, 0x61, 0x7D, 0x00, 0x00, 0x05}};

/// Crashes, in a module without debug information.
class CBareFactory : public CZelXmlFactory {
protected:
    std::vector<CString> Types() override { return {L"Bare"}; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString&) override { std::abort(); }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override { return {}; }
};

} // namespace

ZEL_PLUGIN_MODULE(ZelPluginClass<CBareFactory>(kBareId, L"Bare"))
