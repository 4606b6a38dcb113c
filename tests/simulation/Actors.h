#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelServerOptions.h"
#include "com/Com.h"
#include "tests/simulation/Checker.h"
#include "tests/simulation/World.h"

#include <functional>
#include <string>
#include <thread>

namespace sim {

inline constexpr const wchar_t* kRequestDir = L"/sim/requests";
inline constexpr const wchar_t* kOutputDir = L"/sim/output";
/// With the client's number behind it.
inline constexpr const wchar_t* kClientFolder = L"/sim/client";

/// What goes wrong in a history.
struct SPlan {
    bool failsInServer = false; ///< one of its calls fails
    bool failsInClient = false; ///< one of each
    bool killsClient = false;   ///< at one of its calls, each
    bool killsServer = false;   ///< the same; it is started again
    bool cutsPower = false;     ///< then all are started again
};

/// What all who act in a history know.
struct SStage {
    CWorld& world;
    CChecker& checker;
    SZelServerOptions options;
    SPlan plan;
    bool writesInPlace = false;              ///< some requests are written in the request directory, slowly
    std::function<void()> lateResponse = {}; ///< what is still to be written, where that is planted
    bool hasListener = false;
    bool tellsEvents = false; ///< somebody listens
    LONG events = 0;          ///< that the server was to tell
};

/// A process whose main thread runs a part of the history.
class CActor {
public:
    CActor(SStage& stage, const std::wstring& name);
    ~CActor();
    CActor(const CActor&) = delete;
    CActor& operator=(const CActor&) = delete;

    void Start(std::function<void()> part);
    [[nodiscard]] bool HasEnded() const { return m_hasEnded; }
    [[nodiscard]] SProcess& Process() const { return m_process; }

protected:
    SStage& m_stage;

private:
    SProcess& m_process;
    bool m_hasEnded = true;
    std::thread m_thread;
};

/// One run of the server.
class CServerActor final : public CActor {
public:
    explicit CServerActor(SStage& stage);
    /// Until it serves, or has ended before that.
    void WaitUntilUp();
    /// Waits for its end, by death or because it was asked to stop.
    void Stop();
    [[nodiscard]] bool IsUp() const { return m_isUp; }

private:
    void Serve();
    bool m_isUp = false;
    bool m_isStopAsked = false;
};

/// A client with some requests, one after the other.
class CClientActor final : public CActor {
public:
    CClientActor(SStage& stage, std::size_t number, std::size_t requests);

private:
    void Work();
    /// False when the client died, or could not send it.
    [[nodiscard]] bool Send(SRequest& request);
    /// As those do who know of no hand-over: open for a while, and read by nobody meanwhile.
    [[nodiscard]] bool WriteInPlace(SRequest& request);
    void Cancel(SRequest& request);
    CZelProcessorClient m_client;
    const std::wstring m_folder;
    const std::size_t m_number;
    const std::size_t m_requests;
};

/// Waits for the end of a request that was handed over, and takes the answer.
void TakeAnswer(SStage& stage, const std::wstring& folder, SRequest& request);

/// Puts the plug-in of the histories into the category, whose tasks keep the account of this stage; null for none.
void SetStage(SStage* stage);

} // namespace sim
