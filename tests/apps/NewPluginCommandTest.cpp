#include "apps/zel/PluginTemplate.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class NewPluginCommandTest : public CProgramTest {
protected:
    [[nodiscard]] static SProgramResult NewPlugin(const std::wstring& path)
    {
        return RunProgram(L"zel", {L"new-plugin", path});
    }
    /// The class id that a build file has.
    [[nodiscard]] std::string IdOf(const std::wstring& name) const
    {
        const std::string text = Read(platform::JoinPath(InHome(name), L"CMakeLists.txt"));
        const std::size_t start = text.find('{');
        return start == std::string::npos ? std::string() : text.substr(start, 38);
    }
};

} // namespace

TEST(PluginTemplate, NamesFilesTargetsAndClassesAfterThePlugin)
{
    const SPluginNames names = PluginNames(L"word-Count_2x");
    EXPECT_EQ(names.name, "word-Count_2x");
    EXPECT_EQ(names.target, "zel_word_count_2x");
    EXPECT_EQ(names.type, "WordCount2x");
    std::vector<std::string> files;
    for (const SPluginFile& file : PluginFiles(names, "{ID}")) {
        files.push_back(file.name);
        EXPECT_EQ(file.text.find('%'), std::string::npos) << file.name << ": something was not filled in";
    }
    EXPECT_EQ(files, (std::vector<std::string>{"CMakeLists.txt", "WordCount2x.cpp", "WordCount2xTest.cpp",
                                               "word-Count_2x.drq"}));
}

TEST(PluginTemplate, TakesPlainNamesOnly)
{
    EXPECT_TRUE(IsPluginName(L"a"));
    EXPECT_TRUE(IsPluginName(std::wstring(kLongestPluginName, L'a')));
    EXPECT_FALSE(IsPluginName(std::wstring(kLongestPluginName + 1, L'a')));
    for (const wchar_t* const name : {L"", L"1a", L"-a", L"a b", L"a.b", L"\u00e4", L"a\"", L"a;b"})
        EXPECT_FALSE(IsPluginName(name)) << name;
}

TEST(PluginTemplate, NamesThatWindowsOrTheKitHasAreTaken)
{
    for (const auto& [name, taken] : {std::pair{L"CON", L"CON.drq"},
                                      {L"nul", L"nul.drq"},
                                      {L"com1", L"com1.drq"},
                                      {L"lpt-1", L"Lpt1.cpp"},
                                      {L"zel", L"CZel\u2026"},
                                      {L"Zel_", L"CZel\u2026"},
                                      {L"zel-xml", L"CZel\u2026"},
                                      {L"ZelXml", L"CZel\u2026"},
                                      {L"zel-report", L"CZel\u2026"},
                                      {L"module-class", L"CModuleClassFactory"},
                                      {L"processor", L"zel_processor"},
                                      {L"FrameWork", L"zel_framework"},
                                      {L"zelda", L""},
                                      {L"zel2", L""},
                                      {L"ze", L""},
                                      {L"console", L""},
                                      {L"com", L""},
                                      {L"task", L""},
                                      {L"module", L""},
                                      {L"word-count", L""}})
        EXPECT_EQ(TakenName(PluginNames(name)), taken) << platform::ToUtf8(name);
}

TEST_F(NewPluginCommandTest, ATakenNameMakesNothing)
{
    for (const wchar_t* const name : {L"zel", L"CON"}) {
        const SProgramResult result = NewPlugin(InHome(name));
        EXPECT_EQ(result.code, 2);
        EXPECT_TRUE(Contains(result.errors, "is no name for a plug-in")) << result.errors;
        EXPECT_FALSE(platform::DirectoryExists(InHome(name)));
    }
}

TEST_F(NewPluginCommandTest, EachHasAnIdOfItsOwnInOnePlace)
{
    EXPECT_EQ(NewPlugin(InHome(L"first")).code, 0);
    EXPECT_EQ(NewPlugin(InHome(L"second")).code, 0);
    const std::string id = IdOf(L"first");
    EXPECT_EQ(id.size(), 38U);
    EXPECT_NE(id, IdOf(L"second"));
    for (const std::wstring& name : FilesIn(InHome(L"first"))) {
        const bool isBuildFile = name == L"CMakeLists.txt";
        EXPECT_EQ(Contains(Read(platform::JoinPath(InHome(L"first"), name)), id), isBuildFile);
    }
}

TEST_F(NewPluginCommandTest, TouchesNothingThatIsThere)
{
    EXPECT_EQ(NewPlugin(InHome(L"first")).code, 0);
    const std::string id = IdOf(L"first");
    const SProgramResult again = NewPlugin(InHome(L"first"));
    EXPECT_EQ(again.code, 1);
    EXPECT_TRUE(Contains(again.errors, "first")) << again.errors;
    EXPECT_EQ(IdOf(L"first"), id);
    EXPECT_EQ(NewPlugin(InHome(L"none/second")).code, 1);
    EXPECT_EQ(NewPlugin(InHome(L"2nd")).code, 2);
}
