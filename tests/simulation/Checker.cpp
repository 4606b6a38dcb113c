#include "tests/simulation/Checker.h"

#include "platform/Text.h"

#include <algorithm>

namespace sim {
namespace {

std::string NameOf(const SRequest& request)
{
    return platform::ToUtf8(request.name);
}

} // namespace

SRequest& CChecker::Add(const std::wstring& name)
{
    SRequest& request = m_requests[name];
    request.name = name;
    return request;
}

SRequest* CChecker::Find(const std::wstring& name)
{
    const auto found = m_requests.find(name);
    return found != m_requests.end() ? &found->second : nullptr;
}

std::string CChecker::ContentOf(const SRequest& request)
{
    return "<Request Name=\"" + NameOf(request) + "\">" + std::string(50, 'q') + "</Request>";
}

std::string CChecker::ResponseTo(const SRequest& request)
{
    return "<Response To=\"" + NameOf(request) + "\">" + std::string(100, 'r') + "</Response>";
}

void CChecker::Read(SRequest& request, const std::string& content)
{
    if (content != ContentOf(request))
        request.isTorn = true;
}

void CChecker::End(SRequest& request, eZelProcRequestStatus status, const std::string& comment)
{
    request.ends.push_back(status);
    switch (status) {
    case eRequestStatus_Done:
        if (request.runs == 0)
            Blame(NameOf(request) + " is done and never ran");
        return;
    case eRequestStatus_Canceled:
        if (!request.isCancelAsked)
            Blame(NameOf(request) + " was cancelled, and nobody asked for it");
        return;
    case eRequestStatus_ServerError: return;
    case eRequestStatus_NotRequested: return; // which is looked at in the end
    default: return Blame(NameOf(request) + " has no end: its status is " + std::to_string(status) + " " + comment);
    }
}

void CChecker::Receive(SRequest& request, const std::string& response)
{
    if (response != ResponseTo(request))
        request.hasTornResponse = true;
}

void CChecker::CheckAll(const SExcuses& excuses)
{
    for (const auto& [name, request] : m_requests) {
        if (request.isTorn && !excuses.mayLose)
            Blame(NameOf(request) + " was torn when the server read it");
        if (request.hasTornResponse && !excuses.mayLose)
            Blame(NameOf(request) + " has a torn response");
        if (request.hasNoResponse && !excuses.mayLose)
            Blame(NameOf(request) + " is done and has no response");
        const auto isLost = [](eZelProcRequestStatus end) { return end == eRequestStatus_NotRequested; };
        if (!excuses.mayLose && std::any_of(request.ends.begin(), request.ends.end(), isLost))
            Blame(NameOf(request) + " is lost: nothing is known of it");
        if (request.isHandedOver && request.ends.empty())
            Blame(NameOf(request) + " was handed over and never ended");
        if (request.isKept && request.runs != 0)
            Blame(NameOf(request) + " was not handed over, and ran");
        if (request.ends.size() > 1)
            Blame(NameOf(request) + " was answered " + std::to_string(request.ends.size()) + " times");
        if (!request.ends.empty() && request.ends.front() == eRequestStatus_ServerError && !excuses.mayFail)
            Blame(NameOf(request) + " failed, and nothing else did");
        if (request.runs > 1 && !excuses.mayRunAgain)
            Blame(NameOf(request) + " ran " + std::to_string(request.runs) + " times");
    }
}

} // namespace sim
