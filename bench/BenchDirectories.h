#pragma once

#include <string>

/// The directories of one server and its client, all below one root and so on one volume.
struct SBenchDirectories {
    explicit SBenchDirectories(const std::wstring& root);

    /// Creates what is missing; throws when it can't.
    void Create() const;

    std::wstring root;
    std::wstring request;
    std::wstring output;
    std::wstring queue;
    std::wstring client; ///< where the client writes its requests
    std::wstring target; ///< where it takes the responses to
};

/// Removes a directory with all that is in it.
void RemoveTree(const std::wstring& directory);

/// The bare operations of the standard library, each one call of the system. They throw when they fail.
void BareRename(const std::wstring& from, const std::wstring& to);
void BareRemove(const std::wstring& path);
[[nodiscard]] bool BareExists(const std::wstring& path);
