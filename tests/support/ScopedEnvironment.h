#pragma once

#include "platform/Module.h"

#include <string>
#include <utility>
#include <vector>

/// Sets variables of this process for the life of the object; an empty value removes one. On the main thread, while no
/// other runs.
class CScopedEnvironment {
public:
    explicit CScopedEnvironment(const std::vector<std::pair<std::wstring, std::wstring>>& variables)
    {
        for (const auto& [name, value] : variables) {
            m_old.emplace_back(name, platform::Environment(name.c_str()));
            platform::SetEnvironment(name.c_str(), value);
        }
    }
    CScopedEnvironment(const std::wstring& name, const std::wstring& value)
        : CScopedEnvironment(std::vector<std::pair<std::wstring, std::wstring>>{{name, value}})
    {}
    ~CScopedEnvironment()
    {
        for (const auto& [name, value] : m_old)
            platform::SetEnvironment(name.c_str(), value);
    }
    CScopedEnvironment(const CScopedEnvironment&) = delete;
    CScopedEnvironment& operator=(const CScopedEnvironment&) = delete;

private:
    std::vector<std::pair<std::wstring, std::wstring>> m_old;
};

/// The variables that choose the language of the texts, all of them, so that none of the machine's is left over.
[[nodiscard]] inline std::vector<std::pair<std::wstring, std::wstring>> LocaleVariables(
    const std::wstring& lang, const std::wstring& language = {})
{
    return {{L"LC_ALL", L""}, {L"LC_MESSAGES", L""}, {L"LANG", lang}, {L"LANGUAGE", language}};
}
