// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Checkpoint.h"

#include "stream/OpenFile.h"
#include "volume/Failure.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <ios>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace TEVRA::stream {
namespace {

namespace fs = std::filesystem;

constexpr const char* HEADING = "tevra: smoothed slices, kept for a run that goes on with them";

constexpr const char* NEW_ENDING = ".new";

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

template <typename Visit>
void visit_names(const fs::path& folder, const Visit& visit) {
    std::error_code error;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end;
         entry.increment(error)) {
        visit(entry->path().filename().string());
    }
}

/// The bytes of a small file that is nobody's link. @return nothing if there is none.
std::optional<std::string> content_of(const std::string& path) {
    constexpr std::size_t MOST_BYTES = 1 << 20;
    const COpenFile file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.IsOpen()) {
        return std::nullopt;
    }
    std::string text(MOST_BYTES, '\0');
    const ssize_t count = ::read(file.Descriptor(), text.data(), text.size());
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

bool is_plain_file_of(const std::string& path, std::size_t bytes) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
           static_cast<std::size_t>(status.st_size) == bytes;
}

[[noreturn]] void throw_cannot_keep(const std::string& file, int reason) {
    throw volume::CEnvironmentError("cannot write '" + file + "', which a later run would go on with: " +
                                    std::generic_category().message(reason) +
                                    "; check the folder's permissions and the free space");
}

} // namespace

SCheckpointFiles CheckpointFiles(const std::string& prefix, const SProcess& process,
                                 const std::string& fingerprint) {
    SCheckpointFiles files{prefix + std::to_string(process.rank + 1) + "-of-" + std::to_string(process.size),
                           fingerprint};
    const fs::path place(prefix);
    const std::string start = place.filename().string();
    visit_names(place.parent_path(), [&](const std::string& name) {
        if (name.starts_with(start) && is_of_another_size(name.substr(start.size()), process.size)) {
            files.outdated.push_back((place.parent_path() / name).string());
        }
    });
    return files;
}

CCheckpoint::CCheckpoint(const SCheckpointFiles& files, std::size_t scratchBytes)
    : m_files(files), m_scratchBytes(scratchBytes) {
    read();
}

void CCheckpoint::read() {
    m_slices = m_files.record + "-" + RandomWord() + SCheckpointFiles::SLICES_ENDING;
    m_state = EState::other;
    const std::optional<std::string> content = content_of(m_files.record);
    if (!content) {
        m_state = m_files.outdated.empty() ? EState::absent : EState::other;
        return;
    }
    std::istringstream record(*content);
    std::string heading;
    std::string fingerprint;
    std::string numbers;
    std::string slices;
    std::getline(record, heading);
    std::getline(record, fingerprint);
    std::getline(record, numbers);
    std::getline(record, slices);
    const fs::path place = fs::path(m_files.record).parent_path() / slices;
    const std::optional<SSmoothed> smoothed = smoothed_of(numbers);
    if (heading == HEADING && fingerprint == m_files.fingerprint && smoothed &&
        place.string().starts_with(m_files.record + "-") &&
        is_plain_file_of(place.string(), m_scratchBytes)) {
        m_smoothed = *smoothed;
        m_slices = place.string();
        m_state = EState::reusable;
    }
}

void CCheckpoint::Take() {
    if (m_lock) {
        return;
    }
    try {
        m_lock.emplace(m_files.Lock());
        for (const std::string& file : m_files.outdated) {
            if (file.ends_with(SCheckpointFiles::LOCK_ENDING)) {
                RemoveAbandonedLock(file);
            }
        }
    } catch (const CLockedError& locked) {
        m_lock.reset();
        throw volume::CEnvironmentError("another run keeps its smoothed slices under '" + m_files.record +
                                        "' (" + locked.Holder() +
                                        "); wait until it has ended, or give another folder");
    } catch (const std::system_error& failure) {
        throw_cannot_keep(m_files.record, failure.code().value());
    }
    read();
}

void CCheckpoint::Discard() {
    remove_if_there(m_files.record);
    const fs::path record(m_files.record);
    const std::string start = record.filename().string();
    visit_names(record.parent_path(), [&](const std::string& name) {
        const bool isSlices =
            name.starts_with(start + "-") && name.ends_with(SCheckpointFiles::SLICES_ENDING);
        const bool isUnfinished = name.starts_with(start + ".") && name.ends_with(NEW_ENDING);
        if (isSlices || isUnfinished) {
            remove_if_there((record.parent_path() / name).string());
        }
    });
}

void CCheckpoint::Save(const SSmoothed& smoothed) {
    const std::string text = std::string(HEADING) + '\n' + m_files.fingerprint + '\n' + text_of(smoothed) +
                             '\n' + fs::path(m_slices).filename().string() + '\n';
    try {
        constexpr mode_t OWN = 0600;
        const SNewFile unfinished = MakeNewFile(m_files.record + ".", NEW_ENDING, OWN);
        const int file = unfinished.file.Descriptor();
        errno = 0;
        if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) || fsync(file) != 0 ||
            rename(unfinished.path.c_str(), m_files.record.c_str()) != 0) {
            const int reason = errno != 0 ? errno : ENOSPC;
            unlink(unfinished.path.c_str());
            throw_cannot_keep(m_files.record, reason);
        }
    } catch (const std::system_error& failure) {
        throw_cannot_keep(m_files.record, failure.code().value());
    }
    const fs::path folder = fs::path(m_files.record).parent_path();
    if (const int reason = SyncFolder(folder.empty() ? "." : folder.string()); reason != 0) {
        throw_cannot_keep(m_files.record, reason);
    }
}

void CCheckpoint::Remove() {
    Discard();
    for (const std::string& file : m_files.outdated) {
        remove_if_there(file);
    }
}

} // namespace TEVRA::stream
