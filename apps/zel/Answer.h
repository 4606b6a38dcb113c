#pragma once

#include "apps/zel/FileCopy.h"

#include <string>
#include <vector>

/// The tables of an answer, as whoever prints them gets them.
enum eAnswerType { eAnswerType_Null, eAnswerType_Number, eAnswerType_Text };

struct SAnswerValue {
    eAnswerType type = eAnswerType_Null;
    std::string text; ///< UTF-8, of a number its digits; a blob is in base64

    friend bool operator==(const SAnswerValue&, const SAnswerValue&) = default;
};

struct SAnswerColumn {
    std::string name;
    bool isNumber = false;

    friend bool operator==(const SAnswerColumn&, const SAnswerColumn&) = default;
};

class IAnswerSink {
public:
    virtual ~IAnswerSink() = default;
    IAnswerSink(const IAnswerSink&) = delete;
    IAnswerSink& operator=(const IAnswerSink&) = delete;

    // False ends the reading.
    [[nodiscard]] virtual bool BeginTable(const std::vector<SAnswerColumn>& columns) = 0;
    /// May have more or fewer values than there are columns.
    [[nodiscard]] virtual bool Row(const std::vector<SAnswerValue>& values) = 0;
    [[nodiscard]] virtual bool EndTable() = 0;

protected:
    IAnswerSink() = default;
};

/// The most that one value, and all values of a row, may have in bytes, and how many values a row may have.
constexpr std::size_t kMaxAnswerValue = std::size_t{16} << 20;
constexpr std::size_t kMaxAnswerRow = std::size_t{64} << 20;
constexpr std::size_t kMaxAnswerColumns = 10'000;
/// The most that the names of a table's columns may have together in bytes.
constexpr std::size_t kMaxAnswerNames = std::size_t{1} << 20;

enum eAnswerEnd { eAnswerEnd_Whole, eAnswerEnd_Stopped, eAnswerEnd_Failed };

/// Reads an answer row by row: each element "Rows" is a table, and the "Columns" before it are its columns. One without
/// any is a table of its elements that hold texts: their path below the document element, and the text. The name is for
/// the reason of a failure.
[[nodiscard]] eAnswerEnd ReadAnswer(const ByteSource& source, const std::wstring& name, IAnswerSink& sink,
                                    std::wstring& error);
