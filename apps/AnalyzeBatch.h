// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/BatchSummary.h"
#include "stream/Communicator.h"

#include <functional>
#include <string>
#include <vector>

namespace TEVRA::apps {

/// The table of all images in the folder of all results.
inline constexpr const char* BATCH_SUMMARY_FILE = "summary.csv";

/// Names of folders for the results of images, one each: that of the image without its ending, with a number where
/// another one has it already; of a dataset of a file the names of both.
std::vector<std::string> FoldersOfImages(const std::vector<std::string>& images);

/// Analyses one image: fills dimension and whole field of its entry, on the first process.
/// @param folder for its results.
using AnalyzeOne = std::function<void(report::SBatchEntry& entry, const std::string& folder)>;

/// Analyses images one after the other into folders of their own, and writes the table of all of them. One that fails
/// says why and does not stop the others, unless it ends one of several processes. Where that, or the user, stops the
/// work, the table tells what was done until then.
/// @throws CWorkError in the end that names those that failed, CAlreadyReported when the user stops the work.
void AnalyzeAll(const std::vector<std::string>& images, const std::string& folder,
                stream::ICommunicator& ranks, const AnalyzeOne& analyzeOne);

} // namespace TEVRA::apps
