#include "apps/zel/FileCopy.h"

#include "apps/common/ShownText.h"
#include "platform/ByteStream.h"
#include "platform/Os.h"

#include "ToolTexts.h"

#include <limits>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kChunk = 256 * 1024;
constexpr std::chrono::nanoseconds kRemovePatience = 2s;

std::wstring Reason(const STextCode& code, const std::wstring& path, platform::eOsError error)
{
    return ShownText(code, {path, platform::OsErrorText(error)});
}

/// What a failure of a source or target means, of which nothing was heard any more when the tool is to stop.
std::wstring StreamReason(const IPatience& patience, const STextCode& code, const std::wstring& name,
                          platform::eOsError error)
{
    return patience.HasGivenUp() ? ShownText(ToolTexts::IDS_COPY_INTERRUPTED, {name}) : Reason(code, name, error);
}

bool CopyChunks(IPatience& patience, const ByteSource& source, const std::wstring& from, std::uint64_t maxBytes,
                platform::IFile& target, const std::wstring& to, std::wstring& error)
{
    std::vector<std::byte> buffer(kChunk);
    for (std::uint64_t copied = 0;;) {
        if (patience.IsInterrupted()) {
            error = ShownText(ToolTexts::IDS_COPY_INTERRUPTED, {from});
            return false;
        }
        std::size_t read = 0;
        platform::eOsError result = source(buffer, read);
        if (!platform::Succeeded(result)) {
            error = StreamReason(patience, ToolTexts::IDS_CANNOT_BE_READ, from, result);
            return false;
        }
        copied += read;
        if (copied > maxBytes) {
            error = ShownText(ToolTexts::IDS_INPUT_TOO_LONG, {from, std::to_wstring(maxBytes)});
            return false;
        }
        const bool isEnd = read == 0;
        if (isEnd)
            result = target.Sync();
        else
            result = target.Write(std::span(buffer).first(read));
        if (!platform::Succeeded(result)) {
            error = Reason(ToolTexts::IDS_CANNOT_BE_WRITTEN, to, result);
            return false;
        }
        if (isEnd)
            return true;
    }
}

bool OpenToRead(const std::wstring& from, std::unique_ptr<platform::IFile>& source, std::wstring& error)
{
    const platform::eOsError result = platform::Files().Open(from, platform::eOpenMode_ReadShared, source);
    if (platform::Succeeded(result))
        return true;
    error = WhyNoFile(from);
    if (error.empty())
        error = Reason(ToolTexts::IDS_CANNOT_BE_READ, from, result);
    return false;
}

bool CopyToSink(IPatience& patience, const std::wstring& from, platform::IByteSink& sink, const std::wstring& name,
                std::wstring& error)
{
    std::unique_ptr<platform::IFile> source;
    if (!OpenToRead(from, source, error))
        return false;
    std::vector<std::byte> buffer(kChunk);
    for (;;) {
        std::size_t read = 0;
        if (const platform::eOsError result = source->Read(buffer, read); !platform::Succeeded(result)) {
            error = Reason(ToolTexts::IDS_CANNOT_BE_READ, from, result);
            return false;
        }
        const platform::eOsError result =
            read == 0 ? sink.Finish() : sink.Write(std::span(buffer).first(read), [&] { return patience.GoOn(); });
        if (!platform::Succeeded(result)) {
            error = StreamReason(patience, ToolTexts::IDS_CANNOT_BE_WRITTEN, name, result);
            return false;
        }
        if (read == 0)
            return true;
    }
}

bool CopyNamed(IPatience& patience, const ByteSource& source, const std::wstring& sourceName, std::uint64_t maxBytes,
               const std::wstring& to, const std::wstring& toName, std::wstring& error)
{
    std::unique_ptr<platform::IFile> target;
    platform::eOsError result = platform::Files().Open(to, platform::eOpenMode_WriteExclusive, target);
    if (!platform::Succeeded(result)) {
        error = Reason(ToolTexts::IDS_CANNOT_BE_CREATED, toName, result);
        return false;
    }
    bool isCopied = CopyChunks(patience, source, sourceName, maxBytes, *target, toName, error);
    if (result = target->Close(); isCopied && !platform::Succeeded(result)) {
        error = Reason(ToolTexts::IDS_CANNOT_BE_WRITTEN, toName, result);
        isCopied = false;
    }
    target.reset();
    if (!isCopied)
        static_cast<void>(platform::Files().Remove(to));
    return isCopied;
}

} // namespace

bool CopyContent(IPatience& patience, const std::wstring& from, const std::wstring& to, const std::wstring& toName,
                 std::wstring& error)
{
    std::unique_ptr<platform::IFile> source;
    const auto read = [&source](std::span<std::byte> buffer, std::size_t& count) {
        return source->Read(buffer, count);
    };
    return OpenToRead(from, source, error) &&
           CopyNamed(patience, read, from, std::numeric_limits<std::uint64_t>::max(), to, toName, error);
}

bool CopyBytes(IPatience& patience, const ByteSource& source, const std::wstring& sourceName, std::uint64_t maxBytes,
               const std::wstring& to, std::wstring& error)
{
    return CopyNamed(patience, source, sourceName, maxBytes, to, to, error);
}

bool CopyInput(IPatience& patience, const std::wstring& to, std::wstring& error)
{
    const auto read = [&patience](std::span<std::byte> buffer, std::size_t& count) {
        return platform::ReadInput(buffer, count, [&patience] { return !patience.IsInterrupted(); });
    };
    return CopyBytes(patience, read, WQ_ModuleText(ToolTexts::IDS_STANDARD_INPUT), kMaxInputBytes, to, error);
}

bool ReadAllInput(IPatience& patience, std::uint64_t maxBytes, std::string& bytes, std::wstring& error)
{
    const std::wstring name = WQ_ModuleText(ToolTexts::IDS_STANDARD_INPUT);
    std::vector<std::byte> buffer(kChunk);
    for (std::size_t read = 1; read > 0;) {
        const platform::eOsError result =
            platform::ReadInput(buffer, read, [&patience] { return !patience.IsInterrupted(); });
        if (!platform::Succeeded(result)) {
            error = StreamReason(patience, ToolTexts::IDS_CANNOT_BE_READ, name, result);
            return false;
        }
        bytes.append(reinterpret_cast<const char*>(buffer.data()), read);
        if (bytes.size() > maxBytes) {
            error = ShownText(ToolTexts::IDS_INPUT_TOO_LONG, {name, std::to_wstring(maxBytes)});
            return false;
        }
    }
    return true;
}

bool CopyToOutput(IPatience& patience, const std::wstring& from, std::wstring& error)
{
    return CopyToSink(patience, from, *platform::OutputSink(), WQ_ModuleText(ToolTexts::IDS_STANDARD_OUTPUT), error);
}

bool CopyToDevice(IPatience& patience, const std::wstring& from, const std::wstring& to, std::wstring& error)
{
    std::unique_ptr<platform::IByteSink> sink;
    const platform::eOsError result = platform::OpenSink(
        to, [&patience] { return patience.GoOn(); }, sink);
    if (!platform::Succeeded(result)) {
        error = StreamReason(patience, ToolTexts::IDS_CANNOT_BE_WRITTEN, to, result);
        return false;
    }
    return CopyToSink(patience, from, *sink, to, error);
}

std::wstring WhyNoFile(const std::wstring& path)
{
    if (platform::DirectoryExists(path))
        return ShownText(ToolTexts::IDS_IS_A_DIRECTORY, {path});
    if (platform::SinkKind(path) != platform::eSinkKind_None)
        return ShownText(ToolTexts::IDS_NO_ORDINARY_FILE, {path});
    return {};
}

platform::eOsError RemoveWhenFree(const std::wstring& path)
{
    const auto end = platform::Clock().Steady() + kRemovePatience;
    for (;;) {
        const platform::eOsError error = platform::Files().Remove(path);
        if (platform::IsAbsent(error))
            return platform::eOsError_None;
        if (error != platform::eOsError_SharingViolation || platform::Clock().Steady() >= end)
            return error;
        platform::Clock().SleepFor(1ms);
    }
}
