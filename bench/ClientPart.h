#pragma once

#include "bench/BenchDirectories.h"
#include "bench/Part.h"

#include <chrono>
#include <string>

/// What a client does, once with the library and once with bare file operations. Requests are known by their file name.
/// Everything throws when it fails.
class IBenchClient {
public:
    static constexpr std::chrono::minutes kPatience{10};

    virtual ~IBenchClient() = default;
    IBenchClient(const IBenchClient&) = delete;
    IBenchClient& operator=(const IBenchClient&) = delete;

    /// Writes the request with this text and hands it over.
    virtual void Send(const std::wstring& name, const std::string& request) = 0;
    virtual void WaitForEnd(const std::wstring& name) = 0;
    /// Moves the response to the target directory and removes the status.
    virtual void Take(const std::wstring& name) = 0;
    /// Waits for this time for a request that does not end.
    virtual void Listen(const std::wstring& name, std::chrono::milliseconds time) = 0;

    virtual void WriteStatus(unsigned percent) = 0;
    virtual void ReadStatus() = 0;

    // Only the library has these; the others fail.
    virtual void WaitUntilRuns(const std::wstring& name);
    /// Until it has ended for that reason.
    virtual void Cancel(const std::wstring& name);
    /// Nothing is started until it is told so.
    virtual void HoldQueue(bool isHeld);

protected:
    IBenchClient() = default;
};

/// Obeys the parent: "<command> <count> [<task>]" with serial, burst, held-burst, cancel, queue, listen, status-write
/// and status-read. Answers each with the nanoseconds of the whole, followed by those of each single one for the serial
/// ones. The task is one of RequestTask.h, an echo without it.
int ServeParent(IBenchClient& client, const SBenchDirectories& directories);

/// The request whose status file the status rows write and read.
constexpr const wchar_t* kStatusRequest = L"status-row.drq";
