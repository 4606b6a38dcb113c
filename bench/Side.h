#pragma once

#include "bench/RequestTask.h"
#include "bench/Series.h"
#include "platform/Process.h"

#include <chrono>
#include <string>

/// A running server with its client, or one of them alone, each a process of its own.
class CSide {
public:
    struct SPlan {
        std::wstring root;
        const wchar_t* server = nullptr; ///< the part; null for none
        const wchar_t* client = nullptr;
        bool syncing = true;
        std::wstring components;
    };
    explicit CSide(const SPlan& plan);
    /// Ends both and removes their directories.
    ~CSide();
    CSide(const CSide&) = delete;
    CSide& operator=(const CSide&) = delete;

    /// Lets the client run a command and adds what it took to the series. task: see RequestTask.h.
    void Measure(const std::string& command, std::size_t count, CSeries& series, const std::string& task = kEchoTask);
    /// Starts a command whose answer FinishListening waits for.
    void StartListening(std::chrono::seconds time);
    void FinishListening();

    [[nodiscard]] const platform::CProcess& Server() const { return m_server; }
    [[nodiscard]] const platform::CProcess& Client() const { return m_client; }

private:
    void Start(platform::CProcess& process, const wchar_t* part, const SPlan& plan);
    void Ask(const std::wstring& line);
    std::wstring Answer();
    static void End(platform::CProcess& process) noexcept;

    const std::wstring m_root;
    const bool m_hasServer;
    platform::CProcess m_server;
    platform::CProcess m_client;
};
