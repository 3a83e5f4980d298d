// SPDX-License-Identifier: BSD-3-Clause
#include "apps/AnalyzeBatch.h"

#include "apps/Failure.h"
#include "apps/Interruption.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

namespace TEVRA::apps {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(AnalyzeBatch, FoldersAreNamedAfterTheImagesAndOneEach) {
    EXPECT_THAT(FoldersOfImages({"a.tif", "data/b.c.tif", "other/a.tif", "a.mha", "x.nii.gz"}),
                ElementsAre("a", "b.c", "a_2", "a_3", "x"));
    EXPECT_THAT(FoldersOfImages({".hidden.tif", "summary.csv.tif", "a_2.tif", "a.tif", "b/a.tif"}),
                ElementsAre("image.hidden", "summary.csv_2", "a_2", "a", "a_3"));
}

TEST(AnalyzeBatch, FoldersOfDatasetsAndOfFoldersOfSlicesHaveTheirWholeNames) {
    const test::CTemporaryFolder folder;
    const std::string file = (folder / "scan.h5").string();
    test::WriteFile(file, "");
    std::filesystem::create_directory(folder / "slices.v2");
    EXPECT_THAT(FoldersOfImages({file + ":/raw/ct", file + ":ct", (folder / "slices.v2").string() + "/"}),
                ElementsAre("scan_raw_ct", "scan_ct", "slices.v2"));
}

void finish(report::SBatchEntry& entry) {
    entry.field.emplace().status = Impl::EFieldStatus::ok;
    entry.field->values.tensor.dim = 3;
}

TEST(AnalyzeBatch, StoppedInTheMiddleItTellsWhatWasDone) {
    const test::CTemporaryFolder folder;
    const std::string out = (folder / "out").string();
    const std::unique_ptr<stream::ICommunicator> alone = stream::SingleProcess();
    const auto stop_at_the_third = [](report::SBatchEntry& entry, const std::string& /*folder*/) {
        if (entry.image == "b.tif") {
            throw CWorkError("broken");
        }
        if (entry.image == "c.tif") {
            throw CInterrupted(SIGINT);
        }
        finish(entry);
    };
    testing::internal::CaptureStderr();
    EXPECT_THROW(AnalyzeAll({"a.tif", "b.tif", "c.tif", "d.tif"}, out, *alone, stop_at_the_third),
                 CAlreadyReported);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr("1 of 4 images are done"), HasSubstr("out/summary.csv")));
    const std::string table = test::ReadFile(folder / "out/summary.csv");
    EXPECT_THAT(table, AllOf(HasSubstr("\na.tif,a,,"), HasSubstr("\nb.tif,b,broken,"),
                             HasSubstr("\nc.tif,c,not analysed"), HasSubstr("\nd.tif,d,not analysed")));
}

TEST(AnalyzeBatch, StoppedAtTheFirstImageItLeavesNothing) {
    const test::CTemporaryFolder folder;
    const std::unique_ptr<stream::ICommunicator> alone = stream::SingleProcess();
    testing::internal::CaptureStderr();
    EXPECT_THROW(AnalyzeAll({"a.tif", "b.tif"}, (folder / "out").string(), *alone,
                            [](report::SBatchEntry&, const std::string&) { throw CInterrupted(SIGINT); }),
                 CAlreadyReported);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("0 of 2 images are done"));
    EXPECT_THAT(folder.Entries(), ElementsAre());
}

} // namespace
} // namespace TEVRA::apps
