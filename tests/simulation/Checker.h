#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"

#include <map>
#include <string>
#include <vector>

namespace sim {

/// What is known of one request, by all who had to do with it.
struct SRequest {
    std::wstring name;
    bool isHandedOver = false; ///< the call returned and said so
    bool isKept = false;       ///< the call said that nothing was handed over
    bool isCancelAsked = false;
    bool isTorn = false;                     ///< as the server read it
    bool hasTornResponse = false;            ///< or a foreign one
    bool hasNoResponse = false;              ///< although it is done
    int runs = 0;                            ///< how often its task worked
    std::vector<eZelProcRequestStatus> ends; ///< final statuses that its client took
};

/// Keeps account of a history, and says what in it breaks the promise.
class CChecker {
public:
    SRequest& Add(const std::wstring& name);
    [[nodiscard]] SRequest* Find(const std::wstring& name);
    [[nodiscard]] std::map<std::wstring, SRequest>& Requests() { return m_requests; }

    [[nodiscard]] static std::string ContentOf(const SRequest& request);
    /// The one right answer.
    [[nodiscard]] static std::string ResponseTo(const SRequest& request);

    void Read(SRequest& request, const std::string& content);
    void End(SRequest& request, eZelProcRequestStatus status, const std::string& comment);
    void Receive(SRequest& request, const std::string& response);
    /// What a history has given reason for.
    struct SExcuses {
        bool mayFail = false;     ///< to report a request failed
        bool mayRunAgain = false; ///< to begin one more than once
        bool mayLose = false;     ///< to know nothing of it
    };
    void CheckAll(const SExcuses& excuses);

    void Blame(const std::string& what) { m_faults.push_back(what); }
    [[nodiscard]] const std::vector<std::string>& Faults() const { return m_faults; }

private:
    std::map<std::wstring, SRequest> m_requests;
    std::vector<std::string> m_faults;
};

} // namespace sim
