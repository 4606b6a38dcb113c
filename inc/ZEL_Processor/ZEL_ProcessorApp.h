#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "framework/RootApp.h"

#include <memory>

class CWQ_ComModule;

/// The library's application object, one per process: it starts the library inside the host's application and holds its
/// COM module. A host calls InitInstance once, in its main, and OnFreeGlobalInstances and ExitInstance at its end. What
/// uses the library's C++ classes alone works without; its texts are English then.
class ZEL_API CZEL_ProcessorApp : public CWQ_HelpSupportApp {
public:
    /// For ZEL_ProcessorApp and for tests.
    CZEL_ProcessorApp();
    ~CZEL_ProcessorApp() override;

    /// Starts the COM module, then the root application (framework/RootApp.h), takes the language of the string codes
    /// from it and hands it the COM module. False when the COM module or the root application does not start; nothing
    /// is left to end then.
    bool InitInstance();
    /// Ends the COM module, then the root application, whose result this is. Nothing, and 0, without a start that was
    /// successful, or when it has ended already.
    int ExitInstance();
    /// Forgets which plug-ins there are, then what the base class was told to release. Not while a server runs.
    void OnFreeGlobalInstances() override;

    [[nodiscard]] CWQ_ComModule& ComModule();

private:
    struct SState;
    std::unique_ptr<SState> m_pState;
};

/// The one of the process, made at the first call.
[[nodiscard]] ZEL_API CZEL_ProcessorApp& ZEL_ProcessorApp();
