#include "apps/zel/CommandClient.h"

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
        error = L"COM could not be initialised";
        return false;
    }
    return m_folder.Make(error);
}
