#include "tests/plugins/SampleDatabase.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/ChildProcess.h"

#include <ZEL_Processor/ZelPluginWriter.h>

#include <gtest/gtest.h>

#include <sqlite3.h>

namespace plugintest {

namespace {
/// For a reader that is just looking; reached only by a test that fails.
constexpr int kLockPatienceMs = 20000;
} // namespace

CDataFolder::CDataFolder()
{
    platform::SetEnvironment(L"ZEL_DATA_DIR", m_folder.Path());
}

CDataFolder::~CDataFolder()
{
    platform::SetEnvironment(L"ZEL_DATA_DIR", L"");
}

std::wstring CDataFolder::PathOf(const std::wstring& name) const
{
    return m_folder / (name + L".sqlite");
}

void CDataFolder::Make(const std::wstring& name, const std::string& sql) const
{
    CConnection(PathOf(name)).Execute(sql);
}

CSavedFolder::CSavedFolder(const std::wstring& folder) : m_strFolder(platform::Environment(L"ZEL_DATA_DIR"))
{
    platform::SetEnvironment(L"ZEL_DATA_DIR", folder);
}

CSavedFolder::~CSavedFolder()
{
    platform::SetEnvironment(L"ZEL_DATA_DIR", m_strFolder);
}

CConnection::CConnection(const std::wstring& path)
{
    EXPECT_EQ(sqlite3_open(platform::NarrowPath(path).c_str(), &m_pDatabase), SQLITE_OK);
    sqlite3_busy_timeout(m_pDatabase, kLockPatienceMs);
}

CConnection::~CConnection()
{
    EXPECT_EQ(sqlite3_close(m_pDatabase), SQLITE_OK);
}

void CConnection::Execute(const std::string& sql)
{
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(m_pDatabase, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << (error ? error : "");
    sqlite3_free(error);
}

namespace {
int WriteForEver(const std::vector<std::wstring>& arguments)
{
    CConnection writer(arguments.at(0));
    // With hardly a cache the pages go to the file before the end, and to the disk with the journal before that.
    writer.Execute("PRAGMA cache_size = 1; BEGIN; UPDATE " + platform::ToUtf8(arguments.at(1)) +
                   " SET name = name || 'x'");
    testsupport::TellParent(L"written");
    testsupport::WaitForParent();
    return 0;
}
const testsupport::CChildPart kWriterPart(L"write-for-ever", &WriteForEver);
} // namespace

void LeaveHalfWritten(const std::wstring& path, const std::string& table)
{
    auto child = testsupport::StartChild(L"write-for-ever", {path, platform::FromUtf8(table)});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"written"));
    child.Kill();
    EXPECT_NE(testsupport::FinishChild(child), 0);
    EXPECT_TRUE(platform::PathExists(path + L"-journal"));
}

std::string PlainAnswer(const std::string& sql)
{
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(":memory:", &database), SQLITE_OK);
    std::string answer;
    const auto keep = [](void* kept, int, char** values, char**) {
        *static_cast<std::string*>(kept) = values[0] == nullptr ? "NULL" : values[0];
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), keep, &answer, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    EXPECT_EQ(sqlite3_close(database), SQLITE_OK);
    return answer;
}

bool IsBeingRead(const std::wstring& path)
{
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(platform::NarrowPath(path).c_str(), &database), SQLITE_OK);
    const int result = sqlite3_exec(database, "BEGIN EXCLUSIVE; ROLLBACK", nullptr, nullptr, nullptr);
    EXPECT_TRUE(result == SQLITE_OK || result == SQLITE_BUSY) << result;
    EXPECT_EQ(sqlite3_close(database), SQLITE_OK);
    return result == SQLITE_BUSY;
}

std::size_t CDataFolder::FileCount() const
{
    std::vector<platform::SDirectoryEntry> entries;
    EXPECT_EQ(platform::Files().List(m_folder.Path(), entries), platform::eOsError_None);
    return entries.size();
}

std::string QueryRequest(const std::string& source, const std::string& sql, const std::string& parameters)
{
    std::string escaped;
    ZelAppendXmlText(escaped, sql);
    return "<Request><Task Type=\"Query\"><DataSource>" + source + "</DataSource><Sql>" + escaped +
           "</Sql><Parameters>" + parameters + "</Parameters></Task></Request>";
}

std::string StatisticsRequest(const std::string& source, const std::string& table, const std::string& columns)
{
    return "<Request><Task Type=\"Statistics\"><DataSource>" + source + "</DataSource><Table>" + table + "</Table>" +
           columns + "</Task></Request>";
}

std::string PropertiesRequest(const std::string& source, const std::string& item, const std::string& property)
{
    return "<Request><Task Type=\"Properties\"><Action>Get</Action><DataSource>" + source + "</DataSource>" + item +
           "<PropertyName>" + property + "</PropertyName></Task></Request>";
}

} // namespace plugintest
