#include "protocol/ServerInfoFile.h"

#include "fuzz/Fuzz.h"

/// What was read can be written, and is then read as it was, as long as all of it fits.
void TryBytes(const std::string& bytes)
{
    SZelServerInfo info;
    if (!ServerInfoFile::FromText(bytes, info))
        return;
    Require(bytes.size() <= ServerInfoFile::kMaxBytes);
    SZelServerInfo again;
    const std::string text = ServerInfoFile::ToText(info);
    Require(text.size() <= ServerInfoFile::kMaxBytes);
    Require(ServerInfoFile::FromText(text, again));
    constexpr std::size_t kLongestLetter = 4; // what a byte may become
    Require(again == info || bytes.size() > ServerInfoFile::kMaxBytes / kLongestLetter);
}
