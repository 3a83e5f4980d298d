// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Checkpoint.h"

#include "volume/Failure.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <sstream>
#include <string_view>
#include <system_error>

namespace TEVRA::stream {
namespace {

namespace fs = std::filesystem;

constexpr const char* HEADING = "tevra: smoothed slices, kept for a run that goes on with them";

/// Numbers as bits: they must come back as they were.
std::string text_of(const SSmoothed& smoothed) {
    std::ostringstream text;
    text << std::hexfloat << smoothed.range.lo << ' ' << smoothed.range.hi << ' ' << smoothed.range.nanCount
         << ' ' << smoothed.range.infiniteCount << ' ' << smoothed.extent.lo << ' ' << smoothed.extent.hi;
    return text.str();
}

/// Streams cannot read hexadecimal numbers back.
bool read_number(std::istream& text, double& number) {
    std::string word;
    if (!(text >> word)) {
        return false;
    }
    char* end = nullptr;
    number = std::strtod(word.c_str(), &end);
    return end == word.c_str() + word.size();
}

std::optional<SSmoothed> smoothed_of(const std::string& line) {
    std::istringstream text(line);
    SSmoothed smoothed{};
    double lo = 0.0;
    double hi = 0.0;
    if (!read_number(text, smoothed.range.lo) || !read_number(text, smoothed.range.hi) ||
        !(text >> smoothed.range.nanCount >> smoothed.range.infiniteCount) || !read_number(text, lo) ||
        !read_number(text, hi)) {
        return std::nullopt;
    }
    smoothed.extent = {static_cast<float>(lo), static_cast<float>(hi)};
    return smoothed;
}

/// Whether the name of a file ends as in "2-of-3", or so before an ending, with a last number other than
/// `size`.
bool is_of_another_size(const std::string& name, int size) {
    std::istringstream text(name);
    int rank = 0;
    int ranks = 0;
    std::array<char, 4> between{};
    if (!(text >> rank && text.read(between.data(), between.size()) && text >> ranks)) {
        return false;
    }
    return std::string_view(between.data(), between.size()) == "-of-" && ranks != size;
}

void remove_if_there(const std::string& file) {
    std::error_code ignored;
    fs::remove(file, ignored);
}

} // namespace

SCheckpointFiles CheckpointFiles(const std::string& prefix, const SProcess& process,
                                 const std::string& fingerprint) {
    const std::string record =
        prefix + std::to_string(process.rank + 1) + "-of-" + std::to_string(process.size);
    SCheckpointFiles files{record, record + ".scratch", fingerprint};
    const fs::path place(prefix);
    const std::string start = place.filename().string();
    std::error_code error;
    for (fs::directory_iterator entry(place.parent_path(), error);
         !error && entry != fs::directory_iterator{}; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(start) && is_of_another_size(name.substr(start.size()), process.size)) {
            files.outdated.push_back(entry->path().string());
        }
    }
    return files;
}

CCheckpoint::CCheckpoint(const SCheckpointFiles& files, std::size_t scratchBytes) : m_files(files) {
    std::ifstream record(files.record);
    if (!record) {
        m_state = files.outdated.empty() ? EState::absent : EState::other;
        return;
    }
    m_state = EState::other;
    std::string heading;
    std::string fingerprint;
    std::string numbers;
    std::getline(record, heading);
    std::getline(record, fingerprint);
    std::getline(record, numbers);
    std::error_code error;
    const std::optional<SSmoothed> smoothed = smoothed_of(numbers);
    if (heading == HEADING && fingerprint == files.fingerprint && smoothed &&
        fs::file_size(files.scratch, error) == scratchBytes && !error) {
        m_smoothed = *smoothed;
        m_state = EState::reusable;
    }
}

void CCheckpoint::Discard() {
    remove_if_there(m_files.record);
}

void CCheckpoint::Save(const SSmoothed& smoothed) {
    const std::string unfinished = m_files.record + ".new";
    std::ofstream record(unfinished, std::ios::trunc);
    record << HEADING << '\n' << m_files.fingerprint << '\n' << text_of(smoothed) << '\n';
    record.close();
    std::error_code error;
    fs::rename(unfinished, m_files.record, error);
    if (!record || error) {
        throw volume::CEnvironmentError(
            "cannot write '" + m_files.record +
            "', which a later run goes on with; check the folder's permissions and "
            "the free space");
    }
}

void CCheckpoint::Remove() {
    Discard();
    remove_if_there(m_files.scratch);
    for (const std::string& file : m_files.outdated) {
        remove_if_there(file);
    }
}

} // namespace TEVRA::stream
