#include "apps/zel/CommandClient.h"

#include "CommonTexts.h"

CCommandClient::CCommandClient(const SToolOptions& options)
    : m_folder(options.clientDir.empty() ? options.requestDir : options.clientDir),
      m_pClient(std::make_unique<CZelProcessorClient>())
{
    m_pClient->Init(options.requestDir, options.outputDir, m_folder.Path());
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
