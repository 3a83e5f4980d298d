// SPDX-License-Identifier: BSD-3-Clause
#include "apps/AnalyzeBatch.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace TEVRA::apps {
namespace {

using testing::ElementsAre;

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

} // namespace
} // namespace TEVRA::apps
