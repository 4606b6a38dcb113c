#pragma once

#include <string>
#include <vector>

/// The parts that the program plays when it was started by itself. Each announces itself with the line "ready", obeys
/// lines on standard input and ends when that is closed.
struct SPartOptions {
    std::wstring root; ///< of SBenchDirectories
    bool syncing = true;
    std::wstring components; ///< folder of the test tasks
};

constexpr const wchar_t* kPartSwitch = L"--part";
constexpr const wchar_t* kLibraryServer = L"library-server";
constexpr const wchar_t* kResumingServer = L"resuming-server"; ///< with the option "resume"
constexpr const wchar_t* kHoldingServer = L"holding-server";   ///< queues, but runs nothing
constexpr const wchar_t* kOneSlotServer = L"slots-1-server";
constexpr const wchar_t* kTwoSlotsServer = L"slots-2-server";
constexpr const wchar_t* kFourSlotsServer = L"slots-4-server";
constexpr const wchar_t* kIsolatedServer = L"isolated-server"; ///< tasks in a process of their own
constexpr const wchar_t* kQueueServer = L"queue-server";       ///< reads priorities, and holds its queue when told to
constexpr const wchar_t* kLibraryClient = L"library-client";
constexpr const wchar_t* kBareServer = L"bare-server";
constexpr const wchar_t* kBareClient = L"bare-client";

/// part: any of the servers but the bare one.
int RunLibraryServer(const SPartOptions& options, const std::wstring& part);
int RunLibraryClient(const SPartOptions& options);
int RunBareServer(const SPartOptions& options);
int RunBareClient(const SPartOptions& options);

/// Writes one line for the parent.
void TellParent(const std::wstring& line);
