#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorProgress.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/simulation/Actors.h"
#include "tests/support/ScriptedPlugin.h"

namespace sim {
namespace {

SStage* g_stage = nullptr;

/// The request that this thread serves.
thread_local SRequest* t_request = nullptr;

bool ReadRequest(const std::wstring& path)
{
    std::string content;
    if (!platform::Succeeded(
            platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, content, std::size_t{1} << 20U)))
        return false;
    t_request = g_stage->checker.Find(platform::FileNameOf(path));
    if (t_request != nullptr)
        g_stage->checker.Read(*t_request, content);
    return t_request != nullptr;
}

bool Work(CZelProcessorContext* context, CZelProcessorProgress* progress)
{
    if (!CWorld::Process().isDead) {
        ++t_request->runs;
        g_stage->world.Trace("runs");
    }
    progress->SetRange(0, 2);
    for (std::uint64_t position = 1; position <= 2 && !context->IsCanceled(); ++position)
        progress->SetPos(position);
    return true;
}

bool Save(const std::wstring& path)
{
    const std::string response = CChecker::ResponseTo(*t_request);
    if (!g_stage->world.IsPlanted(ePlanted_StatusTooEarly))
        return platform::Succeeded(platform::WriteWholeFile(path, response));
    g_stage->lateResponse = [path, response] { static_cast<void>(platform::WriteWholeFile(path, response)); };
    return true;
}

} // namespace

void SetStage(SStage* stage)
{
    static SPluginScript script;
    static const CScriptedPlugin plugin(script);
    script.createRequest = ReadRequest;
    script.obtainData = Work;
    script.save = Save;
    g_stage = stage;
}

} // namespace sim
