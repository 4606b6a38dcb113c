#include "tests/plugins/PluginHarness.h"
#include "tests/plugins/SampleDatabase.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

using namespace plugintest;

namespace {

class DataStoreRequest : public testing::Test {
protected:
    DataStoreRequest() { m_data.Make(L"box", "CREATE TABLE t(a); INSERT INTO t VALUES(1), (2)"); }

    /// What a request comes to is its own affair; that it leaves nothing half done is not.
    void RunAndCheck(const std::string& text)
    {
        const SOutcome outcome = m_run.Run(text);
        EXPECT_EQ(outcome.leftFile, outcome.stage == eStage_Done) << text;
        if (outcome.stage == eStage_NoXml) {
            EXPECT_NE(outcome.error, L"") << text;
        }
    }

    CRecordingHost m_host;
    CComponents m_components;
    CDataFolder m_data;
    CComPtr<IWQ_ZELProcessorFactory> m_factory = m_components.MakeFactory(kDataStoreId);
    CRequestRun m_run{*m_factory};
    const std::string m_strText = QueryRequest("box", "SELECT a FROM t WHERE a > ?", "<Parameter>1</Parameter>");
};

} // namespace

TEST_F(DataStoreRequest, OtherRequestsAreLeftToOthers)
{
    EXPECT_EQ(m_run.Run("<Request><Task Type=\"Echo\"/></Request>").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("").stage, eStage_NotTaken);
    EXPECT_EQ(m_run.Run("<Request><Task Type=\"Query\"></Request>").stage, eStage_NotTaken);
    CComPtr<IWQ_ZELProcessorRequest> request;
    EXPECT_FALSE(m_factory->CreateRequest(L"missing.drq", request.Put()));
    EXPECT_FALSE(m_factory->CreateRequest(nullptr, request.Put()));
}

TEST_F(DataStoreRequest, ARequestInAnotherEncodingIsUnderstood)
{
    m_data.Make(L"box", "CREATE TABLE n(name TEXT); INSERT INTO n VALUES('\xC4\x8D\xC3\xA1p')");
    const SOutcome outcome =
        m_run.Run("<?xml version=\"1.0\" encoding=\"windows-1250\"?>\n" +
                  QueryRequest("box", "SELECT name FROM n WHERE name = ?", "<Parameter>\xE8\xE1p</Parameter>"));
    EXPECT_EQ(ElementOf(outcome.response, "Value"), "\xC4\x8D\xC3\xA1p");
}

TEST_F(DataStoreRequest, ATruncatedRequestIsNobodys)
{
    for (std::size_t length = 0; length < m_strText.size(); ++length)
        EXPECT_EQ(m_run.Run(m_strText.substr(0, length)).stage, eStage_NotTaken) << length;
    EXPECT_EQ(m_run.Run(m_strText).stage, eStage_Done);
}

TEST_F(DataStoreRequest, AnyFlippedBitEndsInAnAnswerOrAnError)
{
    for (std::size_t position = 0; position < m_strText.size(); ++position) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            std::string text = m_strText;
            text[position] = static_cast<char>(static_cast<unsigned char>(text[position]) ^ (1U << bit));
            RunAndCheck(text);
        }
    }
    // "a > ?" may become "a . ?" or the like; a statement that fails while it runs is reported.
    static_cast<void>(m_host.TakeReports());
    EXPECT_EQ(m_data.FileCount(), 1U);
}
