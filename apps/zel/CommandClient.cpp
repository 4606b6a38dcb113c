#include "apps/zel/CommandClient.h"

#include "CommonTexts.h"

CCommandClient::CCommandClient(CToolSession& session)
    : m_folder(session.Options().clientDir.empty() ? session.Options().requestDir : session.Options().clientDir),
      m_pClient(std::make_unique<CZelProcessorClient>())
{
    m_pClient->Init(session.Options().requestDir, session.Options().outputDir, m_folder.Path());
    session.SetUp(*m_pClient);
    m_pClient->SetYields(true);
    m_pClient->SetWithdrawsCommands(true); // who is told that nobody carried it out relies on that
}

CCommandClient::~CCommandClient() = default;

bool CCommandClient::Open(std::wstring& error)
{
    if (!m_com.IsReady()) {
        error = WQ_ModuleText(CommonTexts::IDS_COM_NOT_READY);
        return false;
    }
    return m_folder.Make(error);
}
