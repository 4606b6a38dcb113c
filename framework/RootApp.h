#pragma once

#include "platform/Export.h"

#include <functional>
#include <memory>
#include <string>

class CWQ_ComModule;

/// What the framework knows of a module that takes part in an application.
struct SWQ_ModuleState {
    std::string resource; ///< name of its text table
    std::wstring path;    ///< of the file it was loaded from
};

/// The texts of a module in one language.
struct SWQ_LangRC {
    std::string module;   ///< name of the text table
    std::string language; ///< "de" for German; empty for the choice of the environment
};

/// The host's root application, to which the modules of a process turn when they start. The default one is enough for a
/// program without a framework of its own; a host installs its own with SetWQ_RootApp, before the modules start.
class ZEL_FRAMEWORK_API CWQ_RootApp {
public:
    CWQ_RootApp();
    virtual ~CWQ_RootApp();
    CWQ_RootApp(const CWQ_RootApp&) = delete;
    CWQ_RootApp& operator=(const CWQ_RootApp&) = delete;

    /// A module that is about to start: InitInstance follows.
    virtual void SetModuleState(const SWQ_ModuleState& state);
    /// False ends the start of the module.
    virtual bool InitInstance();
    /// A module ends; the result is the exit code that the application would have.
    virtual int ExitInstance();
    /// The language of this application for a module's texts: that of framework/Language.h.
    virtual SWQ_LangRC FindLangRC(const std::string& moduleName);
    /// The COM module of the last module that started, null when it ended.
    virtual void SetAtlModule(CWQ_ComModule* module);

    [[nodiscard]] CWQ_ComModule* AtlModule() const { return m_pAtlModule; }
    [[nodiscard]] const SWQ_ModuleState& ModuleState() const { return m_state; }

private:
    SWQ_ModuleState m_state;
    CWQ_ComModule* m_pAtlModule = nullptr;
};

/// The root application in force.
[[nodiscard]] ZEL_FRAMEWORK_API CWQ_RootApp& WQ_RootApp();
/// Installs another one, null for the default; returns what was installed before (null for the default). Not owned.
ZEL_FRAMEWORK_API CWQ_RootApp* SetWQ_RootApp(CWQ_RootApp* app);

/// Base of a module's application object: what the module keeps for the whole process goes when the host says so, and
/// not in the order in which libraries happen to be unloaded.
class ZEL_FRAMEWORK_API CWQ_HelpSupportApp {
public:
    CWQ_HelpSupportApp();
    virtual ~CWQ_HelpSupportApp();
    CWQ_HelpSupportApp(const CWQ_HelpSupportApp&) = delete;
    CWQ_HelpSupportApp& operator=(const CWQ_HelpSupportApp&) = delete;

    /// What releases a global instance. Each is called once, the last one first.
    void AddGlobalInstance(std::function<void()> release);
    virtual void OnFreeGlobalInstances();

private:
    struct SState;
    const std::unique_ptr<SState> m_pState;
};

/// The texts that string codes are resolved with, process-wide. Setting them chooses the language of the process.
[[nodiscard]] ZEL_FRAMEWORK_API SWQ_LangRC WQ_StringCodeResource();
ZEL_FRAMEWORK_API void SetWQ_StringCodeResource(const SWQ_LangRC& resource);
