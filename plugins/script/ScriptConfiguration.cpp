#include "plugins/script/ScriptConfiguration.h"

#include "com/Registration.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/OsError.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "platform/Trust.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <string>

namespace {

using Json = nlohmann::json;

constexpr const wchar_t* kFile = L"script-tasks.json";
constexpr std::size_t kLongestFile = 1024 * 1024;
constexpr std::size_t kMostTasks = 1000;
constexpr std::size_t kMostWords = 1000;
constexpr std::size_t kLongestType = 200;
constexpr std::uint64_t kUsualMebibytes = 1024;
constexpr std::uint64_t kMostMebibytes = 1'000'000;
constexpr const wchar_t* kFolderWord = L"{folder}";

/// What is wrong with the file, for whoever wrote it.
class CMistake : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string Quoted(const std::string& word)
{
    constexpr std::size_t kLongest = 100;
    return "\"" + word.substr(0, kLongest) + "\"";
}

/// A key that nobody reads would be a spelling that nobody sees.
void ExpectKeys(const Json& object, const std::string& where, std::initializer_list<std::string_view> known)
{
    if (!object.is_object())
        throw CMistake(where + " is no object");
    for (const auto& [key, value] : object.items()) {
        if (std::ranges::find(known, key) == known.end())
            throw CMistake(where + " has " + Quoted(key) + ", which is nothing");
    }
}

CString TextOf(const Json& value, const std::string& where)
{
    if (!value.is_string() || value.get_ref<const std::string&>().empty())
        throw CMistake(where + " is no text, or an empty one");
    CString text = platform::FromUtf8(value.get_ref<const std::string&>());
    if (std::ranges::find(text, L'\0') != text.end())
        throw CMistake(where + " has a character that no program can be told");
    return text;
}

CString InFolder(CString word, const CString& folder)
{
    for (std::size_t at = word.find(kFolderWord); at != CString::npos; at = word.find(kFolderWord, at + folder.size()))
        word.replace(at, CString(kFolderWord).size(), folder);
    return word;
}

void ReadCommand(const Json& task, const std::string& where, const CString& folder, SScriptTask& read)
{
    const auto command = task.find("command");
    if (command == task.end() || !command->is_array() || command->empty() || command->size() > kMostWords)
        throw CMistake(where + " has no \"command\": a list of a program and its arguments");
    for (const Json& word : *command)
        read.arguments.push_back(InFolder(TextOf(word, "a word of the command of " + where), folder));
    read.program = read.arguments.front();
    read.arguments.erase(read.arguments.begin());
    const bool isName = std::ranges::none_of(read.program, platform::IsPathSeparator);
    if (!isName && !platform::StandardPath(read.program).is_absolute())
        throw CMistake("the program of " + where +
                       " is neither a full path nor a name alone; \"{folder}\" is the "
                       "folder of this file");
}

SScriptTask ReadTask(const std::string& type, const Json& task, const CString& folder)
{
    const std::string where = "the task " + Quoted(type);
    SScriptTask read;
    read.type = platform::FromUtf8(type);
    if (read.type.empty() || read.type.size() > kLongestType)
        throw CMistake(where + " has a name that is empty or too long");
    ExpectKeys(task, where, {"command", "response", "responseLimit"});
    ReadCommand(task, where, folder, read);
    const std::string response = task.value("response", Json("output")).is_string()
                                     ? task.value("response", std::string("output"))
                                     : std::string();
    if (response != "output" && response != "file")
        throw CMistake("the \"response\" of " + where + " is neither \"output\" nor \"file\"");
    read.writesFile = response == "file";
    const Json mebibytes = task.value("responseLimit", Json(kUsualMebibytes));
    if (!mebibytes.is_number_unsigned() || mebibytes.get<std::uint64_t>() < 1 ||
        mebibytes.get<std::uint64_t>() > kMostMebibytes)
        throw CMistake("the \"responseLimit\" of " + where + " is no number of MiB from 1 to " +
                       std::to_string(kMostMebibytes));
    read.longestResponse = mebibytes.get<std::uint64_t>() << 20;
    return read;
}

} // namespace

CString CScriptConfiguration::Path()
{
    CString path = platform::Environment(L"ZEL_SCRIPT_TASKS");
    if (!path.empty())
        return platform::AbsolutePath(path);
    for (const eRegistrationScope scope : {eRegistrationScope_User, eRegistrationScope_System}) {
        const CString components = RegistrationFolder(scope);
        path = components.empty() ? components : platform::JoinPath(platform::DirectoryOf(components), kFile);
        if (!path.empty() && platform::PathExists(path))
            return path;
    }
    return {};
}

bool CScriptConfiguration::Load(const CString& path, CString& error)
{
    m_tasks.clear();
    // Whoever may write there could run anything in the name of the server.
    error = platform::PathExists(path) ? platform::DistrustOf(path) : CString();
    std::string json;
    if (error.empty()) {
        const platform::eOsError result =
            platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, json, kLongestFile);
        if (!platform::Succeeded(result))
            error = path + L": " + platform::OsErrorText(result);
    }
    if (!error.empty())
        return false;
    const bool isRead = Read(json, platform::DirectoryOf(path), error);
    if (!isRead)
        error.insert(0, path + L": ");
    return isRead;
}

bool CScriptConfiguration::Read(std::string_view json, const CString& folder, CString& error)
{
    m_tasks.clear();
    try {
        const Json file = Json::parse(json);
        ExpectKeys(file, "the file", {"tasks"});
        const auto tasks = file.find("tasks");
        if (tasks == file.end() || !tasks->is_object() || tasks->size() > kMostTasks)
            throw CMistake("there is no object \"tasks\" with at most " + std::to_string(kMostTasks) + " tasks");
        std::vector<SScriptTask> read;
        for (const auto& [type, task] : tasks->items())
            read.push_back(ReadTask(type, task, folder));
        m_tasks = std::move(read);
        return true;
    } catch (const Json::exception& exception) {
        error = L"no JSON: " + platform::FromUtf8(exception.what());
    } catch (const CMistake& mistake) {
        error = platform::FromUtf8(mistake.what());
    }
    error += L".";
    return false;
}

const SScriptTask* CScriptConfiguration::Find(const CString& type) const
{
    const auto found = std::ranges::find(m_tasks, type, &SScriptTask::type);
    return found == m_tasks.end() ? nullptr : &*found;
}
