#include "platform/AccountName.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>

namespace {

/// What a server would write; no server runs here.
std::string StatusFile(int status, const std::wstring& rest = {})
{
    return platform::ToUtf16Le(std::to_wstring(status) + L"\r\n" + rest);
}

class StatusCommandTest : public CProgramTest {
protected:
    [[nodiscard]] nlohmann::json StatusOf(const std::wstring& name) const
    {
        const SProgramResult result = Zel({L"status", name, L"--json"});
        EXPECT_EQ(result.code, 0) << result.errors;
        const std::vector<nlohmann::json> objects = result.Objects();
        return objects.size() == 1 ? objects[0] : nlohmann::json();
    }
};

TEST_F(StatusCommandTest, UnknownRequestIsNotRequestedWhichIsAnAnswer)
{
    const nlohmann::json status = StatusOf(L"nowhere.drq");
    EXPECT_EQ(status["name"], "nowhere.drq");
    EXPECT_EQ(status["status"], 4);
    EXPECT_EQ(status["statusName"], "eRequestStatus_NotRequested");
    EXPECT_TRUE(status["percent"].is_null());
    EXPECT_TRUE(status["comment"].is_string());
    EXPECT_TRUE(status["created"].is_null());
    EXPECT_TRUE(status["modified"].is_null());
}

TEST_F(StatusCommandTest, RequestThatNobodyTookIsWaiting)
{
    Write(InRequests(L"a.drq"), "");
    EXPECT_EQ(StatusOf(L"a.drq")["status"], 5);
}

TEST_F(StatusCommandTest, StatusFileGivesAllFields)
{
    Write(InOutput(L"a.drq.status"), StatusFile(8, L"ProgressPerc=42\r\nProgressComment=half\r\n"));
    const nlohmann::json status = StatusOf(L"a.drq");
    EXPECT_EQ(status["status"], 8);
    EXPECT_EQ(status["statusName"], "eRequestStatus_Calculating");
    EXPECT_EQ(status["percent"], 42);
    EXPECT_EQ(status["comment"], "half");
    const std::regex isoTime(R"(20\d\d-[01]\d-[0-3]\dT[0-2]\d:[0-5]\d:[0-5]\dZ)");
    for (const char* time : {"created", "modified"})
        EXPECT_TRUE(std::regex_match(status[time].get<std::string>(), isoTime)) << status;
}

TEST_F(StatusCommandTest, StatusThatCannotBeReadIsAClientError)
{
    Write(InOutput(L"a.drq.status"), "");
    const SProgramResult result = Zel({L"status", L"a.drq", L"--json"});
    EXPECT_EQ(result.code, 1);
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["status"], 0);
}

TEST_F(StatusCommandTest, SeveralNamesGiveOneObjectEachInTheirOrder)
{
    Write(InOutput(L"b.drq.status"), StatusFile(13));
    const SProgramResult result = Zel({L"status", L"b.drq", L"path/to/a.drq", L"--json"});
    EXPECT_EQ(result.code, 0);
    const std::vector<nlohmann::json> objects = result.Objects();
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(objects[0]["name"], "b.drq");
    EXPECT_EQ(objects[0]["status"], 13);
    EXPECT_EQ(objects[1]["name"], "a.drq");
}

TEST_F(StatusCommandTest, WithoutJsonThereIsALineForPeople)
{
    Write(InOutput(L"a.drq.status"), StatusFile(8, L"ProgressPerc=42\r\nProgressComment=half\r\n"));
    EXPECT_EQ(Zel({L"status", L"a.drq"}).output, "a.drq: Calculating 42 % half\n");
}

TEST_F(StatusCommandTest, ListHasEveryRequestOnceAndNothingElse)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    Write(InRequests(L"waits.drq"), "");
    Write(InRequests(L"notes.txt"), "");
    Write(InRequests(L"c.command"), "");
    Write(InQueue(L"queued.XML"), "");
    Write(InQueue(L"runs.drq"), "");
    Write(InOutput(L"runs.drq.status"), StatusFile(9));
    Write(InOutput(L"done.drq.status"), StatusFile(13));
    Write(InOutput(L"done.drq"), "<Response/>");
    Write(InOutput(L"c.command.status"), StatusFile(13));
    const SProgramResult result = Zel({L"list", L"--json"});
    EXPECT_EQ(result.code, 0);
    std::vector<std::pair<std::string, int>> listed;
    for (const nlohmann::json& object : result.Objects())
        listed.emplace_back(object["name"], object["status"]);
    const std::vector<std::pair<std::string, int>> expected = {
        {"done.drq", 13}, {"queued.XML", 5}, {"runs.drq", 9}, {"waits.drq", 5}};
    EXPECT_EQ(listed, expected);
}

TEST_F(StatusCommandTest, ListTellsHowOldWhatNobodyTookIs)
{
    Write(InRequests(L"waits.drq"), "");
    Write(InOutput(L"old.drq.status"), StatusFile(13));
    Write(InOutput(L"old.drq"), "<Response/>");
    const std::filesystem::path status = platform::StandardPath(InOutput(L"old.drq.status"));
    std::filesystem::last_write_time(status, std::filesystem::last_write_time(status) - std::chrono::hours(24 * 5 + 1));
    const std::vector<nlohmann::json> listed = Zel({L"list", L"--json"}).Objects();
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0].value("age", 0) / 3600, 24 * 5 + 1);
    EXPECT_LT(listed[1].value("age", 3600), 3600) << "since it was sent";
    const std::string text = Zel({L"list"}).output;
    EXPECT_TRUE(std::regex_search(text, std::regex("old.drq +Done .* 5 d "))) << text;
    EXPECT_FALSE(Contains(Zel({L"status", L"old.drq"}).output, "(5 d)"));
}

TEST_F(StatusCommandTest, ListTellsTheOrderOfRunningSizeOwnerAndTime)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    // In the order of their arrival, which is not that of their names: each has a later time than the one before.
    const auto arrive = [](const std::wstring& path, const std::wstring& before) {
        ASSERT_TRUE(WaitUntil([&] {
            Write(path, "12345");
            platform::FileTimeNs time = 0;
            platform::FileTimeNs earlier = 0;
            EXPECT_EQ(platform::Files().GetChangeTime(path, time), platform::eOsError_None);
            return before.empty() ||
                   (platform::Succeeded(platform::Files().GetChangeTime(before, earlier)) && time > earlier);
        }));
    };
    arrive(InQueue(L"z.drq"), {});
    arrive(InQueue(L"y.drq"), InQueue(L"z.drq"));
    arrive(InRequests(L"a.drq"), {});
    Write(InQueue(L"runs.drq"), "123");
    Write(InOutput(L"runs.drq.status"), StatusFile(9));
    Write(InOutput(L"done.drq.status"), StatusFile(13));
    Write(InOutput(L"done.drq"), "<Response/>");
    const std::vector<nlohmann::json> listed = Zel({L"list", L"--json", L"--sort", L"position"}).Objects();
    ASSERT_EQ(listed.size(), 5U);
    const std::vector<std::pair<std::string, nlohmann::json>> expected = {
        {"runs.drq", 0}, {"z.drq", 1}, {"y.drq", 2}, {"a.drq", 3}, {"done.drq", nullptr}};
    platform::FileOwner owner;
    ASSERT_EQ(platform::Files().GetOwner(InQueue(L"z.drq"), owner), platform::eOsError_None);
    for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(listed[index]["name"], expected[index].first);
        EXPECT_EQ(listed[index]["position"], expected[index].second);
        EXPECT_EQ(listed[index]["owner"], platform::ToUtf8(platform::AccountName(owner)));
        EXPECT_TRUE(listed[index]["since"].is_string()) << listed[index];
        EXPECT_LT(listed[index].value("age", 3600), 3600);
    }
    EXPECT_EQ(listed[0]["size"], 3);
    EXPECT_EQ(listed[4]["size"], 11) << "of the response";
    const std::vector<nlohmann::json> bySize = Zel({L"list", L"--json", L"--sort", L"size"}).Objects();
    ASSERT_EQ(bySize.size(), 5U);
    EXPECT_EQ(bySize.front()["name"], "done.drq");
    EXPECT_EQ(bySize.back()["name"], "runs.drq");
    const std::string text = Zel({L"list"}).output;
    EXPECT_TRUE(text.starts_with("Name ")) << text;
    EXPECT_EQ(std::ranges::count(text, '\n'), 6) << text;
}

TEST_F(StatusCommandTest, ListHasWhatWaitsInTheOrderInWhichItsServerRunsIt)
{
    const auto priority = [this](const std::wstring& name, const std::string& value) {
        const std::wstring path = InHome(name);
        Write(path, "<Request Priority=\"" + value + "\"><Task Type=\"Echo\" Text=\"x\"/></Request>");
        return path;
    };
    const auto positions = [this] {
        std::map<std::string, nlohmann::json> found;
        for (const nlohmann::json& object : Zel({L"list", L"--json"}).Objects())
            found[object["name"]] = object["position"];
        return found;
    };
    const std::vector<std::wstring> files = {MakeEcho(L"a.drq", L"x"), priority(L"low.drq", "-1"),
                                             MakeEcho(L"p.drq", L"x"), priority(L"urgent.drq", "5"),
                                             MakeEcho(L"z.drq", L"x")};
    using Expected = std::map<std::string, nlohmann::json>;
    for (const bool isStrict : {false, true}) {
        platform::SProcessOptions input;
        input.pipeInput = true;
        CRunningProgram server = StartServer(isStrict ? std::vector<std::wstring>{L"--manual", L"--strict"}
                                                      : std::vector<std::wstring>{L"--manual"},
                                             input);
        for (const std::wstring& file : files) {
            ASSERT_EQ(Zel({L"send", file}).code, 0);
            ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(platform::FileNameOf(file))); }));
        }
        if (isStrict) {
            EXPECT_EQ(positions(),
                      (Expected{{"a.drq", 1}, {"low.drq", 2}, {"p.drq", 3}, {"urgent.drq", 4}, {"z.drq", 5}}))
                << "as it comes";
        } else {
            ASSERT_EQ(Zel({L"pause", L"p.drq"}).code, 0);
            EXPECT_EQ(positions(),
                      (Expected{{"a.drq", 2}, {"low.drq", 4}, {"p.drq", nullptr}, {"urgent.drq", 1}, {"z.drq", 3}}));
        }
        for (const std::wstring& file : files)
            ASSERT_EQ(Zel({L"cancel", platform::FileNameOf(file)}).code, 0);
        StopServer(server);
        static_cast<void>(Zel({L"forget", L"--finished"}));
    }
}

TEST_F(StatusCommandTest, AQueuedFileThatIsLargeHeldOrNoneDoesNotHoldUpTheList)
{
    CRunningProgram server = StartServer({L"--no-executive"});
    Write(InQueue(L"large.drq"), "<!--" + std::string(8U << 20, 'x') + "--><Request Priority=\"100\"/>");
    Write(InQueue(L"held.drq"), "<Request Priority=\"100\"/>");
    Write(InQueue(L"empty.drq"), "");
    Write(InQueue(L"urgent.drq"), "<Request Priority=\"1\"/>");
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(InQueue(L"held.drq"), platform::eOpenMode_ReadExclusive, holder),
              platform::eOsError_None);
    const SProgramResult result = Zel({L"list", L"--json", L"--sort", L"position"});
    EXPECT_EQ(result.code, 0) << result.errors;
    ASSERT_EQ(result.Objects().size(), 4U);
    EXPECT_EQ(result.Objects()[0]["name"], "urgent.drq");
    holder.reset();
    StopServer(server);
}

TEST_F(StatusCommandTest, ListOfNothingIsEmpty)
{
    const SProgramResult result = Zel({L"list"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("zel: no server serves '")) << result.errors;
}

TEST_F(StatusCommandTest, AStatusThatSomebodyHoldsOpenDoesNotHinderTheStop)
{
    Write(InOutput(L"a.drq.status"), platform::ToUtf16Le(L"13\r\n"));
    Write(InOutput(L"b.drq.status"), platform::ToUtf16Le(L"13\r\n"));
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(InOutput(L"b.drq.status"), platform::eOpenMode_ReadShared, holder),
              platform::eOsError_None);
    for (const std::vector<std::wstring>& arguments :
         {std::vector<std::wstring>{L"status", L"a.drq", L"b.drq"}, std::vector<std::wstring>{L"list", L"--json"}}) {
        CRunningProgram client = StartZel(arguments);
        std::wstring line;
        ASSERT_TRUE(client.Process().ReadLine(line, kPatience));
        EXPECT_TRUE(line.find(L"a.drq") != std::wstring::npos);
        client.Process().RequestStop();
        const SProgramResult result = client.Finish();
        EXPECT_EQ(result.code, 130);
        EXPECT_TRUE(Contains(result.errors, "b.drq.status' is in use")) << result.errors;
    }
}

} // namespace
