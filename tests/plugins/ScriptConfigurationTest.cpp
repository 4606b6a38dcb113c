#include "plugins/script/ScriptConfiguration.h"

#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

const CString kFolder = platform::AbsolutePath(L"the folder");

/// What is wrong with a file of this content.
CString ErrorOf(const std::string& json)
{
    CScriptConfiguration configuration;
    CString error;
    EXPECT_FALSE(configuration.Read(json, kFolder, error)) << json;
    EXPECT_TRUE(configuration.Tasks().empty());
    return error;
}

std::string OneTask(const std::string& members)
{
    return R"({"tasks": {"Words": {)" + members + "}}}";
}

} // namespace

TEST(ScriptConfiguration, HasTheTasksOfItsFileWithTheFolderInPlaceOfItsWord)
{
    CScriptConfiguration configuration;
    CString error;
    ASSERT_TRUE(configuration.Read(R"({"tasks": {
        "Words": {"command": ["python3", "{folder}/words.py", "--in={folder}:{folder}"]},
        "Häuser": {"command": ["{folder}/houses"], "response": "file", "responseLimit": 2}}})",
                                   kFolder, error))
        << error.size();
    ASSERT_EQ(configuration.Tasks().size(), 2U);
    const SScriptTask words{L"Words",
                            L"python3",
                            {kFolder + L"/words.py", L"--in=" + kFolder + L":" + kFolder},
                            false,
                            std::uint64_t{1} << 30};
    const SScriptTask houses{L"H\u00e4user", kFolder + L"/houses", {}, true, std::uint64_t{2} << 20};
    EXPECT_EQ(*configuration.Find(L"Words"), words);
    EXPECT_EQ(*configuration.Find(L"H\u00e4user"), houses);
    EXPECT_EQ(configuration.Find(L"words"), nullptr);
}

TEST(ScriptConfiguration, NamesWhatIsWrong)
{
    for (const auto& [json, told] : {
             std::pair<std::string, CString>{"", L"no JSON"},
             {"[]", L"the file is no object"},
             {"{}", L"no object \"tasks\""},
             {R"({"tasks": []})", L"no object \"tasks\""},
             {R"({"tasks": {}, "task": 1})", L"the file has \"task\", which is nothing"},
             {R"({"tasks": {"": {"command": ["x"]}}})", L"empty or too long"},
             {R"({"tasks": {")" + std::string(201, 'x') + R"(": {"command": ["x"]}}})", L"empty or too long"},
             {R"({"tasks": {"Words": 1}})", L"the task \"Words\" is no object"},
             {OneTask(""), L"has no \"command\""},
             {OneTask(R"("command": "x")"), L"has no \"command\""},
             {OneTask(R"("command": [])"), L"has no \"command\""},
             {OneTask(R"("command": ["x", 1])"), L"is no text"},
             {OneTask(R"("command": ["x", ""])"), L"is no text, or an empty one"},
             {OneTask("\"command\": [\"x\\u0000y\"]"), L"no program can be told"},
             {OneTask(R"("command": ["bin/x"])"), L"neither a full path nor a name alone"},
             {OneTask(R"("command": ["x"], "respond": "file")"), L"has \"respond\", which is nothing"},
             {OneTask(R"("command": ["x"], "response": "pipe")"), L"neither \"output\" nor \"file\""},
             {OneTask(R"("command": ["x"], "response": 1)"), L"neither \"output\" nor \"file\""},
             {OneTask(R"("command": ["x"], "responseLimit": 0)"), L"MiB from 1 to 1000000"},
             {OneTask(R"("command": ["x"], "responseLimit": 1000001)"), L"MiB from 1 to 1000000"},
             {OneTask(R"("command": ["x"], "responseLimit": "1")"), L"MiB from 1 to 1000000"},
         })
        EXPECT_NE(ErrorOf(json).find(told), CString::npos) << json;
}

TEST(ScriptConfiguration, ErrorsNameTheFile)
{
    const testsupport::CTemporaryDirectory folder;
    const CString path = folder / L"script-tasks.json";
    CScriptConfiguration configuration;
    CString error;
    EXPECT_FALSE(configuration.Load(path, error)) << "it is not there";
    EXPECT_TRUE(error.starts_with(path));
    ASSERT_EQ(platform::WriteWholeFile(path, "{\"tasks\": {}, \"x\": 0}"), platform::eOsError_None);
    EXPECT_FALSE(configuration.Load(path, error));
    EXPECT_EQ(error, path + L": the file has \"x\", which is nothing.");
    ASSERT_EQ(platform::WriteWholeFile(path, "{\"tasks\": {}}" + std::string(1024 * 1024, ' ')),
              platform::eOsError_None);
    EXPECT_FALSE(configuration.Load(path, error)) << "it is too long";
    EXPECT_TRUE(error.starts_with(path));
    ASSERT_EQ(platform::WriteWholeFile(path, "{\"tasks\": {}}"), platform::eOsError_None);
    EXPECT_TRUE(configuration.Load(path, error));
}
