// SPDX-License-Identifier: BSD-3-Clause
#include "apps/AnalyzeBatch.h"

#include "apps/Failure.h"
#include "jobs/PendingFile.h"
#include "jobs/Ranks.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

namespace TEVRA::apps {

namespace {

namespace fs = std::filesystem;

std::string without_ending(const std::string& name) {
    fs::path path(name);
    if (path.extension() == ".gz") { // of image.nii.gz
        path = path.stem();
    }
    return path.stem().string();
}

/// Where the name of a file ends and that of a dataset in it begins; none in names of files.
std::size_t dataset_colon(const std::string& image) {
    std::error_code error;
    if (fs::exists(image, error)) {
        return std::string::npos;
    }
    std::size_t colon = image.find(':');
    while (colon != std::string::npos && !fs::is_regular_file(image.substr(0, colon), error)) {
        colon = image.find(':', colon + 1);
    }
    return colon;
}

/// "scan" of "data/scan.tif" and of the folder "data/scan/", "scan_raw_ct" of "data/scan.h5:/raw/ct".
std::string name_of(const std::string& image) {
    const std::size_t colon = dataset_colon(image);
    std::string file = image.substr(0, colon);
    std::error_code error;
    while (file.size() > 1 && file.back() == '/') {
        file.pop_back();
    }
    std::string name = fs::is_directory(file, error) ? fs::path(file).filename().string()
                                                     : without_ending(fs::path(file).filename().string());
    if (colon != std::string::npos) {
        const std::string dataset = image.substr(colon + 1);
        name += (dataset.starts_with('/') ? "" : "_") + dataset;
        std::replace(name.begin(), name.end(), '/', '_');
    }
    // Neither hidden nor another folder than one within.
    return name.empty() || name.front() == '.' ? "image" + name : name;
}

/// The message without "tevra: error: " and line break.
std::string reason_in(std::string message) {
    constexpr std::string_view START = "tevra: error: ";
    if (message.starts_with(START)) {
        message.erase(0, START.size());
    }
    while (!message.empty() && message.back() == '\n') {
        message.pop_back();
    }
    return message;
}

/// What failed on all processes is a failure like others; what failed on this one of several ends all.
int run_one(const std::function<void()>& work, const stream::ICommunicator& ranks, std::ostream& errors) {
    if (ranks.Size() == 1) {
        return RunGuarded(work, errors);
    }
    try {
        work();
        return STATUS_DONE;
    } catch (const jobs::CElsewhereError&) {
        return STATUS_FAILED;
    } catch (const jobs::CAgreedFailure& failure) {
        return RunGuarded([&failure] { failure.Rethrow(); }, errors);
    }
}

/// The table of an earlier batch is replaced, a file of the user's is not. @throws CWorkError
void refuse_table_of_others(const fs::path& summary) {
    std::error_code error;
    if (!fs::is_regular_file(summary, error)) {
        return; // what is no file is refused in any case
    }
    const std::string own = report::BatchSummaryCsv({});
    std::string found(own.size(), '\0');
    std::ifstream(summary, std::ios::binary).read(found.data(), static_cast<std::streamsize>(found.size()));
    if (found != own) {
        throw CWorkError("'" + summary.string() +
                         "' would be replaced, but no run of Tevra has written it; move it away or give "
                         "another output folder");
    }
}

/// A batch that was stopped has a row for every image, too.
std::vector<report::SBatchEntry> with_those_left(std::vector<report::SBatchEntry> entries,
                                                 const std::vector<std::string>& images,
                                                 const std::vector<std::string>& folders) {
    for (std::size_t i = entries.size(); i < images.size(); ++i) {
        entries.push_back({images[i], folders[i], "not analysed: the run was stopped before"});
    }
    return entries;
}

} // namespace

std::vector<std::string> FoldersOfImages(const std::vector<std::string>& images) {
    std::vector<std::string> folders;
    for (const std::string& image : images) {
        const std::string name = name_of(image);
        std::string folder = name;
        for (int number = 2; std::find(folders.begin(), folders.end(), folder) != folders.end() ||
                             folder == BATCH_SUMMARY_FILE;
             ++number) {
            folder = name + "_" + std::to_string(number);
        }
        folders.push_back(folder);
    }
    return folders;
}

void AnalyzeAll(const std::vector<std::string>& images, const std::string& folder,
                stream::ICommunicator& ranks, const AnalyzeOne& analyzeOne) {
    std::optional<jobs::COutputFolder> all;
    jobs::CPendingFiles files{jobs::CInputFiles(images)};
    const fs::path summary = fs::path(folder) / BATCH_SUMMARY_FILE;
    jobs::DoTogether(ranks, [&] {
        if (ranks.IsFirst()) {
            all.emplace(folder);
            refuse_table_of_others(summary);
            files.Add(summary);
        }
    });
    const std::vector<std::string> folders = FoldersOfImages(images);
    std::vector<report::SBatchEntry> entries;
    const auto write_table = [&] {
        if (ranks.IsFirst()) {
            files.WriteText(summary, report::BatchSummaryCsv(with_those_left(entries, images, folders)));
            files.Commit();
            all->Keep();
        }
    };
    std::string failed;
    std::size_t failures = 0;
    for (std::size_t i = 0; i < images.size(); ++i) {
        report::SBatchEntry entry{images[i], folders[i], ""};
        std::ostringstream errors;
        int status = STATUS_DONE;
        try {
            status =
                run_one([&] { analyzeOne(entry, (fs::path(folder) / folders[i]).string()); }, ranks, errors);
        } catch (...) { // one of several processes has failed, and ends all
            if (!entries.empty()) {
                write_table();
            }
            throw;
        }
        if (status > STATUS_WRONG_USAGE) { // a signal
            std::string table;
            if (!entries.empty()) {
                write_table();
                table = ", and stand in " + summary.string();
            }
            PrintError(std::cerr, "stopped by the user; " + std::to_string(i - failures) + " of " +
                                      std::to_string(images.size()) + " images are done" + table);
            throw CAlreadyReported(status);
        }
        if (status != STATUS_DONE) {
            std::cerr << errors.str() << std::flush;
            entry.error = errors.str().empty() ? "failed in another process" : reason_in(errors.str());
            entry.field.reset();
            failed += (failed.empty() ? "" : ", ") + images[i];
            ++failures;
        }
        entries.push_back(entry);
    }
    write_table();
    if (failures > 0) {
        jobs::DoTogether(ranks, [&] {
            if (ranks.IsFirst()) {
                throw CWorkError(std::to_string(failures) + " of " + std::to_string(images.size()) +
                                 " images failed: " + failed + "; " + summary.string() + " says why");
            }
        });
    }
}

} // namespace TEVRA::apps
