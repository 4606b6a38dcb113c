#pragma once

#include "apps/zel/Command.h"
#include "apps/zel/CommandClient.h"

/// Base of the commands that tell the server what to do with requests that it has.
class CSteerCommand : public ICommand {
public:
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

protected:
    /// One request that is to be steered.
    struct STarget {
        CToolSession& session;
        CZelProcessorClient& client;
        SRequestState state; ///< before
    };
    /// Steers a request that the server knows.
    [[nodiscard]] virtual eExitCode Steer(const STarget& target) = 0;

    /// "'a.drq' is paused" and the like: nothing was sent. The request's name is the first argument of the text.
    [[nodiscard]] static eExitCode Refuse(const STarget& target, const STextCode& code,
                                          std::vector<std::wstring> arguments = {});
    /// The same for one that has ended already.
    [[nodiscard]] static eExitCode RefuseEnded(const STarget& target);
    using Command = eZelProcRequestStatus (CZelProcessorClient::*)(const CString& requestPath);
    /// Asks the server. What the client reports meanwhile is not shown: Fail says it for people.
    [[nodiscard]] static eZelProcRequestStatus Ask(const STarget& target, Command command);
    /// False of a server that tells which commands it takes, and has not this one: it would not answer.
    [[nodiscard]] static bool TakesCommand(const STarget& target, const std::wstring& word);
    /// The server was asked and did not do it, or its answer was not waited for any longer.
    [[nodiscard]] static eExitCode Fail(const STarget& target, eZelProcRequestStatus answer);
    /// The server was not asked, for it did not take what was sent before.
    [[nodiscard]] static eExitCode FailUnasked(const STarget& target);
    /// The server was asked and did it: the state afterwards as an object, or the word for people.
    static void Tell(const STarget& target, const SRequestState& after, const std::wstring& word);

    /// The server works on the request.
    [[nodiscard]] static bool IsRunning(eZelProcRequestStatus status);

private:
    [[nodiscard]] static eExitCode Fail(const STarget& target, eZelProcRequestStatus answer,
                                        const std::wstring& comment);
    /// A text with the time that a server has for its answer.
    [[nodiscard]] static std::wstring TimeText(const STarget& target, const STextCode& code);
    [[nodiscard]] eExitCode SteerByName(CToolSession& session, CZelProcessorClient& client, const std::wstring& name);

    std::vector<std::string> m_given;
    std::vector<std::wstring> m_names;
};
