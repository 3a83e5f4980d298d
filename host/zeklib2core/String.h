// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

namespace TEVRA {

/// The host's string: narrow text with numbered placeholders that `Arg` fills in.
///
///     CString text("Tried to add %1-by-%2 and %3-by-%4 matrices", CString::eEncodingUtf8);
///     text.Arg(2, 0).Arg(3, 0).Arg(3, 0).Arg(2, 0);  // Tried to add 2-by-3 and 3-by-2 matrices
///
/// Each `Arg` replaces every occurrence of the lowest-numbered placeholder (`%1` to `%99`) in the text as it
/// is at that moment: a placeholder that an earlier `Arg` brought in counts like any other. Without a
/// placeholder the text stays as it is.
class CString {
  public:
    /// How the bytes handed to a constructor are to be read. The host stores them unchanged.
    enum EnEncoding { eEncodingNative = 0, eEncodingUtf8 = 1 };

    /// No position; as a length: up to the end of the text.
    static constexpr std::size_t NPOS = std::numeric_limits<std::size_t>::max();

    CString() = default;
    /// @param text null-terminated; null counts as empty.
    CString(const char* text, EnEncoding encoding);
    CString(const CString&) = default;
    CString(CString&&) noexcept = default;
    CString& operator=(const CString&) = default;
    CString& operator=(CString&&) noexcept = default;
    ~CString() = default;

    /// Replaces the text by the first `length` characters of `text`, or by all of it for `NPOS`.
    void Set(const char* text, std::size_t length);

    /// The second parameter of the numeric forms is a field width: the number is padded with blanks on the
    /// left to that many characters; 0 means no padding.
    CString& Arg(long long value, int fieldWidth);
    CString& Arg(int value, int fieldWidth);
    /// Writes the shortest decimal text that reads back as the same number; "nan", "inf" and "-inf"
    /// otherwise.
    CString& Arg(double value, int fieldWidth);
    CString& Arg(char value);
    CString& Arg(const char* value);
    CString& Arg(const CString& value);
    CString& Arg(std::string value);

    /// The text, null-terminated; valid until the string changes.
    const char* c_str() const noexcept { return m_text.c_str(); }
    const std::string& Text() const noexcept { return m_text; }
    std::size_t Length() const noexcept { return m_text.size(); }
    bool IsEmpty() const noexcept { return m_text.empty(); }

    friend bool operator==(const CString& a, const CString& b) noexcept { return a.m_text == b.m_text; }

  private:
    CString& replace_lowest_placeholder(std::string_view value);

    std::string m_text;
};

} // namespace TEVRA
