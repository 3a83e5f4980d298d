// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Checkpoint.h"

#include "volume/Failure.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <sstream>
#include <system_error>

namespace TEVRA::stream {
namespace {

namespace fs = std::filesystem;

constexpr const char* HEADING = "tevra: smoothed slices, to go on with by --resume";

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

} // namespace

CCheckpoint::CCheckpoint(const SCheckpointFiles& files, std::size_t scratchBytes) : m_files(files) {
    std::ifstream record(files.record);
    if (!record) {
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
    std::error_code ignored;
    fs::remove(m_files.record, ignored);
}

void CCheckpoint::Save(const SSmoothed& smoothed) {
    const std::string unfinished = m_files.record + ".new";
    std::ofstream record(unfinished, std::ios::trunc);
    record << HEADING << '\n' << m_files.fingerprint << '\n' << text_of(smoothed) << '\n';
    record.close();
    std::error_code error;
    fs::rename(unfinished, m_files.record, error);
    if (!record || error) {
        throw volume::CEnvironmentError("cannot write '" + m_files.record +
                                        "', which --resume goes on with; check the folder's permissions and "
                                        "the free space");
    }
}

void CCheckpoint::Remove() {
    Discard();
    std::error_code ignored;
    fs::remove(m_files.scratch, ignored);
}

} // namespace TEVRA::stream
