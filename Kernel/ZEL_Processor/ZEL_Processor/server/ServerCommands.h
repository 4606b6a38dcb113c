#pragma once

#include "EndedRequests.h"
#include "OperatorCommands.h"
#include "RequestTaker.h"
#include "ZEL_Processor/ZelProcessorEnums.h"

#include <functional>

class CClientRegistry;
class CZelProcessorProgress;
struct TSRequestItem;
namespace CommandFile {
struct SContent;
}

/// Reads and carries out commands. For the listener's thread.
class CServerCommands {
public:
    /// turns: counts each try while somebody is waited for. keptNames: see CEndedRequests.
    CServerCommands(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
                    CRequestRefusals& refusals, CRequestTaker& taker, CClientRegistry& registry,
                    const std::atomic<bool>& isRunning, std::atomic<std::uint32_t>& turns,
                    CKeptNames* keptNames = nullptr)
        : m_settings(settings),
          m_requests(requests),
          m_statuses(statuses),
          m_refusals(refusals),
          m_taker(taker),
          m_registry(registry),
          m_bRunning(isRunning),
          m_nTurns(turns),
          m_ended(settings, keptNames),
          m_operator(settings, requests, statuses)
    {}

    /// A command file of the request directory, from its first status to its last.
    void HandleCommandFile(const CString& path);
    /// taken: what became of the command file, which is in the queue directory when it was taken. False after a failure
    /// that the operator is to be told of.
    bool ProcessCommand(const CString& path, CRequestTaker::eTaken taken, CZelProcessorProgress* progress);
    bool RemoveRequestFromQueue(const CString& name);
    bool RegisterNewClient(const CString& requestId, const std::string& owner);
    /// Takes files of cancelled requests away that could not be taken away before.
    void TryAgain();

private:
    bool WaitUntilReadable(const CString& queuePath, CZelProcessorProgress* progress);
    bool ReadCommand(const CString& queuePath, CZelProcessorProgress* progress, CommandFile::SContent& command);
    bool CarryOutCommand(const CommandFile::SContent& command, const CString& queuePath,
                         CZelProcessorProgress* progress, bool& isRefused);
    bool Refuse(CZelProcessorProgress* progress, const CString& text, bool& isRefused);
    void CancelRequest(const CString& name, CZelProcessorProgress* progress);
    bool PauseOrUnpauseRequest(const CString& name, CZelProcessorProgress* progress, bool& isRefused);
    bool UnpauseRequest(const CString& name);
    [[nodiscard]] std::function<bool()> Patience();
    bool TakeNotQueued(const CString& name, TSRequestItem& item);

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CRequestStatuses& m_statuses;
    CRequestRefusals& m_refusals;
    CRequestTaker& m_taker;
    CClientRegistry& m_registry;
    const std::atomic<bool>& m_bRunning;
    std::atomic<std::uint32_t>& m_nTurns;
    CEndedRequests m_ended;
    COperatorCommands m_operator;
    std::chrono::nanoseconds m_lastTry{};
    CString m_strAsked;            ///< by the last command, for the log; empty when it could not be read
    bool m_bToldOtherwise = false; ///< the log has told of its refusal
};
