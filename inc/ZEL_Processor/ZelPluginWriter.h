#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "platform/OsError.h"
#include "platform/Text.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Writing responses of any length: a file written through a buffer, and XML on top of it. None of it is safe for use
/// by two threads at once.

/// Takes bytes in order.
class IZelByteSink {
public:
    /// False when the bytes could not be taken; every later call is then false as well.
    [[nodiscard]] virtual bool Write(std::string_view bytes) = 0;

protected:
    ~IZelByteSink() = default;
};

/// A file that is there whole or not at all: one that is not closed, or fails to, is removed.
class ZEL_API CZelFileWriter final : public IZelByteSink {
public:
    CZelFileWriter();
    ~CZelFileWriter();
    CZelFileWriter(const CZelFileWriter&) = delete;
    CZelFileWriter& operator=(const CZelFileWriter&) = delete;

    /// Creates the file or replaces its content.
    [[nodiscard]] bool Open(const std::wstring& path);
    [[nodiscard]] bool Write(std::string_view bytes) override;
    /// Writes what is left. False when anything failed since Open; the file is gone then.
    [[nodiscard]] bool Close();
    /// The first failure since Open.
    [[nodiscard]] platform::eOsError Error() const;

private:
    struct SState;
    const std::unique_ptr<SState> m_pState; ///< never null
};

/// Appends UTF-8 text as XML character data that can stand in an attribute as well. Characters that XML has no way to
/// carry (most control characters) become U+FFFD; bytes that are no UTF-8 are the caller's affair.
inline void ZelAppendXmlText(std::string& xml, std::string_view utf8, bool inAttribute = false)
{
    for (const char character : utf8) {
        const auto code = static_cast<unsigned char>(character);
        if (character == '&')
            xml += "&amp;";
        else if (character == '<')
            xml += "&lt;";
        else if (character == '>')
            xml += "&gt;";
        else if (character == '"' && inAttribute)
            xml += "&quot;";
        else if (character == '\r' || (inAttribute && (character == '\t' || character == '\n')))
            xml += "&#" + std::to_string(code) + ";"; // a parser would turn it into something else
        else if (code < 0x20 && character != '\t' && character != '\n')
            xml += "\xEF\xBF\xBD";
        else
            xml += character;
    }
}

/// Writes elements one after another. Elements that hold elements are laid out on lines of their own, indented by two
/// blanks; one that holds text stands on one line. Names are written as they are.
class CZelXmlWriter {
public:
    explicit CZelXmlWriter(IZelByteSink& sink) : m_sink(sink) {}
    CZelXmlWriter(const CZelXmlWriter&) = delete;
    CZelXmlWriter& operator=(const CZelXmlWriter&) = delete;

    void Declaration() { m_strPending += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"; }
    void Open(std::string_view name)
    {
        EndTag();
        if (!m_open.empty()) {
            m_open.back().hasElements = true;
            NewLine();
        }
        m_open.push_back({std::string(name), false});
        (m_strPending += '<') += name;
        m_bInTag = true;
    }
    /// Directly after Open or another attribute.
    void Attribute(std::string_view name, std::wstring_view value)
    {
        ((m_strPending += ' ') += name) += "=\"";
        ZelAppendXmlText(m_strPending, platform::ToUtf8(value), true);
        m_strPending += '"';
    }
    void Text(std::wstring_view text) { Utf8(platform::ToUtf8(text)); }
    void Utf8(std::string_view text)
    {
        EndTag();
        ZelAppendXmlText(m_strPending, text);
        Pass();
    }
    /// Markup that was made elsewhere, as it is; it counts as elements that stand on lines of their own.
    void Markup(std::string_view markup)
    {
        EndTag();
        if (!m_open.empty())
            m_open.back().hasElements = true;
        m_strPending += markup;
        Pass();
    }
    /// One element that was made elsewhere, on a line of its own.
    void ElementMarkup(std::string_view element)
    {
        EndTag();
        if (!m_open.empty())
            NewLine();
        Markup(element);
    }
    void Close()
    {
        const SOpen element = std::move(m_open.back());
        m_open.pop_back();
        if (m_bInTag) {
            m_strPending += "/>";
            m_bInTag = false;
        } else {
            if (element.hasElements)
                NewLine();
            ((m_strPending += "</") += element.name) += '>';
        }
        if (m_open.empty())
            m_strPending += '\n';
        Pass();
    }
    void Element(std::string_view name, std::wstring_view text)
    {
        Open(name);
        Text(text);
        Close();
    }
    /// False when something could not be written.
    [[nodiscard]] bool IsGood() const { return m_bGood; }

private:
    struct SOpen {
        std::string name;
        bool hasElements;
    };

    void EndTag()
    {
        if (m_bInTag)
            m_strPending += '>';
        m_bInTag = false;
    }
    void NewLine() { m_strPending.append("\n").append(2 * m_open.size(), ' '); }
    void Pass()
    {
        m_bGood = m_sink.Write(m_strPending) && m_bGood;
        m_strPending.clear();
    }

    IZelByteSink& m_sink;
    std::vector<SOpen> m_open;
    std::string m_strPending;
    bool m_bInTag = false;
    bool m_bGood = true;
};
