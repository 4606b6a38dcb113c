#pragma once

/// The names of the file protocol, for those who take part in it beside CZelProcessorClient and CZelProcessorServer.
/// What each file is, who makes it and who deletes it: docs/protocol.md.
namespace ZelProtocol {

/// Directory of waiting and running requests, in the output directory.
inline constexpr const wchar_t* kQueueDirectory = L"Queue";

/// Directory of the server's own, in the output directory. Clients leave it alone.
inline constexpr const wchar_t* kServerDirectory = L".zel-server";
/// In it: the lock that a zel-server holds for as long as it lives, the number of its process, and what it tells of
/// itself (CZelProcessorServer::PublishInfo). The first two lie in a directory of that name in the request directory,
/// too.
inline constexpr const wchar_t* kClaimFile = L"lock";
inline constexpr const wchar_t* kClaimProcessFile = L"process";
inline constexpr const wchar_t* kServerInfoFile = L"server";
/// In it, too: there for as long as the queue is held (SZelServerOptions::operatorCommands).
inline constexpr const wchar_t* kHeldFile = L"held";
/// In it, too: the number of the process of a server that drains (SZelServerOptions::drained), like kClaimProcessFile.
inline constexpr const wchar_t* kDrainingFile = L"draining";
/// In it, too: the directory of requests that have failed and are kept (SZelServerOptions::keepFailed), each under its
/// name, and behind the whole name the extension of what is told of it.
inline constexpr const wchar_t* kFailedDirectory = L"failed";
inline constexpr const wchar_t* kFailedExtension = L".failed";
/// In it, too: the directory of what runs in which slot (SZelServerOptions::tellSlots), a file for each.
inline constexpr const wchar_t* kSlotsDirectory = L"slots";
/// In it, too: the figures of a zel-server, a JSON object.
inline constexpr const wchar_t* kFiguresFile = L"figures.json";

/// Extensions of what a client puts into the request directory, in any letter case. Other files are left alone there.
inline constexpr const wchar_t* kRequestExtension = L".drq";
inline constexpr const wchar_t* kXmlRequestExtension = L".xml";
inline constexpr const wchar_t* kCommandExtension = L".command";

/// Behind the whole name of a request or command: its status, in the output directory.
inline constexpr const wchar_t* kStatusExtension = L".status";
/// Behind the whole name of a file that two sides write: who has this one open may use that one.
inline constexpr const wchar_t* kLockExtension = L".lock";

/// Before a client's id in braces: what the server tells that client, in the output directory.
inline constexpr const wchar_t* kDsEventsPrefix = L"DsEvents_";
inline constexpr const wchar_t* kInsertableItemsPrefix = L"InsertableItemsGroup_";
inline constexpr const wchar_t* kLockResultsPrefix = L"LockResultsChange_";
/// Before a client's id in braces, with kLockExtension behind it: a lock that the client holds for as long as it lives.
inline constexpr const wchar_t* kPresencePrefix = L"Presence_";

} // namespace ZelProtocol
