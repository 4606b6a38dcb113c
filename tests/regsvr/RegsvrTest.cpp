#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/regsvr/RegsvrFixture.h"

#include <algorithm>

namespace {

constexpr const char* kTestTasks = "{94A83206-5715-4640-A9EB-240C3A5A7915} Tasks for tests and the bench";
constexpr const char* kDataStore = "{9AE21A0F-CDB9-40F5-805A-5B40C4877252} Data store";

/// For the user and for all.
class RegsvrTest : public CRegsvrFixture, public testing::WithParamInterface<const wchar_t*> {
protected:
    void SetUp() override
    {
        if (GetParam() == std::wstring(L"--user") && UsedScope() != GetParam())
            GTEST_SKIP() << "Wine: its COM knows the machine's classes only";
    }
};

TEST_P(RegsvrTest, AServerServesWithWhatIsRegistered)
{
    const std::wstring module = Module(L"test-plugins/zel_testtasks");
    const SProgramResult registered = Register(module, GetParam());
    ASSERT_EQ(registered.code, 0) << registered.errors;
    EXPECT_TRUE(Contains(registered.output, "registered " + platform::ToUtf8(module))) << registered.output;
    const SProgramResult listed = Regsvr({L"--list"});
    EXPECT_EQ(listed.code, 0);
    EXPECT_TRUE(listed.output.starts_with("1. " + std::string(kTestTasks) + "\n   module  " + platform::ToUtf8(module)))
        << listed.output;
    {
        CRunningProgram server(L"zel-server", DirectoryArguments(), Environment());
        std::wstring line;
        ASSERT_TRUE(server.Process().ReadLine(line, kPatience)) << server.Errors();
        EXPECT_EQ(line, L"zel-server: ready");
        EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
        StopServer(server);
        EXPECT_FALSE(Contains(server.Errors(), "left out")) << server.Errors();
    }
    const SProgramResult again = Regsvr({GetParam(), module});
    EXPECT_EQ(again.code, 0) << again.errors;
    const SProgramResult unregistered = Regsvr({L"-u", GetParam(), module});
    EXPECT_EQ(unregistered.code, 0) << unregistered.errors;
    EXPECT_TRUE(Contains(unregistered.output, "unregistered " + platform::ToUtf8(module)));
    EXPECT_EQ(List(), "nothing is registered\n");
}

TEST_P(RegsvrTest, TheLibrarysClassesAreMadeByOneWhoKnowsTheirIdAlone)
{
    EXPECT_EQ(RunProgram(L"zel-class-probe", {}, Environment()).output, "0x80040154\n") << "not registered";
    const SProgramResult registered = Register(Library(), GetParam());
    ASSERT_EQ(registered.code, 0) << registered.errors;
    EXPECT_EQ(RunProgram(L"zel-class-probe", {}, Environment()).output, "an array of 2\n");
    EXPECT_EQ(Regsvr({L"-u", GetParam(), Library()}).code, 0);
    EXPECT_EQ(RunProgram(L"zel-class-probe", {}, Environment()).output, "0x80040154\n");
}

INSTANTIATE_TEST_SUITE_P(Scopes, RegsvrTest, testing::Values(L"--user", L"--system"),
                         [](const auto& scope) { return scope.index == 0 ? "User" : "System"; });

class RegsvrListTest : public CRegsvrFixture {};

TEST_F(RegsvrListTest, HasEveryPlugInOnce)
{
    ASSERT_EQ(Register(Module(L"test-plugins/zel_testtasks"), L"--system").code, 0);
    ASSERT_EQ(Register(Module(L"plugins/zel_datastore")).code, 0);
    const std::string list = List();
    EXPECT_TRUE(Contains(list, "1. ")) << list;
    EXPECT_TRUE(Contains(list, "2. ")) << list;
    EXPECT_FALSE(Contains(list, "3. ")) << list;
    EXPECT_TRUE(Contains(list, kTestTasks)) << list;
    EXPECT_TRUE(Contains(list, kDataStore)) << list;
}

TEST_F(RegsvrListTest, TellsWhatIsBrokenAndWhy)
{
    ASSERT_EQ(Register(Module(L"broken-plugins/zel_throwing")).code, 0) << "it can be registered, but not made";
    Write(InHome(L"a.component"), "<component>");
    Write(InHome(L"b.component"),
          "<component><module>gone.so</module><class id=\"" + std::string(kTestTasks, 38) + "\"/></component>");
    platform::SProcessOptions options = Environment();
    options.environment.emplace_back(L"ZEL_COMPONENT_PATH", m_strHome);
    const SProgramResult listed = RunProgram(L"zel-regsvr", {L"--list"}, options);
    EXPECT_EQ(listed.code, 1);
    EXPECT_TRUE(Contains(listed.output, "zel_throwing")) << listed.output;
    EXPECT_TRUE(Contains(listed.output, "   broken  class \"Throwing\"")) << listed.output;
    EXPECT_TRUE(Contains(listed.output, "an exception was thrown")) << listed.output;
    EXPECT_TRUE(Contains(listed.output, "broken: " + platform::ToUtf8(InHome(L"a.component")))) << listed.output;
    EXPECT_TRUE(Contains(listed.output, "gone.so does not exist")) << listed.output;
}

TEST_F(RegsvrListTest, HasTheLibrarysClassesBelowThePlugIns)
{
    ASSERT_EQ(Register(Library()).code, 0);
    const std::string list = List();
    if (Contains(list, "nothing is registered"))
        GTEST_SKIP() << "Windows: its registry is asked for the category of plug-ins only";
    EXPECT_TRUE(Contains(list, "-  {857C58CE-8D5E-4341-925F-D64E40D9366C} CLSID array\n   module  ")) << list;
    EXPECT_TRUE(Contains(list, "Project marker")) << list;
    EXPECT_FALSE(Contains(list, "1. ")) << list;
}

class RegsvrRefusalTest : public CRegsvrFixture {
protected:
    void ExpectRefused(const std::wstring& module, const std::string& reason)
    {
        const SProgramResult result = Regsvr({L"--user", module});
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(Contains(result.errors, platform::ToUtf8(module))) << result.errors;
        EXPECT_TRUE(Contains(result.errors, reason)) << result.errors;
        EXPECT_EQ(List(), "nothing is registered\n");
    }
};

TEST_F(RegsvrRefusalTest, AFileThatIsNoModule)
{
    Write(InHome(L"text.so"), "this is text");
    ExpectRefused(InHome(L"text.so"), ": ");
}

TEST_F(RegsvrRefusalTest, AMissingFile)
{
    ExpectRefused(InHome(L"gone.so"), "does not exist");
}

TEST_F(RegsvrRefusalTest, AModuleWithoutTheEntryPoints)
{
    ExpectRefused(Module(L"com_test_modules/com_test_no_component"), "exports no DllGetClassObject");
    ExpectRefused(Module(L"com_test_modules/com_test_component"), "exports no DllRegisterServer");
}

TEST_F(RegsvrRefusalTest, APlugInOfAnotherVersionWhichMayBeUnregisteredAllTheSame)
{
    const std::wstring module = Module(L"broken-plugins/zel_other_version");
    ExpectRefused(module, "was built for version 0.2 of the plug-in interfaces; this is version 0.1");
    EXPECT_EQ(Regsvr({L"-u", L"--user", module}).code, 0);
}

TEST_F(RegsvrRefusalTest, OneThatFailsDoesNotKeepTheOthersOut)
{
    const std::wstring good = Module(L"test-plugins/zel_testtasks");
    ASSERT_EQ(Register(good).code, 0);
    const SProgramResult result = Regsvr({L"-u", UsedScope(), InHome(L"gone.so"), good});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "gone.so")) << result.errors;
    EXPECT_EQ(List(), "nothing is registered\n");
}

TEST_F(RegsvrRefusalTest, UsageErrors)
{
    EXPECT_EQ(Regsvr({}).code, 2);
    EXPECT_EQ(Regsvr({L"--user", L"--system", L"x"}).code, 2);
    EXPECT_EQ(Regsvr({L"--list", L"x"}).code, 2);
    EXPECT_EQ(Regsvr({L"--list", L"-u"}).code, 2);
    EXPECT_TRUE(Contains(Regsvr({L"--help"}).output, "--unregister"));
}

} // namespace
