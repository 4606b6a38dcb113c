#pragma once

#include "apps/zel/FileCopy.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

enum eXmlPiece { eXmlPiece_Start, eXmlPiece_End, eXmlPiece_Text, eXmlPiece_Finished, eXmlPiece_Failed };

/// Reads a document of any length piece by piece, in the memory of one piece: UTF-8, without a document type. A
/// stranger may have written it, so everything has a limit. What is between the pieces (comments, instructions) is
/// passed over.
class CXmlPieces {
public:
    static constexpr std::size_t kMaxDepth = 256;
    static constexpr std::size_t kMaxAttributes = 1000;
    static constexpr std::size_t kMaxNameBytes = 4000;
    static constexpr std::size_t kMaxAttributeBytes = 65'536;
    static constexpr std::size_t kTextBytes = 65'536; ///< a longer text comes in several pieces

    explicit CXmlPieces(ByteSource source) : m_source(std::move(source)) {}

    [[nodiscard]] eXmlPiece Next();
    /// Of a start and an end.
    [[nodiscard]] const std::string& Name() const { return m_strName; }
    /// Of a start; empty for one that is not there.
    [[nodiscard]] std::string_view Attribute(std::string_view name) const;
    /// Of a text, in UTF-8.
    [[nodiscard]] const std::string& Text() const { return m_strText; }
    /// Elements that are open, the one that has just been started among them.
    [[nodiscard]] std::size_t Depth() const { return m_open.size(); }
    /// After a failure: the system's word, or that the document is none, with its line.
    [[nodiscard]] platform::eOsError Error() const { return m_error; }
    [[nodiscard]] std::size_t Line() const { return m_nLine; }

private:
    static constexpr int kEnd = -1;

    [[nodiscard]] int Peek();
    int Take();
    [[nodiscard]] bool TakeIf(std::string_view text);
    void SkipSpace();
    [[nodiscard]] bool SkipBehind(std::string_view text);
    [[nodiscard]] bool TakeName(std::string& name);
    [[nodiscard]] bool TakeReference(std::string& text);
    [[nodiscard]] bool TakeAttributes();
    [[nodiscard]] bool TakeDeclaration();
    [[nodiscard]] bool TakeText();
    [[nodiscard]] bool TakeData();
    /// The start or the end of an element.
    [[nodiscard]] eXmlPiece TakeTag();
    /// Markup that is no piece.
    [[nodiscard]] bool SkipMarkup(bool& isData);

    const ByteSource m_source;
    std::string m_strBuffer;
    std::size_t m_nAt = 0;
    std::size_t m_nLine = 1;
    platform::eOsError m_error = platform::eOsError_None;
    bool m_bBegun = false;
    bool m_bHasRoot = false;
    bool m_bInData = false;
    std::size_t m_nBrackets = 0; ///< in data, behind the text so far: perhaps of its end, and two at most
    bool m_bEndsAtOnce = false;
    std::string m_strName;
    std::string m_strText;
    std::vector<std::pair<std::string, std::string>> m_attributes;
    std::vector<std::string> m_open;
};
