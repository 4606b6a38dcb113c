#include "ZEL_Processor/ZelProcessorServer.h"

bool CZelProcessorServer::ProcessCommand(const CString&, CZelProcessorProgress*)
{
    // No command is known yet. The answer is a refusal, which the listener shows; the file stays where its sender put it.
    return false;
}
