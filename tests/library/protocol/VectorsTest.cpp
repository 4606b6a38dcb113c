#include "tests/support/ServerKit.h"

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "com/Guid.h"
#include "platform/Text.h"
#include "protocol/CommandFile.h"
#include "protocol/RegistrationAnswer.h"
#include "protocol/ServerInfoFile.h"
#include "protocol/ZelProcessorRequestStatusFile.h"
#include "tests/library/exchange/SampleEvents.h"

#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

// Every file of tests/vectors, read as the library reads it. What the files of each kind say is in
// tests/vectors/README.md.

namespace {

/// What a file says; nothing when its reader refuses it.
using Said = std::optional<std::string>;
using Reader = std::function<Said(const std::wstring& path)>;

/// Line ends as the lists of what is expected have them.
std::string Shown(const std::string& text)
{
    std::string shown;
    for (const char character : text)
        shown += character == '\r' ? "\\r" : character == '\n' ? "\\n" : std::string(1, character);
    return shown;
}

class Vectors : public CServerFixture {
protected:
    static std::wstring Folder(const std::string& kind, const std::string& name)
    {
        return platform::FromUtf8(ZEL_VECTORS_DIRECTORY "/" + kind + "/" + name);
    }
    static std::vector<std::string> Names(const std::wstring& folder)
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(folder, entries), platform::eOsError_None);
        EXPECT_FALSE(entries.empty());
        std::vector<std::string> names;
        for (const platform::SDirectoryEntry& entry : entries)
            names.push_back(platform::ToUtf8(entry.name));
        return names;
    }
    static std::map<std::string, std::string> Expected(const std::string& kind)
    {
        std::map<std::string, std::string> expected;
        std::istringstream lines(Read(Folder(kind, "expected.txt")));
        for (std::string line; std::getline(lines, line);) {
            const std::size_t tab = line.find('\t');
            EXPECT_NE(tab, std::string::npos) << line;
            expected[line.substr(0, tab)] = line.substr(tab + 1);
        }
        return expected;
    }
    static void Check(const std::string& kind, const Reader& read)
    {
        std::map<std::string, std::string> expected = Expected(kind);
        for (const std::string& name : Names(Folder(kind, "accepted"))) {
            SCOPED_TRACE(kind + "/accepted/" + name);
            const Said said = read(In(Folder(kind, "accepted"), platform::FromUtf8(name)));
            ASSERT_TRUE(expected.contains(name)) << "nothing is expected of it";
            EXPECT_EQ(said.value_or("refused"), expected[name]);
            expected.erase(name);
        }
        for (const auto& [name, text] : expected)
            ADD_FAILURE() << "There is no " << kind << "/accepted/" << name;
        for (const std::string& name : Names(Folder(kind, "refused")))
            EXPECT_EQ(read(In(Folder(kind, "refused"), platform::FromUtf8(name))), Said())
                << kind << "/refused/" << name;
    }
};

Said ReadStatus(const std::wstring& path)
{
    CZelProcessorRequestStatusFile file(L"ZelProcessor", path);
    CZelProcessorRequestStatusFile::SContent content;
    if (file.ReadContent(content) != CZelProcessorRequestStatusFile::eRead_Ok ||
        content.status == eRequestStatus_ClientError)
        return {};
    return std::to_string(content.status) + "\t" + (content.hasPercent ? std::to_string(content.percent) : "-") + "\t" +
           (content.hasComment ? Shown(platform::ToUtf8(content.comment)) : "-");
}

Said ReadCommand(const std::wstring& path)
{
    CommandFile::SContent content;
    if (CommandFile::Read(path, content) != CommandFile::eRead_Ok || content.type == eCommandType_NotInitialized)
        return {};
    const std::string type = content.type < CommandFile::kHoldQueue
                                 ? std::to_string(content.type)
                                 : platform::ToUtf8(CommandFile::WordOf(content.type));
    return type + "\t" + Shown(platform::ToUtf8(content.name));
}

Said ReadAnswer(const std::wstring& path)
{
    GUID id{};
    if (!platform::Succeeded(RegistrationAnswer::Read(path, id)) || IsEqualGUID(id, GUID{}))
        return {};
    return platform::ToUtf8(GuidToText(id));
}

std::string Listed(const std::vector<CString>& texts, const char* separator)
{
    std::string all;
    for (const CString& text : texts)
        all += (all.empty() ? "" : separator) + Shown(platform::ToUtf8(text));
    return all;
}

Said ReadServer(const std::wstring& path)
{
    SZelServerInfo info;
    if (!ServerInfoFile::Read(path, info))
        return {};
    std::vector<CString> plugins;
    for (const SZelServerPlugin& plugin : info.plugins)
        plugins.push_back(plugin.name + L" (" + plugin.module + L"): " +
                          platform::FromUtf8(Listed(plugin.taskTypes, ", ")));
    const std::string numbers =
        std::to_string(info.process) + "\t" + std::to_string(info.started) + "\t" + std::to_string(info.ended);
    return numbers + "\t" + Shown(platform::ToUtf8(info.version)) + "\t" + Shown(platform::ToUtf8(info.requestDir)) +
           "\t" + Listed(info.options, "; ") + "\t" + Listed(plugins, "; ") + "\t" + Listed(info.leftOut, "; ");
}

Said ReadEvents(const std::wstring& path)
{
    CDsEventsDataVector events;
    if (!CZELEnvFileDsEventsFile::ReadDsEventsFile(path, events))
        return {};
    std::string all;
    for (const CComPtr<IWQ_DsEventsData>& event : events) {
        std::string text;
        std::istringstream lines(SampleEvents::Describe(event));
        for (std::string line; std::getline(lines, line);)
            text += (text.empty() ? "" : "; ") + line;
        all += (all.empty() ? "" : " | ") + text;
    }
    return all;
}

std::string TextOfIds(IWQ_CLSIDArray& groups)
{
    std::string text;
    ULONGLONG count = 0;
    EXPECT_EQ(groups.GetCount(&count), S_OK);
    for (ULONGLONG index = 0; index < count; ++index) {
        GUID id{};
        EXPECT_EQ(groups.GetAt(index, &id), S_OK);
        text += (text.empty() ? "" : " ") + platform::ToUtf8(GuidToText(id));
    }
    return text;
}

} // namespace

TEST_F(Vectors, OfStatusFilesAreReadAsExpected)
{
    Check("status", ReadStatus);
}

TEST_F(Vectors, OfCommandsAreReadAsExpected)
{
    Check("command", ReadCommand);
}

TEST_F(Vectors, OfAnswersAreReadAsExpected)
{
    Check("answer", ReadAnswer);
}

TEST_F(Vectors, OfServersAreReadAsExpected)
{
    Check("server", ReadServer);
}

TEST_F(Vectors, OfEventsAreReadAsExpected)
{
    Check("events", ReadEvents);
}

TEST_F(Vectors, OfGroupsAreTakenAsExpected)
{
    Run();
    ASSERT_TRUE(m_client.ListenDsEvents());
    Check("groups", [this](const std::wstring& path) -> Said {
        Write(m_client.GetInsertableItemsChangeFile(), Read(path));
        CComPtr<IWQ_CLSIDArray> groups;
        EXPECT_TRUE(m_client.GetChangedInsertableItemsGroups(groups.Put()));
        if (groups)
            return TextOfIds(*groups);
        // A null id says so itself; of what could not be read there is a report.
        return m_host.TakeReports().empty() ? Said("everything") : Said();
    });
    EXPECT_TRUE(m_client.StopListeningDsEvents());
}
