#pragma once

#include "ZEL_Processor/ZelPlugin.h"
#include "com/Bstr.h"

#include <functional>
#include <string>

/// A plug-in inside the test program whose every step a test can replace. Two factories are in the category for the
/// life of the process, unless a test takes them out, because the category is read once; outside a CScriptedPlugin both
/// of them decline everything.
struct SPluginScript {
    std::function<bool(const std::wstring& path)> createRequest = [](const std::wstring&) { return true; };
    std::function<bool(std::wstring& xml)> getXml = [](std::wstring& xml) {
        xml = L"<Request><Task Type=\"Scripted\"><Text>x</Text></Task></Request>";
        return true;
    };
    std::wstring errorText;
    std::function<bool(const std::wstring& type)> createTask = [](const std::wstring&) { return true; };
    bool givesTask = true;
    std::function<bool(IXMLDOMNode* task)> init = [](IXMLDOMNode*) { return true; };
    /// Empty: the task has no readiness interface.
    std::function<bool(bool force)> canProcess;
    std::function<bool(CZelProcessorContext*, CZelProcessorProgress*)> obtainData =
        [](CZelProcessorContext*, CZelProcessorProgress*) { return true; };
    std::function<bool()> createResponse = [] { return true; };
    std::function<bool(IWQ_ZELProcessorTask*)> setTask = [](IWQ_ZELProcessorTask*) { return true; };
    /// Without one the response "<Response/>" is written.
    std::function<bool(const std::wstring& path)> save;
    std::wstring saveErrorText; ///< the response's own words
    /// Called as an object of the script goes: "request", "task" or "response".
    std::function<void(const std::wstring& object)> released;
};

/// Puts scripts behind the two factories: the first in category order, and optionally the second. One at a time.
class CScriptedPlugin {
public:
    explicit CScriptedPlugin(SPluginScript& first, SPluginScript* second = nullptr);
    ~CScriptedPlugin();
    CScriptedPlugin(const CScriptedPlugin&) = delete;
    CScriptedPlugin& operator=(const CScriptedPlugin&) = delete;

    /// The factories can't be made while the object lives, as when no plug-in is installed.
    static void SetInstalled(bool installed);
    /// The factories are in the category, or it has no item at all.
    static void SetListed(bool listed);
    /// Objects of the scripts that are alive.
    [[nodiscard]] static bool HasLiveObjects();
};
