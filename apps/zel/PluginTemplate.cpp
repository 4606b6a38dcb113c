#include "apps/zel/PluginTemplate.h"

#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Version.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kBuildFile = R"(cmake_minimum_required(VERSION 3.25)
project(%TARGET% LANGUAGES CXX)

find_package(ZEL_Processor %VERSION% REQUIRED)

# The class id is what servers know the plug-in by. It stands here only, and stays the same for ever.
zel_add_plugin(NAME %TARGET%
    CLASS_ID "%ID%"
    CLASS_NAME "%NAME%"
    THREADING Both # several threads at once make tasks, each its own; without it the server asks for one at a time
    SOURCES %TYPE%.cpp)

if(NOT CMAKE_CROSSCOMPILING)
    enable_testing()
    add_executable(%TARGET%_test %TYPE%Test.cpp)
    target_link_libraries(%TARGET%_test PRIVATE ZEL_Processor::ZEL_Processor)
    add_test(NAME %TARGET%_test
        COMMAND %TARGET%_test $<TARGET_FILE:%TARGET%> "${CMAKE_CURRENT_SOURCE_DIR}/%NAME%.drq")
endif()
)";

constexpr std::string_view kSource =
    R"(// Repeats a text: <Request><Task Type="%TYPE%"><Text>hello</Text><Times>3</Times></Task></Request>

#include <ZEL_Processor/ZelPlugin.h>

#include <cstdint>
#include <vector>

namespace {

class C%TYPE%Task : public CZelTask {
public:
    // What is wrong here is told to who sent the request.
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override
    {
        CZelParameters parameters(task);
        return (parameters.Get(L"Text", m_strText) && parameters.GetOptional(L"Times", m_nTimes)) ||
               Fail(parameters.Error());
    }
    [[nodiscard]] const std::vector<CString>& Lines() const { return m_lines; }

protected:
    bool Work(CZelProcessorContext& context, CZelProcessorProgress& progress) override
    {
        progress.SetRange(0, m_nTimes);
        for (std::uint16_t done = 0; done < m_nTimes && !context.IsCanceled(); ++done) {
            m_lines.push_back(m_strText);
            progress.SetPos(done + 1U);
        }
        return true;
    }

private:
    CString m_strText;
    std::uint16_t m_nTimes = 1;
    std::vector<CString> m_lines;
};

class C%TYPE%Response : public CZelXmlResponse<C%TYPE%Task> {
protected:
    bool Write(C%TYPE%Task& task, CZelXmlWriter& xml) override
    {
        xml.Open("Response");
        for (const CString& line : task.Lines())
            xml.Element("Line", line);
        xml.Close();
        return true;
    }
};

class C%TYPE%Factory : public CZelXmlFactory {
protected:
    std::vector<CString> Types() override { return {L"%TYPE%"}; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString& type) override
    {
        return TakesType(type) ? CComPtr<IWQ_ZELProcessorTask>(ZelMake<C%TYPE%Task>().Get()) : nullptr;
    }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override
    {
        return CComPtr<IWQ_ZELProcessorResponse>(ZelMake<C%TYPE%Response>().Get());
    }
};

} // namespace

ZEL_PLUGIN_FACTORY(C%TYPE%Factory)
)";

constexpr std::string_view kTest = R"(// %TARGET%_test MODULE REQUEST: runs requests in the module as a server would.

#include <ZEL_Processor/ZelTaskHarness.h>
#include <platform/Text.h>

#include <iostream>

namespace {

int failures = 0;

void Check(bool isTrue, const char* what)
{
    if (!isTrue) {
        std::cerr << "failed: " << what << '\n';
        ++failures;
    }
}

} // namespace

int main(int argc, char** argv)
{
    CZelTaskHarness harness;
    CString error;
    if (argc != 3 || !harness.LoadModule(platform::FromUtf8(argv[1]), error)) {
        std::cerr << "MODULE REQUEST\n" << platform::ToUtf8(error) << '\n';
        return 2;
    }
    const SZelTaskRun run = harness.RunFile(platform::FromUtf8(argv[2]));
    Check(run.status == eRequestStatus_Done, "the request is done");
    Check(run.percent == 100, "its progress comes to the end");
    Check(run.objectsLeft == 0, "no object of the plug-in is left");

    const SZelTaskRun wrong = harness.RunText("<Request><Task Type=\"%TYPE%\"/></Request>");
    Check(wrong.status == eRequestStatus_ServerError, "a request without a text fails");
    Check(wrong.comment.find(L"\"Text\"") != CString::npos, "and says why");
    return failures;
}
)";

constexpr std::string_view kRequest =
    R"(<Request><Task Type="%TYPE%"><Text>hello</Text><Times>3</Times></Task></Request>
)";

constexpr std::string_view kKitPrefix = "Zel";
/// Of a factory's class that a plug-in's headers bring along.
constexpr std::string_view kKitClass = "ModuleClass";
/// What a plug-in is linked with: Windows does not tell their names by case.
constexpr std::string_view kLibraries[] = {"zel_processor", "zel_framework"};

std::string Filled(std::string_view text, const std::vector<std::pair<std::string_view, std::string>>& values)
{
    std::string filled(text);
    for (const auto& [mark, value] : values) {
        for (std::size_t at = filled.find(mark); at != std::string::npos; at = filled.find(mark, at + value.size()))
            filled.replace(at, mark.size(), value);
    }
    return filled;
}

bool IsLetter(wchar_t unit)
{
    return (unit >= L'a' && unit <= L'z') || (unit >= L'A' && unit <= L'Z');
}

char WithCase(char letter, char first, char last, int change)
{
    return letter >= first && letter <= last ? static_cast<char>(letter + change) : letter;
}

} // namespace

bool IsPluginName(const std::wstring& name)
{
    return !name.empty() && name.size() <= kLongestPluginName && IsLetter(name.front()) &&
           std::ranges::all_of(name, [](wchar_t unit) {
               return IsLetter(unit) || (unit >= L'0' && unit <= L'9') || unit == L'-' || unit == L'_';
           });
}

SPluginNames PluginNames(const std::wstring& name)
{
    SPluginNames names{.name = platform::ToUtf8(name), .target = "zel_", .type = {}};
    bool isFirst = true;
    for (const char unit : names.name) {
        const bool isGap = unit == '-' || unit == '_';
        names.target += isGap ? '_' : WithCase(unit, 'A', 'Z', 'a' - 'A');
        if (!isGap)
            names.type += isFirst ? WithCase(unit, 'a', 'z', 'A' - 'a') : unit;
        isFirst = isGap;
    }
    return names;
}

std::wstring TakenName(const SPluginNames& names)
{
    for (const std::string& file : {names.name + ".drq", names.type + ".cpp"}) {
        if (const std::wstring wide = platform::FromUtf8(file); !platform::IsPortableFileName(wide))
            return wide;
    }
    // What begins so is the kit's, also in versions to come.
    const std::string_view behind = std::string_view(names.type).substr(std::min(kKitPrefix.size(), names.type.size()));
    const bool isPrefixed =
        names.type.starts_with(kKitPrefix) && (behind.empty() || (behind.front() >= 'A' && behind.front() <= 'Z'));
    if (isPrefixed)
        return L"CZel\u2026";
    if (names.type == kKitClass)
        return L"CModuleClassFactory";
    const bool isLibrary = std::ranges::find(kLibraries, names.target) != std::end(kLibraries);
    return isLibrary ? platform::FromUtf8(names.target) : std::wstring();
}

std::vector<SPluginFile> PluginFiles(const SPluginNames& names, const std::string& classId)
{
    const std::vector<std::pair<std::string_view, std::string>> values = {
        {"%TARGET%", names.target},
        {"%TYPE%", names.type},
        {"%NAME%", names.name},
        {"%ID%", classId},
        {"%VERSION%", std::to_string(ZEL_VERSION_MAJOR) + "." + std::to_string(ZEL_VERSION_MINOR)}};
    return {{"CMakeLists.txt", Filled(kBuildFile, values)},
            {names.type + ".cpp", Filled(kSource, values)},
            {names.type + "Test.cpp", Filled(kTest, values)},
            {names.name + ".drq", Filled(kRequest, values)}};
}
