#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "tests/support/Accounts.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Links.h"

#include <atomic>
#include <deque>
#include <filesystem>
#include <map>
#include <thread>

// One process for each way of doing harm with no more than the right to put files into the directories. Each repeats
// its way as fast as it is let, and clears away what lies longest of what it made, so that the disk outlasts ten
// minutes.

namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenSteps = 1ms;
/// How many of its own files each leaves lying.
constexpr std::size_t kLeftLying = 2000;

class CHostile {
public:
    explicit CHostile(const std::vector<std::wstring>& arguments)
        : m_strKind(arguments.at(0)),
          m_strRequests(arguments.at(1)),
          m_strOutput(arguments.at(2)),
          m_strVictim(arguments.at(3)),
          m_hasAccounts(arguments.at(4) == L"accounts")
    {}

    void Files() { Put(Name(L".txt"), "x"); }
    void Requests() { Put(Name(L".drq"), kEcho); }
    void Commands()
    {
        static constexpr const char* kTypes[] = {"CancelRequest", "PauseRequest", "UnregisterClient", "Nonsense"};
        PutCommand(kTypes[m_nMade % std::size(kTypes)], "honest-" + std::to_string(m_nMade % 100) + "0000.drq");
        if (m_nMade % 16 == 0)
            Put(Name(L".command"), "<Command Type='CancelRequest'><Request");
    }
    void Registrations() { PutCommand("RegisterClient", "RegisterClient__" + std::to_string(m_nMade)); }
    void Sql()
    {
        static constexpr const char* kStatements[] = {
            "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 20000) SELECT count(*) FROM c",
            "SELECT instr(hex(zeroblob(20000)), '1')",
            "SELECT a.id FROM birds a, birds b ORDER BY random()",
            "ATTACH 'x' AS y",
            "SELECT load_extension('x')",
        };
        static constexpr const char* kEndless[] = {
            "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c",
            "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT zeroblob(1000) FROM c",
        };
        const bool isEndless = m_nMade % 8 == 0;
        const std::string sql =
            isEndless ? kEndless[m_nMade / 8 % std::size(kEndless)] : kStatements[m_nMade % std::size(kStatements)];
        Put(Name(L".drq"),
            "<Request><Task Type=\"Query\"><DataSource>box</DataSource><Sql>" + sql + "</Sql></Task></Request>");
        // Each costs the server some time by right: the accounts' turns share it out, and one at a time is enough.
        platform::Clock().SleepFor(50ms);
    }
    void Locks()
    {
        // A request and its lock file, open for as long as a stranger pleases; the status of one that was answered.
        std::unique_ptr<platform::IFile> request;
        std::unique_ptr<platform::IFile> status;
        std::unique_ptr<platform::ILockFile> lock;
        const std::wstring name = Name(L".drq");
        static_cast<void>(platform::Files().Open(InRequests(name), platform::eOpenMode_WriteExclusive, request));
        static_cast<void>(platform::Files().OpenLockFile(InRequests(name) + L".lock", "", lock));
        const std::wstring answered = InOutput(Name(L".drq"));
        Put(platform::FileNameOf(answered), kEcho);
        platform::Clock().SleepFor(20ms);
        static_cast<void>(platform::Files().Open(answered + L".status", platform::eOpenMode_ReadExclusive, status));
        platform::Clock().SleepFor(300ms);
    }
    void Links()
    {
        const std::wstring name = Name(L".drq");
        static_cast<void>(testsupport::MakeLink(m_strVictim, InRequests(name)));
        const std::wstring answered = Name(L".drq");
        static_cast<void>(testsupport::MakeLink(m_strVictim, InOutput(answered) + L".status"));
        Put(answered, kEcho);
        std::error_code error;
        std::filesystem::create_hard_link(platform::StandardPath(m_strVictim),
                                          platform::StandardPath(InRequests(Name(L".drq"))), error);
    }
    void OddFiles()
    {
        static const std::vector<std::string> documents = OddDocuments();
        Put(Name(L".xml"), documents[m_nMade % documents.size()]);
        std::error_code error;
        std::filesystem::create_directory(platform::StandardPath(InRequests(L"directory.drq")), error);
        Put(std::wstring(240, L'n') + std::to_wstring(m_nMade % 10) + L".drq", kEcho);
        // What a system without accounts to try this with does not have, or fills with real zeros.
        if (m_hasAccounts && m_nMade % 50 == 0)
            static_cast<void>(testsupport::Succeeds({L"/usr/bin/mkfifo", {InRequests(Name(L".drq"))}}));
        if (m_hasAccounts && IsHard() && m_nMade % 50 == 0)
            static_cast<void>(testsupport::Succeeds({L"/usr/bin/truncate", {L"-s", L"1T", InRequests(Name(L".drq"))}}));
        platform::Clock().SleepFor(20ms);
    }

    /// How many files it got into the request directory: one that gets none there does no harm.
    [[nodiscard]] std::uint64_t PutFiles() const { return m_nPut; }

private:
    static constexpr const char* kEcho = "<Request><Task Type=\"Echo\" Text=\"x\"/></Request>";

    /// What takes a server long that has no limits for the size of a document; who runs this for long asks for it.
    static bool IsHard() { return platform::Environment(L"ZEL_HOSTILE_HARD") == L"1"; }

    static std::vector<std::string> OddDocuments()
    {
        const std::string whole = "<Request><Task Type=\"Echo\" Text=\"x\"/></Request>";
        std::vector<std::string> documents = {"", "<", std::string(1000, '\0'), "\xFF\xFE<"};
        for (std::size_t length = 1; length < whole.size(); length += 7)
            documents.push_back(whole.substr(0, length));
        documents.push_back("<!DOCTYPE r [<!ENTITY a SYSTEM \"file:///etc/hostname\">]><Request><Task Type=\"Echo\" "
                            "Text=\"&a;\"/></Request>");
        std::string deep;
        for (int level = 0; level < 20'000; ++level)
            deep += "<a>";
        documents.push_back(deep);
        const int attributes = IsHard() ? 80'000 : 2000;
        std::string wide = "<Request><Task Type=\"Echo\"";
        for (int index = 0; index < attributes; ++index)
            wide += " a" + std::to_string(index) + "=\"\"";
        documents.push_back(wide + "/></Request>");
        return documents;
    }

    [[nodiscard]] std::wstring Name(const wchar_t* extension)
    {
        return m_strKind + L"-" + std::to_wstring(m_nMade++) + extension;
    }
    [[nodiscard]] std::wstring InRequests(const std::wstring& name) const
    {
        m_lying.push_back(name);
        ClearAway();
        return platform::JoinPath(m_strRequests, name);
    }
    [[nodiscard]] std::wstring InOutput(const std::wstring& name) const
    {
        return platform::JoinPath(m_strOutput, name);
    }
    void Put(const std::wstring& name, const std::string& bytes)
    {
        m_nPut += platform::Succeeded(platform::WriteWholeFile(InRequests(name), bytes)) ? 1U : 0U;
    }
    void PutCommand(const std::string& type, const std::string& name)
    {
        Put(Name(L".command"), "<Command Type='" + type + "'><RequestName>" + name + "</RequestName></Command>");
        if (type == "RegisterClient")
            m_lying.push_back(platform::FromUtf8(name));
    }
    void ClearAway() const
    {
        if (m_lying.size() < kLeftLying)
            return;
        const std::wstring name = m_lying.front();
        m_lying.pop_front();
        for (const std::wstring& path : {platform::JoinPath(m_strRequests, name), InOutput(name),
                                         InOutput(name + L".status"), InOutput(platform::JoinPath(L"Queue", name))})
            static_cast<void>(platform::Files().Remove(path));
    }

    const std::wstring m_strKind;
    const std::wstring m_strRequests;
    const std::wstring m_strOutput;
    const std::wstring m_strVictim; ///< a file of the server's account
    const bool m_hasAccounts;
    std::uint64_t m_nMade = 0;
    std::uint64_t m_nPut = 0;
    mutable std::deque<std::wstring> m_lying;
};

int DoHarm(const std::vector<std::wstring>& arguments)
{
    static const std::map<std::wstring, void (CHostile::*)()> ways = {
        {L"files", &CHostile::Files},       {L"requests", &CHostile::Requests},
        {L"commands", &CHostile::Commands}, {L"registrations", &CHostile::Registrations},
        {L"sql", &CHostile::Sql},           {L"locks", &CHostile::Locks},
        {L"links", &CHostile::Links},       {L"odd", &CHostile::OddFiles},
    };
    const auto way = ways.find(arguments.at(0));
    if (way == ways.end())
        return 1;
    std::atomic<bool> isOver = false;
    std::thread parent([&] {
        static_cast<void>(testsupport::WaitForParent());
        isOver = true;
    });
    CHostile hostile(arguments);
    while (!isOver) {
        (hostile.*way->second)();
        platform::Clock().SleepFor(kBetweenSteps);
    }
    parent.join();
    testsupport::TellParent(std::to_wstring(hostile.PutFiles()));
    return 0;
}

const testsupport::CChildPart hostilePart(L"hostile", &DoHarm);

} // namespace
