#include "apps/zel-server/TakeOver.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/common/ShownText.h"
#include "apps/zel-server/DirectoryClaim.h"

#include "ServerTexts.h"

bool TakeOver::HasOther(const SServerOptions& options)
{
    return CDirectoryClaim::Ask(options.outputDir) == platform::eOsError_SharingViolation;
}

bool TakeOver::Drain(const SServerOptions& options, const std::function<bool()>& goOn, std::wstring& error)
{
    if (!HasOther(options))
        return true;
    CZelProcessorClient client;
    // The file of the command is made where only servers of this output directory write.
    client.Init(options.requestDir, options.outputDir, CDirectoryClaim::OwnFolder(options.outputDir));
    client.SetGoOn(goOn);
    client.SetWithdrawsCommands(true);
    client.SetYields(true);
    const eZelProcRequestStatus answer = client.DrainServer();
    if (answer == eRequestStatus_Done || !HasOther(options)) // it may have ended in between
        return true;
    if (goOn())
        error = WQ_ModuleText(ServerTexts::IDS_NOT_DRAINED, {options.outputDir, OneLine(client.GetLastErrorText())});
    return false;
}
