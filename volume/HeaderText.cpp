// SPDX-License-Identifier: BSD-3-Clause
#include "volume/HeaderText.h"

#include "volume/ByteSource.h"
#include "volume/Failure.h"
#include "volume/NumberText.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace TEVRA::volume {
namespace {

constexpr std::string_view BLANKS = " \t\r\n\v\f";

} // namespace

std::string FirstBytes(const std::string& path, std::size_t mostBytes) {
    const unsigned long long present = FileBytes(path);
    std::string bytes(static_cast<std::size_t>(std::min<unsigned long long>(present, mostBytes)), '\0');
    OpenFileBytes(path, 0, bytes.size())->Read(0, bytes.size(), reinterpret_cast<std::byte*>(bytes.data()));
    return bytes;
}

void CheckHeaderLine(const std::string& path, std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        RefuseHeader(path, "it is not a text");
    }
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

std::vector<std::string> Words(std::string_view text) {
    std::vector<std::string> words;
    for (text = Trimmed(text); !text.empty(); text = Trimmed(text)) {
        const std::size_t length = std::min(text.find_first_of(BLANKS), text.size());
        words.emplace_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return words;
}

std::vector<long long> WholeNumbers(const std::string& path, const std::string& field,
                                    std::string_view text) {
    std::vector<long long> numbers;
    for (const std::string& word : Words(text)) {
        const std::optional<long long> number = ParseWholeNumber(word);
        if (!number) {
            RefuseHeader(path, field + " is '" + std::string(Trimmed(text)) + "'");
        }
        numbers.push_back(*number);
    }
    return numbers;
}

EStoredType SupportedType(const std::string& path, ENumberKind kind, int bits) {
    const std::optional<EStoredType> type = StoredTypeFrom(kind, bits);
    if (!type) {
        RefusePixels(path, NumberDescription(kind, bits));
    }
    return *type;
}

void RefusePixels(const std::string& path, const std::string& what) {
    throw CInputError(path + ": the pixels are " + what + ", which cannot be read; " + PixelTypeAdvice());
}

void RefuseHeader(const std::string& path, const std::string& why) {
    throw CInputError(path + ": the header is broken: " + why + "; copy or export the file again");
}

std::string BesideFile(const std::string& path, const std::string& name) {
    return (std::filesystem::path(path).parent_path() / name).string();
}

} // namespace TEVRA::volume
