#include "framework/texts/TextTable.h"

#include "framework/Services.h"
#include "platform/Mutex.h"
#include "platform/NeverDestroyed.h"
#include "platform/Text.h"

#include "SystemTexts.h"

#include <charconv>
#include <optional>

namespace {

std::string Unescape(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        ++i;
        switch (text[i]) {
        case 'n': result += '\n'; break;
        case 't': result += '\t'; break;
        case '\\': result += '\\'; break;
        default: // no escape: a path in a text keeps its backslashes
            result += '\\';
            result += text[i];
        }
    }
    return result;
}

/// All tables of the process.
class CTextTables {
public:
    CTextTables() { Add(SystemTexts::kModule); }

    void Add(const STextModule& module)
    {
        const platform::CMutexLock lock(m_cs);
        std::map<std::string, SLanguage, std::less<>>& languages = m_modules[module.name];
        for (const STextResource& resource : module.languages)
            languages.try_emplace(std::string(resource.language), SLanguage{resource.bytes, std::nullopt});
    }

    const CTextTable* Find(std::string_view moduleName, std::string_view language)
    {
        const platform::CMutexLock lock(m_cs);
        const auto module = m_modules.find(moduleName);
        if (module == m_modules.end())
            return nullptr;
        const auto found = module->second.find(language);
        if (found == module->second.end())
            return nullptr;
        SLanguage& texts = found->second;
        if (!texts.table)
            texts.table.emplace(texts.bytes);
        return &*texts.table;
    }

    std::vector<std::string> Languages(std::string_view moduleName)
    {
        const platform::CMutexLock lock(m_cs);
        std::vector<std::string> names;
        if (const auto module = m_modules.find(moduleName); module != m_modules.end()) {
            for (const auto& [name, texts] : module->second)
                names.push_back(name);
        }
        return names;
    }

private:
    struct SLanguage {
        std::string_view bytes;
        std::optional<CTextTable> table; ///< once it was asked for
    };

    platform::CMutex m_cs;
    std::map<std::string, std::map<std::string, SLanguage, std::less<>>, std::less<>> m_modules ZEL_GUARDED_BY(m_cs);
};

CTextTables& Tables()
{
    static CNeverDestroyed<CTextTables> tables;
    return tables.Get();
}

} // namespace

CTextTable::CTextTable(std::string_view resource)
{
    while (!resource.empty()) {
        const std::size_t end = resource.find('\n');
        std::string_view line = resource.substr(0, end);
        if (!line.empty() && line.back() == '\r') // a checkout may have turned the line ends
            line.remove_suffix(1);
        AddLine(line);
        resource.remove_prefix(end == std::string_view::npos ? resource.size() : end + 1);
    }
}

void CTextTable::AddLine(std::string_view line)
{
    if (line.empty() || line.front() == '#')
        return;
    const std::size_t first = line.find('\t');
    const std::size_t second = first == std::string_view::npos ? first : line.find('\t', first + 1);
    if (second == std::string_view::npos)
        return;
    unsigned id = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + first, id);
    if (error != std::errc() || end != line.data() + first)
        return;
    STextEntry& entry = m_entries[id];
    entry.codeName = line.substr(first + 1, second - first - 1);
    entry.text = platform::FromUtf8(Unescape(line.substr(second + 1)));
}

const STextEntry* CTextTable::FindEntry(unsigned id) const
{
    const auto found = m_entries.find(id);
    return found == m_entries.end() ? nullptr : &found->second;
}

void CTextTable::Register(const STextModule& module)
{
    Tables().Add(module);
}

const CTextTable* CTextTable::Find(std::string_view moduleName, std::string_view language)
{
    return Tables().Find(moduleName, language);
}

std::vector<std::string> CTextTable::Languages(std::string_view moduleName)
{
    return Tables().Languages(moduleName);
}

std::wstring WQ_ModuleText(const STextCode& code, const std::vector<std::wstring>& arguments)
{
    CTextTable::Register(*code.module);
    const CWQ_SetResource resource(code.module->name);
    return FormatText(RootApp_RSC_CStr(code.id, code.name), arguments);
}
