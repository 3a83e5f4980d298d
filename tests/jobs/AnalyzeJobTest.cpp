// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/AnalyzeJob.h"

#include "VexoBase/ProgressMonitor.h"
#include "support/RecordingMonitor.h"
#include "support/TemporaryFolder.h"
#include "volume/MemoryReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace TEVRA::jobs {
namespace {

using nlohmann::json;
using test::CTemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

/// Bright lines along x, 12 px apart along y and z.
std::vector<std::uint8_t> lines(const CSize& size) {
    std::vector<std::uint8_t> pixels;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            const double dy = static_cast<double>(y % 12) - 6.0;
            const double dz = static_cast<double>(z % 12) - 6.0;
            const auto grey = static_cast<std::uint8_t>(40.0 + 160.0 * std::exp(-(dy * dy + dz * dz) / 12.0));
            pixels.insert(pixels.end(), static_cast<std::size_t>(size[0]), grey);
        }
    }
    return pixels;
}

class AnalyzeJob : public testing::Test {
  protected:
    SAnalyzeTask task() {
        SAnalyzeTask task{.input = {m_image}};
        task.input.estimator = &stream::HESSIAN; // the fastest
        task.request.fiberRadius = 3.0;
        task.request.lengthUnit = "px";
        task.outputFolder = m_folder / "out";
        task.memoryBytes = std::size_t{1} << 30;
        task.imagePath = "lines";
        task.withReport = false; // which only some builds can make
        task.withPictures = false;
        task.programVersion = "1.2.3";
        return task;
    }
    /// A run that is over, but not saved.
    std::unique_ptr<CAnalyzeJob> run(const SAnalyzeTask& wanted) {
        auto job = std::make_unique<CAnalyzeJob>(wanted, *m_ranks);
        job->Plan(CAnalyzeJob::EPurpose::run);
        job->Run();
        return job;
    }
    /// The same without an output folder, with maps in memory.
    std::unique_ptr<CAnalyzeJob> run_in_memory(SAnalyzeTask wanted, stream::CMapsInMemory& maps) {
        wanted.withMaps = false;
        wanted.outputFolder.clear();
        wanted.sink = &maps;
        return run(wanted);
    }
    json read(const char* file) const { return json::parse(test::ReadFile(m_folder / "out" / file)); }

    CTemporaryFolder m_folder;
    CSize m_size{40, 36, 32};
    std::vector<std::uint8_t> m_pixels = lines(m_size);
    volume::CMemoryReader m_image{m_size, volume::EPixelType::u8, m_pixels.data()};
    std::unique_ptr<stream::ICommunicator> m_ranks = stream::SingleProcess();
};

TEST_F(AnalyzeJob, WritesTheOutputsThatTheTaskAsksFor) {
    SAnalyzeTask wanted = task();
    wanted.request.subfieldPx = {10, 10, 10};
    wanted.withMaps = true;
    const std::unique_ptr<CAnalyzeJob> job = run(wanted);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "out/result.json"));
    job->Save();
    EXPECT_THAT(
        CTemporaryFolder::EntriesOf(m_folder / "out"),
        ElementsAre("phi.mha", "profiles.csv", "result.json", "run.json", "subfields.csv", "theta.mha"));
    EXPECT_EQ(read("run.json")["files"], json(job->Files().Names()));
    EXPECT_GT(std::abs(read("result.json")["Field"]["Mean fiber direction"]["x"].get<double>()), 0.99);
}

TEST_F(AnalyzeJob, RecordsTheRequestAsItIs) {
    SAnalyzeTask wanted = task();
    wanted.request.fiberRadius = 1.5;
    wanted.request.spacing = {0.5, 0.5, 0.5};
    wanted.request.lengthUnit = "mm";
    wanted.request.otsuFactor = 1.125;
    wanted.spacing = {0.5, 0.5, 0.5};
    wanted.spacingOrigin = report::ESpacingOrigin::option;
    run(wanted)->Save();
    const json record = read("run.json");
    EXPECT_EQ(record["version"], "1.2.3");
    EXPECT_EQ(record["parameters"]["fiber_radius"], 1.5);
    EXPECT_EQ(record["parameters"]["fiber_radius_px"], 3.0);
    EXPECT_EQ(record["parameters"]["otsu_factor"], 1.125);
    EXPECT_EQ(record["input"]["length_unit"], "mm");
    EXPECT_EQ(read("result.json")["Fiber radius"], 1.5);
}

TEST_F(AnalyzeJob, AnEstimateTouchesNoFile) {
    CAnalyzeJob job(task(), *m_ranks);
    job.Plan(CAnalyzeJob::EPurpose::estimate);
    EXPECT_GT(job.Memory().peakBytes, 0U);
    EXPECT_THAT(m_folder.Entries(), IsEmpty());
}

TEST_F(AnalyzeJob, LeavesNothingBehindWhenItIsNotSaved) {
    run(task());
    EXPECT_THAT(m_folder.Entries(), IsEmpty());
}

TEST_F(AnalyzeJob, CanBeStoppedAtAnyPointOfSavingAndLeavesEarlierResultsAsTheyWere) {
    SAnalyzeTask wanted = task();
    wanted.request.subfieldPx = {10, 10, 10};
    wanted.exports = report::ExportNames();
    run(wanted)->Save();
    const auto contents = [this] {
        std::vector<std::string> files;
        for (const std::string& name : CTemporaryFolder::EntriesOf(m_folder / "out")) {
            files.push_back(name + ": " + test::ReadFile(m_folder / "out" / name));
        }
        return files;
    };
    const std::vector<std::string> earlier = contents();
    wanted.withPictures = true;
    wanted.outputFolder.clear();
    const std::unique_ptr<CAnalyzeJob> job = run(wanted);
    // A beginning; steps for what pictures share, the pictures, three tables and five exports, the record.
    constexpr int WRITING = 1 + 2 + 3 + 5 + 1;
    constexpr int FILES = 3 + 3 + 5 + 1;
    constexpr int ONTO_DISK = 1 + 2 * FILES; // each is small: a piece, and the rest of it
    for (int call = 1; call <= WRITING + ONTO_DISK; call += call < WRITING ? 1 : 3) {
        test::CRecordingMonitor monitor;
        monitor.throwAtCall = call;
        {
            const CProgressMonitorScope scope(monitor);
            EXPECT_THROW(job->SaveInto(m_folder / "out", nullptr), test::CInterrupted) << "call " << call;
        }
        EXPECT_EQ(monitor.openReports, 0);
    }
    EXPECT_EQ(contents(), earlier);
    test::CRecordingMonitor monitor;
    {
        const CProgressMonitorScope scope(monitor);
        job->SaveInto(m_folder / "out", nullptr);
    }
    EXPECT_EQ(monitor.Calls(), WRITING + ONTO_DISK);
    EXPECT_EQ(contents().size(), static_cast<std::size_t>(FILES));
}

TEST_F(AnalyzeJob, ResultsAndPicturesAreTheSameOnAnyNumberOfThreads) {
    SAnalyzeTask wanted = task();
    wanted.request.subfieldPx = {10, 10, 10};
    wanted.withPictures = true;
    wanted.withReport = true; // where it can be made
    wanted.outputFolder = m_folder / "alone";
    run(wanted)->Save();
    wanted.threads = 4;
    wanted.outputFolder = m_folder / "out";
    run(wanted)->Save();
    const std::vector<std::string> files = CTemporaryFolder::EntriesOf(m_folder / "alone");
    EXPECT_EQ(CTemporaryFolder::EntriesOf(m_folder / "out"), files);
    EXPECT_GE(files.size(), 7U);
    for (const std::string& file : files) {
        if (file != "run.json") { // which tells of threads and times
            EXPECT_EQ(test::ReadFile(m_folder / "out" / file), test::ReadFile(m_folder / "alone" / file))
                << file;
        }
    }
}

TEST_F(AnalyzeJob, ResultsThatWereKeptAreSavedAsThoseOfARunIntoTheFolder) {
    SAnalyzeTask wanted = task();
    wanted.request.subfieldPx = {10, 10, 10};
    wanted.withMaps = true;
    run(wanted)->Save();
    stream::CMapsInMemory maps(m_size);
    const std::unique_ptr<CAnalyzeJob> job = run_in_memory(wanted, maps);
    const stream::SFoundSlices all{{0, m_size[2]}, maps.Theta().data(), maps.Phi().data()};
    job->SaveInto(m_folder / "later", &all);
    job->SaveInto(m_folder / "tables", nullptr);

    EXPECT_EQ(CTemporaryFolder::EntriesOf(m_folder / "later"), CTemporaryFolder::EntriesOf(m_folder / "out"));
    for (const char* file : {"phi.mha", "profiles.csv", "result.json", "subfields.csv", "theta.mha"}) {
        EXPECT_EQ(test::ReadFile(m_folder / "later" / file), test::ReadFile(m_folder / "out" / file)) << file;
    }
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "tables"),
                ElementsAre("profiles.csv", "result.json", "run.json", "subfields.csv"));
    const auto record_in = [&](const char* folder) {
        return json::parse(test::ReadFile(m_folder / folder / "run.json"));
    };
    EXPECT_EQ(record_in("later")["files"], read("run.json")["files"]);
    EXPECT_EQ(record_in("later")["maps"], read("run.json")["maps"]);
    EXPECT_TRUE(record_in("tables")["maps"].is_null());
}

TEST_F(AnalyzeJob, WhoeverNamesNoEstimatorGetsTheDefaultOne) {
    SAnalyzeTask wanted{.input = {m_image}};
    wanted.request.fiberRadius = 3.0;
    EXPECT_EQ(CAnalyzeJob(wanted, *m_ranks).Record().parameters.request.estimator,
              stream::DEFAULT_ESTIMATOR->name);
}

TEST_F(AnalyzeJob, KeptResultsWithConfidenceAreSavedWithAndWithoutItsMap) {
    SAnalyzeTask wanted = task();
    wanted.input.estimator = &stream::LINE_VOTING;
    wanted.withMaps = true;
    run(wanted)->Save();
    stream::CMapsInMemory maps(m_size, stream::CMapsInMemory::EMaps::anglesAndConfidence);
    const std::unique_ptr<CAnalyzeJob> job = run_in_memory(wanted, maps);
    stream::SFoundSlices all{
        {0, m_size[2]}, maps.Theta().data(), maps.Phi().data(), maps.Confidence().data()};
    job->SaveInto(m_folder / "later", &all);
    for (const char* file : {"confidence.mha", "phi.mha", "result.json", "theta.mha"}) {
        EXPECT_EQ(test::ReadFile(m_folder / "later" / file), test::ReadFile(m_folder / "out" / file)) << file;
    }
    all.confidence = nullptr;
    job->SaveInto(m_folder / "without", &all);
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "without"),
                ElementsAre("phi.mha", "result.json", "run.json", "theta.mha"));
}

TEST_F(AnalyzeJob, ResultsThatCouldNotBeSavedCanBeSavedElsewhere) {
    SAnalyzeTask wanted = task();
    wanted.outputFolder.clear();
    const std::unique_ptr<CAnalyzeJob> job = run(wanted);
    std::filesystem::create_directories(m_folder / "taken" / "result.json");
    EXPECT_THROW(job->SaveInto(m_folder / "taken", nullptr), CWorkError);
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "taken"), ElementsAre("result.json"));
    job->SaveInto(m_folder / "free", nullptr);
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "free"), ElementsAre("result.json", "run.json"));
}

TEST_F(AnalyzeJob, TellsTheFaultOfALayoutInNumbers) {
    SAnalyzeTask wanted = task();
    wanted.request.fiberRadius = 16.5;
    CAnalyzeJob job(wanted, *m_ranks);
    try {
        job.Plan(CAnalyzeJob::EPurpose::run);
        FAIL() << "a fiber wider than the image";
    } catch (const CLayoutError& error) {
        EXPECT_EQ(error.Fault().reason, SLayoutFault::EReason::radiusExceedsImage);
        EXPECT_EQ(error.Fault().radiusPx, 16.5);
    }
    EXPECT_THAT(m_folder.Entries(), IsEmpty());
}

} // namespace
} // namespace TEVRA::jobs
