// SPDX-License-Identifier: BSD-3-Clause
// An estimator is one stage and the table's row: a stage that finds the same axis everywhere, and uses all that
// the interface offers.
#include "stream/RankThreads.h"
#include "stream/Streamed.h"

#include "Subfields/ResultDocument.h"
#include "stream/stages/VolumeSmoothing.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <numbers>
#include <vector>

using namespace TEVRA;
using namespace TEVRA::test;
using testing::ElementsAre;

namespace {

constexpr long long REACH = 3;
constexpr double BORDER_RADII = 1.6; // 5 of 3 pixels, rounded
constexpr float CONFIDENCE = 0.75F;
std::atomic<long long> s_confidenceRows = 0; // that were asked for

/// Matrices with the axis (sqrt 1/2, sqrt 1/2, 0) for their largest eigenvalue. Checks what it is handed.
template <std::size_t Dim>
class CToyRows : public Impl::IMatrixRows<Dim> {
  public:
    CToyRows(const stream::CScratchStore& store, const CSize& size)
        : m_store(store), m_size(size), m_off(static_cast<std::size_t>(size[0]), 0.0F),
          m_one(m_off.size(), 1.0F) {
        m_rows.fill(m_off.data());
        m_rows[0] = m_rows[1] = m_rows[Dim] = m_one.data(); // xx, xy, yy
    }
    void GoTo(long long z) override {
        m_z = z;
        const stream::SSliceRange& stored = m_store.Slices();
        EXPECT_LE(stored.first, std::max(z - REACH, 0LL));
        EXPECT_GE(stored.end, std::min(z + REACH + 1, m_size[2]));
    }
    const Impl::SymmetricRow<Dim>& At(long long y, const unsigned char* foreground) override {
        EXPECT_TRUE(
            std::any_of(foreground, foreground + m_off.size(), [](unsigned char f) { return f != 0; }));
        // The first volume holds the number of the slice: those in reach are there, whoever owns them.
        for (long long z = std::max(m_z - REACH, 0LL); z < std::min(m_z + REACH + 1, m_size[2]); ++z) {
            EXPECT_EQ(m_store.Slice(z, 0)[y * m_size[0]], static_cast<float>(z));
        }
        return m_rows;
    }
    void Confidence(const unsigned char* foreground, float* confidence) override {
        ++s_confidenceRows;
        std::transform(foreground, foreground + m_off.size(), confidence,
                       [](unsigned char f) { return f != 0 ? CONFIDENCE : 0.0F; });
    }

  private:
    const stream::CScratchStore& m_store;
    CSize m_size;
    long long m_z = 0;
    std::vector<float> m_off;
    std::vector<float> m_one;
    Impl::SymmetricRow<Dim> m_rows{};
};

class CToyStage : public stream::IAxisStage {
  public:
    explicit CToyStage(const stream::SStageSetup& setup)
        : m_size(setup.imageSize), m_gaussian(Impl::GaussianFromSigma(setup.fiberRadius / setup.spacing[0])) {
    }

    std::string Fingerprint() const override { return "toy"; }
    stream::SStageScratch Scratch() const override { return {2, std::max(REACH, 8LL), REACH}; }
    std::vector<stream::SStagePass> Passes() const override {
        return {{"numbers",
                 [](const stream::SStageContext& context) {
                     for (long long z = context.own.first; z < context.own.end; ++z) {
                         std::fill_n(context.store.Slice(z, 0), context.store.SlicePixels(),
                                     static_cast<float>(z));
                     }
                 }},
                {"toy slices",
                 [this](const stream::SStageContext& context) {
                     context.found.range = stream::SmoothSlices(context, {m_gaussian, 1});
                 }},
                {"toy columns", [this](const stream::SStageContext& context) {
                     context.found.extent = stream::SmoothAcrossSlices(context, {m_gaussian, 1});
                 }}};
    }
    std::size_t PassBytes(const stream::SStageCut& cut) const override {
        return stream::ColumnBytes(m_gaussian, cut);
    }
    int ForegroundVolume() const override { return 1; }
    Impl::EEigenvalue Eigenvalue() const override { return Impl::EEigenvalue::largest; }
    Impl::EConfidence Confidence() const override { return Impl::EConfidence::absolute; }
    void Prepare(const stream::SSliceRange& slab, const stream::SStageContext& context) override {
        EXPECT_EQ(slab.first, m_prepared < 0 ? context.own.first : m_prepared) << "in ascending order";
        m_prepared = slab.end;
    }
    std::unique_ptr<Impl::IMatrixRows<2>> NewRows2(const stream::CScratchStore& store) const override {
        return std::make_unique<CToyRows<2>>(store, m_size);
    }
    std::unique_ptr<Impl::IMatrixRows<3>> NewRows3(const stream::CScratchStore& store) const override {
        return std::make_unique<CToyRows<3>>(store, m_size);
    }
    std::size_t RowBytes() const override { return 2 * static_cast<std::size_t>(m_size[0]) * sizeof(float); }

  private:
    CSize m_size;
    Impl::Gaussian m_gaussian;
    long long m_prepared = -1;
};

const stream::SEstimator TOY{"toy", 1.25, BORDER_RADII,
                             [](const stream::SStageSetup& setup) -> std::unique_ptr<stream::IAxisStage> {
                                 return std::make_unique<CToyStage>(setup);
                             }};

/// Where an answer has an axis, it is the toy's.
void expect_toy_axes(const SAnswer& answer) {
    const double quarter = std::numbers::pi / 4.0;
    for (std::size_t i = 0; i < answer.theta.size(); ++i) {
        if (answer.theta[i] < 0.0F) {
            continue;
        }
        const bool isVolume = !answer.phi.empty();
        ASSERT_NEAR(answer.theta[i], isVolume ? 2.0 * quarter : quarter, 1e-6) << i;
        if (isVolume) {
            // An axis in the xy plane has two longitudes.
            ASSERT_NEAR(std::abs(std::remainder(answer.phi[i] - quarter, std::numbers::pi)), 0.0, 1e-6) << i;
        }
    }
}

SCase toy_case(const CImage& image, const CImage* mask = nullptr) {
    SCase task{image, mask, {}, &TOY};
    task.parameters.fiberRadius = 3.0;
    task.parameters.otsuFactor = 0.95;
    task.parameters.subfieldPx = {9, 8, image.Size().Dim() == 3 ? 7 : -1};
    return task;
}

TEST(ToyStage, GivesItsAxisToEveryForegroundPixelAndSubfield) {
    for (const CSize& size : {CSize(45, 38), CSize(45, 38, 31)}) {
        const auto image = FiberImage(size);
        const SAnswer answer = Streamed(toy_case(*image));
        EXPECT_GT(answer.foregroundPixels, 0);
        expect_toy_axes(answer);
        EXPECT_EQ(answer.field.meanConfidence, CONFIDENCE);
        EXPECT_EQ(answer.field.doubtfulFraction, 0.0);
        EXPECT_EQ(answer.document->Entry("Border")->Long(), 5) << "its own";
        EXPECT_NEAR(answer.document->Entry("Field/Orientation tensor/xy")->Double(), 0.5, 1e-6);
        EXPECT_NEAR(answer.document->Entry("Field/Orientation tensor/xx")->Double(), 0.5, 1e-6);
        // The foreground is that of the smoothed image in its second volume.
        SCase hessian = toy_case(*image);
        hessian.estimator = &stream::HESSIAN;
        const SAnswer other = Streamed(hessian);
        EXPECT_EQ(answer.threshold, other.threshold);
        EXPECT_EQ(answer.foregroundPixels, other.foregroundPixels);
    }
}

TEST(ToyStage, DependsNeitherOnThreadsNorMemoryNorProcesses) {
    const auto image = FiberImage(CSize(200, 210, 60));
    const auto mask = BlobMask(image->Size());
    for (const CImage* const foreground :
         {static_cast<const CImage*>(nullptr), static_cast<const CImage*>(mask.get())}) {
        SCase task = toy_case(*image, foreground);
        task.parameters.subfieldPx = {50, 60, 20};
        const SAnswer one = Streamed(task);
        ExpectIdenticalAnswer(Streamed(task, {3, PLENTY, "/tmp"}), one);
        const SAnswer narrow = Streamed(task, {2, std::size_t{46} << 20, testing::TempDir()});
        EXPECT_EQ(narrow.plan.scratchKind, stream::SScratchPlace::EKind::file);
        ExpectIdenticalAnswer(narrow, one);
        for (const int ranks : {2, 5}) {
            ExpectIdenticalAnswer(StreamedByRanks(task, ranks), one);
        }
    }
}

TEST(ToyStage, HandsItsConfidenceToSinks) {
    const CSize size(40, 36, 20);
    const auto image = FiberImage(size);
    const auto mask = BlobMask(size);
    const auto reader = ReaderOf(*image);
    const auto maskReader = ReaderOf(*mask);
    const auto alone = stream::SingleProcess();
    Impl::SAnalysisRequest parameters;
    parameters.fiberRadius = 2.0;
    using EMaps = stream::CMapsInMemory::EMaps;
    stream::CMapsInMemory placed(size, EMaps::anglesAndConfidence);
    stream::CMapsInMemory copied(size, EMaps::anglesAndConfidence);
    stream::CSinkFan fan{&placed, &copied};
    stream::CStreamingAnalysis analysis({*reader, maskReader.get(), std::nullopt, &TOY}, parameters,
                                        {2, PLENTY, "/tmp"}, *alone, &fan);
    const stream::SStreamResult result = analysis.Run();
    std::vector<float> expected;
    std::transform(mask->Pixels<unsigned char>(), mask->Pixels<unsigned char>() + size.Elements(),
                   std::back_inserter(expected), [](unsigned char f) { return f != 0 ? CONFIDENCE : 0.0F; });
    EXPECT_EQ(std::vector<float>(placed.Confidence().begin(), placed.Confidence().end()), expected);
    EXPECT_EQ(std::vector<float>(copied.Confidence().begin(), copied.Confidence().end()), expected);
    std::vector<std::string> names;
    for (const Impl::SPassTime& pass : result.analysis.passes) {
        names.push_back(pass.name);
    }
    EXPECT_THAT(names,
                ElementsAre("mask", "numbers", "toy slices", "toy columns", "threshold", "directions"));
}

/// Notes what slices come with.
class CSliceNotes : public stream::CMapsInMemory {
  public:
    using CMapsInMemory::CMapsInMemory;
    void TakeAngles(const stream::SFoundSlices& found) override {
        hasConfidence = hasConfidence || found.confidence != nullptr;
    }
    bool hasConfidence = false;
};

TEST(ToyStage, IsAskedForConfidenceOnlyIfSomebodyWantsIt) {
    const CSize size(40, 36, 20);
    const auto image = FiberImage(size);
    const auto reader = ReaderOf(*image);
    const auto alone = stream::SingleProcess();
    Impl::SAnalysisRequest parameters;
    parameters.fiberRadius = 2.0;
    using EMaps = stream::CMapsInMemory::EMaps;
    std::array<std::size_t, 2> bytes{};
    for (const bool forFields : {false, true}) {
        for (const EMaps maps : {EMaps::angles, EMaps::anglesAndConfidence}) {
            parameters.withConfidence = forFields;
            CSliceNotes notes(size, maps);
            s_confidenceRows = 0;
            stream::CStreamingAnalysis analysis({*reader, nullptr, std::nullopt, &TOY}, parameters,
                                                {1, PLENTY, "/tmp"}, *alone, &notes);
            const stream::SStreamResult result = analysis.Run();
            const bool forMap = maps == EMaps::anglesAndConfidence;
            EXPECT_EQ(s_confidenceRows > 0, forFields || forMap);
            EXPECT_EQ(notes.hasConfidence, forMap);
            EXPECT_EQ(result.analysis.field.meanConfidence.has_value(), forFields);
            // Slabs of a third map, one of which is written while the other is made.
            const std::size_t slab =
                static_cast<std::size_t>(analysis.Plan().slabSlices * size[0] * size[1]) * sizeof(float);
            bytes[forMap ? 1 : 0] = analysis.Plan().peakBytes - (forMap ? 2 * slab : 0);
        }
        EXPECT_EQ(bytes[1], bytes[0]) << "besides the map";
    }
}

TEST(Estimators, HaveNamesOfTheirOwn) {
    std::vector<std::string> names;
    for (const stream::SEstimator* const estimator : stream::ESTIMATORS) {
        names.emplace_back(estimator->name);
    }
    EXPECT_THAT(names, testing::Contains("hessian"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

} // namespace
