#include "platform/LastWords.h"

#include "platform/Os.h"
#include "platform/Process.h"

#include <algorithm>
#include <atomic>

namespace platform {

namespace {

/// Made ready once, and only read from then on.
struct SPrepared {
    CFixedText header;
    SubjectFunction subject = nullptr;
    bool isJournal = false; ///< where standard error goes
};
SPrepared g_prepared;
std::atomic<bool> g_isPreparing = false;
std::atomic<bool> g_isPrepared = false;

/// Of a proleptic calendar: the C library's conversion takes a lock.
void AddTime(std::int64_t seconds, CFixedText& text)
{
    constexpr std::int64_t day = 24 * 60 * 60;
    // Days since a first of March, so that the odd day of a leap year is the last one of its year.
    const std::int64_t days = seconds / day + 719468;
    const std::int64_t era = days / 146097;
    const std::int64_t ofEra = days % 146097;
    const std::int64_t yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t marchMonth = (5 * ofYear + 2) / 153;
    const std::int64_t month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
    const auto add = [&text](std::int64_t value, unsigned width) {
        text.AddNumber(static_cast<std::uint64_t>(value), 10, width);
    };
    add(era * 400 + yearOfEra + (month <= 2 ? 1 : 0), 4);
    add(month, 2);
    add(ofYear - (153 * marchMonth + 2) / 5 + 1, 2);
    text.Add("T");
    add(seconds % day / 3600, 2);
    add(seconds % 3600 / 60, 2);
    add(seconds % 60, 2);
    text.Add("Z");
}

void AddFault(const SFaultRecord& record, CFixedText& text)
{
    text.Add("Subject:     ");
    text.AddPrintable(g_prepared.subject());
    text.Add("\nKind:        ");
    text.AddPrintable(FaultKindName(record.kind));
    text.Add(", in the memory allocator\nCode:        ");
    text.AddNumber(record.code, 10);
    text.Add("\nAddress:     0x");
    text.AddNumber(record.address, 16, 16);
    text.Add("\n\nStack, innermost frame first:\n");
    for (std::size_t i = 0; i < std::min(record.frameCount, kMaxFaultFrames); ++i) {
        text.Add("#");
        text.AddNumber(i, 10);
        text.Add(i < 10 ? "  0x" : " 0x");
        text.AddNumber(record.frames[i], 16, 16);
        text.Add(" ");
        last_words::AddPlace(record.frames[i], text);
        text.Add("\n");
    }
}

/// A text of whole lines to standard error.
void WriteErrorLines(const CFixedText& text)
{
    if (!g_prepared.isJournal) {
        last_words::WriteError(text);
        return;
    }
    static CFixedText lines; // one thread says one text after the other
    lines.Clear();
    for (const char* at = text.Get(); *at != '\0'; ++at) {
        if (at == text.Get() || at[-1] == '\n')
            lines.Add("<3>");
        lines.AddByte(*at);
    }
    last_words::WriteError(lines);
}

} // namespace

void PrepareLastWords(const std::wstring& folder, const std::string& header, SubjectFunction subject)
{
    if (g_isPreparing.exchange(true))
        return;
    last_words::KeepFolder(folder);
    g_prepared.header.Add(header.c_str());
    g_prepared.subject = subject;
    g_prepared.isJournal = IsJournal(eStream_Error);
    g_isPrepared.store(true, std::memory_order_release);
}

void SayLastWords(const SFaultRecord& record)
{
    static std::atomic<bool> isSaid = false; // of two threads that end so the first one has the room
    if (!g_isPrepared.load(std::memory_order_acquire) || isSaid.exchange(true))
        return;
    static CFixedText error; // not on a stack that may be nearly used up
    error.Add("A fault in the memory allocator ends this process: what it holds locked would stay so.\n");
    AddFault(record, error);
    WriteErrorLines(error);

    static CFixedText name;
    static CFixedText report;
    const std::int64_t now = SystemClock().UtcSeconds();
    name.Add(kReportNamePrefix);
    AddTime(now, name);
    name.Add("-");
    name.AddNumber(CurrentProcessId(), 10);
    name.Add("-0.txt");
    report.Add(g_prepared.header.Get());
    report.Add("Time:        ");
    AddTime(now, report);
    report.Add("\n");
    AddFault(record, report);
    error.Clear();
    error.Add("Crash report: ");
    const bool isWritten = last_words::WriteFile(name.Get(), report, error);
    error.Add("\n");
    if (isWritten)
        WriteErrorLines(error);
}

} // namespace platform
