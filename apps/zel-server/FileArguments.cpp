#include "apps/zel-server/FileArguments.h"

#include "apps/common/ArgumentMistakes.h"
#include "apps/common/ShownText.h"
#include "apps/common/Suggestion.h"
#include "apps/zel-server/OptionsFile.h"
#include "apps/zel-server/ServerParser.h"
#include "platform/FileSystem.h"
#include "platform/NameKind.h"
#include "platform/Text.h"

#include "CommonTexts.h"
#include "ServerTexts.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>

namespace {

/// What is done once, by whoever calls the program.
constexpr std::string_view kNotInFiles[] = {"check", "check-config", "config",       "drain",  "help",
                                            "json",  "service",      "service-name", "version"};
constexpr std::string_view kPaths[] = {"components", "log-file", "output-dir", "request-dir"};

bool ReadBytes(const std::wstring& path, std::string& bytes, std::wstring& error)
{
    if (platform::DirectoryExists(path) || platform::NameKind(path) == platform::eNameKind_Other) {
        error = ShownText(ServerTexts::IDS_CONFIG_IS_NO_FILE, {path});
        return false;
    }
    const platform::eOsError read =
        platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, OptionsFile::kLargestFile);
    if (platform::Succeeded(read))
        return true;
    error = read == platform::eOsError_NotSupported
                ? ShownText(ServerTexts::IDS_CONFIG_TOO_LARGE, {path, std::to_wstring(OptionsFile::kLargestFile)})
                : ShownText(ServerTexts::IDS_CONFIG_UNREADABLE, {path, platform::OsErrorText(read)});
    return false;
}

std::wstring TextOf(OptionsFile::eMistake mistake)
{
    switch (mistake) {
    case OptionsFile::eMistake_TooLong:
        return WQ_ModuleText(ServerTexts::IDS_CONFIG_LINE_TOO_LONG, {std::to_wstring(OptionsFile::kLongestLine)});
    case OptionsFile::eMistake_NotUtf8: return WQ_ModuleText(ServerTexts::IDS_CONFIG_NOT_UTF8);
    case OptionsFile::eMistake_ControlCharacter: return WQ_ModuleText(ServerTexts::IDS_CONFIG_CONTROL_CHARACTER);
    case OptionsFile::eMistake_Quotes: return WQ_ModuleText(ServerTexts::IDS_CONFIG_QUOTES);
    case OptionsFile::eMistake_NoOption:
    case OptionsFile::eMistake_None: break;
    }
    return WQ_ModuleText(ServerTexts::IDS_CONFIG_NO_OPTION);
}

std::wstring At(const std::wstring& path, std::size_t line, const std::wstring& text)
{
    return ShownText(ServerTexts::IDS_CONFIG_LINE, {path, std::to_wstring(line), text});
}

/// The options that a file may have.
std::vector<std::wstring> KnownNames(const CLI::App& app)
{
    std::vector<std::wstring> names;
    for (const CLI::Option* const option : app.get_options()) {
        if (const std::string& name = option->get_lnames().front(); std::ranges::count(kNotInFiles, name) == 0)
            names.push_back(platform::FromUtf8(name));
    }
    return names;
}

std::wstring NotKnown(const CLI::App& app, const std::string& name)
{
    const std::wstring word = platform::FromUtf8(name);
    const std::wstring meant = NearestWord(word, KnownNames(app));
    return meant.empty() ? WQ_ModuleText(CommonTexts::IDS_NOT_UNDERSTOOD, {ShownWord(word)})
                         : WQ_ModuleText(CommonTexts::IDS_DID_YOU_MEAN, {ShownWord(word), meant});
}

/// As the file means it, whoever reads it and wherever he is.
std::string WholePath(const std::string& value, const std::wstring& file)
{
    const auto pathOf = [](const std::string& text) {
        return std::filesystem::path(std::u8string(text.begin(), text.end()));
    };
    const std::u8string whole = (pathOf(platform::ToUtf8(file)).parent_path() / pathOf(value)).u8string();
    return {whole.begin(), whole.end()};
}

/// Empty, with the argument that a line stands for, which is none for a switch that is off; or what is wrong with it.
std::wstring ArgumentOf(const OptionsFile::SLine& line, const std::wstring& file, CServerParser& parser,
                        std::wstring& argument)
{
    const CLI::Option* const option = parser.App().get_option_no_throw("--" + line.name);
    if (option == nullptr || line.name.starts_with('-'))
        return NotKnown(parser.App(), line.name);
    const std::wstring name = platform::FromUtf8(line.name);
    if (std::ranges::count(kNotInFiles, line.name) != 0)
        return WQ_ModuleText(ServerTexts::IDS_CONFIG_NOT_IN_FILES, {name});
    if (line.value.empty())
        return WQ_ModuleText(CommonTexts::IDS_OPTION_NEEDS_VALUE, {name});
    if (option->get_items_expected_max() == 0) {
        if (line.value == "true")
            argument = L"--" + name;
        else if (line.value != "false")
            return WQ_ModuleText(ServerTexts::IDS_CONFIG_SWITCH, {name, ShownWord(platform::FromUtf8(line.value))});
        return {};
    }
    const bool isPath = std::ranges::count(kPaths, line.name) != 0;
    argument = L"--" + name + L"=" + platform::FromUtf8(isPath ? WholePath(line.value, file) : line.value);
    const auto mistake = FindArgumentMistake(parser.App(), {argument});
    return mistake ? mistake->text : std::wstring();
}

bool IsRepeatable(const CLI::App& app, const std::string& name)
{
    return app.get_option("--" + name)->get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
}

} // namespace

bool CFileArguments::Read(const std::wstring& path, CLI::App& commandLine, std::wstring& error)
{
    m_path = path;
    std::string bytes;
    if (!ReadBytes(path, bytes, error))
        return false;
    const OptionsFile::SContent content = OptionsFile::Parse(bytes);
    CServerParser parser;
    std::set<std::string> seen;
    for (const OptionsFile::SLine& line : content.lines) {
        std::wstring argument;
        std::wstring wrong = ArgumentOf(line, path, parser, argument);
        if (wrong.empty() && !seen.insert(line.name).second && !IsRepeatable(parser.App(), line.name))
            wrong = WQ_ModuleText(CommonTexts::IDS_OPTION_TWICE, {platform::FromUtf8(line.name)});
        if (!wrong.empty()) {
            error = At(path, line.number, wrong);
            return false;
        }
        if (argument.empty() || commandLine.get_option("--" + line.name)->count() != 0)
            continue;
        m_arguments.push_back(argument);
        m_lines.emplace(line.name, line.number);
    }
    if (content.mistake == OptionsFile::eMistake_None)
        return true;
    error = At(path, content.mistakeLine, TextOf(content.mistake));
    return false;
}

std::wstring CFileArguments::Explain(const SArgumentMistake& mistake) const
{
    const auto line = m_lines.find(mistake.option);
    return line == m_lines.end() ? mistake.text : At(m_path, line->second, mistake.text);
}
