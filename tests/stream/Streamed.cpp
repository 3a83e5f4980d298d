// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Streamed.h"

#include "Subfields/ResultDocument.h"
#include "stream/Failure.h"
#include "support/MakeImage.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

namespace TEVRA::test {
namespace {

/// Maps that are handed slices of the analysis' memory, as files are.
class CSliceCopies : public stream::CMapsInMemory {
  public:
    explicit CSliceCopies(const CSize& size) : CMapsInMemory(size, EMaps::anglesAndConfidence) {
        // Of several processes each fills its own slices.
        const stream::SAngleSlices maps = CMapsInMemory::Place({0, size[2]});
        std::fill_n(maps.theta, Theta().size(), 0.0F);
        std::fill_n(maps.phi, Phi().size(), 0.0F);
        std::fill_n(maps.confidence, Confidence().size(), 0.0F);
    }
    stream::SAngleSlices Place(const stream::SSliceRange& /*slices*/) override { return {}; }
};

std::vector<float> pixels_of(const IImage* map) {
    const std::unique_ptr<const IImage> owned(map);
    if (!owned) {
        return {};
    }
    const std::unique_ptr<IImage::IAccess> access(owned->CreateAccess(true));
    const auto* const first = static_cast<const float*>(access->ConstData());
    return {first, first + owned->Size().Elements()};
}

void add_leaves(const CValueMap& map, const std::string& path, std::vector<SLeaf>& leaves) {
    for (auto entry = map.begin(); !(entry == map.end()); ++entry) {
        const std::string at = path + "/" + entry.Key().ToString();
        const CValue& value = *entry.Value();
        switch (value.GenericType()) {
        case CValue::eMap:
            add_leaves(value.Map(), at, leaves);
            break;
        case CValue::eDouble:
            leaves.push_back({at, "", value.Double()});
            break;
        case CValue::eLong:
            leaves.push_back({at, std::to_string(value.Long()), std::nullopt});
            break;
        default:
            leaves.push_back({at, value.String().Text(), std::nullopt});
            break;
        }
    }
}

void expect_same_angles(const char* name, const std::vector<float>& a, const std::vector<float>& b) {
    ASSERT_EQ(a.size(), b.size()) << name;
    for (std::size_t i = 0; i < a.size(); ++i) {
        ASSERT_EQ(a[i], b[i]) << name << " at pixel " << i;
    }
}

} // namespace

std::unique_ptr<volume::CMemoryReader> ReaderOf(const CImage& image) {
    const volume::EPixelType type = image.Type() == IMAGE_GREY_16  ? volume::EPixelType::u16
                                    : image.Type() == IMAGE_GREY_F ? volume::EPixelType::f32
                                                                   : volume::EPixelType::u8;
    return std::make_unique<volume::CMemoryReader>(image.Size(), type, image.Pixels<std::byte>());
}

SAnswer Streamed(const SCase& task, const stream::SStreamResources& resources, stream::ICommunicator* ranks) {
    const auto image = ReaderOf(task.image);
    const auto mask = task.mask != nullptr ? ReaderOf(*task.mask) : nullptr;
    const std::unique_ptr<stream::ICommunicator> alone = stream::SingleProcess();
    CSliceCopies maps(task.image.Size());
    stream::CStreamingAnalysis analysis({*image, mask.get(), std::nullopt, task.estimator}, task.parameters,
                                        resources, ranks != nullptr ? *ranks : *alone, &maps);
    stream::SStreamResult result = analysis.Run();
    SAnswer answer;
    if (ranks == nullptr || ranks->IsFirst()) {
        answer.document = Impl::ResultDocument(result.analysis);
        answer.summary = Impl::ParameterSummary(result.analysis);
    }
    answer.field = result.analysis.field;
    answer.subfields = result.analysis.subfields;
    answer.confidence.assign(maps.Confidence().begin(), maps.Confidence().end());
    answer.threshold = result.analysis.threshold;
    answer.foregroundPixels = result.foregroundPixels;
    answer.theta.assign(maps.Theta().begin(), maps.Theta().end());
    answer.phi.assign(maps.Phi().begin(), maps.Phi().end());
    answer.plan = analysis.Plan();
    return answer;
}

std::size_t LeastMemory(const SCase& task, int threads) {
    const auto image = ReaderOf(task.image);
    const auto mask = task.mask != nullptr ? ReaderOf(*task.mask) : nullptr;
    const std::unique_ptr<stream::ICommunicator> alone = stream::SingleProcess();
    CSliceCopies maps(task.image.Size());
    const auto suffices = [&](std::size_t bytes) {
        try {
            stream::CStreamingAnalysis({*image, mask.get(), std::nullopt, task.estimator}, task.parameters,
                                       {threads, bytes, testing::TempDir()}, *alone, &maps);
            return true;
        } catch (const stream::CMemoryLimitError&) {
            return false;
        }
    };
    std::size_t tooLittle = 0;
    std::size_t enough = PLENTY;
    while (enough - tooLittle > 1) {
        const std::size_t middle = tooLittle + (enough - tooLittle) / 2;
        (suffices(middle) ? enough : tooLittle) = middle;
    }
    return enough;
}

SAnswer InMemory(const SCase& task) {
    const Impl::SAnalysisRequest& parameters = task.parameters;
    CImage image(task.image.Type(), task.image.Size(), CSize(0, 0, 0));
    std::copy_n(task.image.Pixels<unsigned char>(), image.Size().Elements(), image.Pixels<unsigned char>());
    CVexoHeaderTools::SetSpacing(image, parameters.spacing[0], parameters.spacing[1], parameters.spacing[2]);
    std::unique_ptr<CImage> mask;
    if (task.mask != nullptr) {
        mask = std::make_unique<CImage>(IMAGE_BINARY_FG, image.Size(), CSize(0, 0, 0));
        std::copy_n(task.mask->Pixels<unsigned char>(), image.Size().Elements(),
                    mask->Pixels<unsigned char>());
    }
    CSubfieldFiberDirections analysis(
        parameters.fiberRadius, parameters.otsuFactor.value_or(Impl::DEFAULT_OTSU_FACTOR),
        parameters.subfieldPx[0], parameters.subfieldPx[1], parameters.subfieldPx[2]);
    SAnswer answer;
    answer.document.reset(analysis.Compute(image, answer.summary, mask.get(), parameters.withFourthOrder));
    if (!mask) {
        answer.threshold = analysis.Threshold();
    }
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    if (image.Size().Dim() == 3) {
        analysis.GetDirections(theta, phi);
    } else {
        analysis.GetDirections(theta);
    }
    answer.theta = pixels_of(theta);
    answer.phi = pixels_of(phi);
    answer.foregroundPixels =
        std::count_if(answer.theta.begin(), answer.theta.end(), [](float angle) { return angle >= 0.0F; });
    return answer;
}

std::vector<SLeaf> Leaves(const CValueMap& document) {
    std::vector<SLeaf> leaves;
    add_leaves(document, "", leaves);
    return leaves;
}

void ExpectSameAnswer(const SAnswer& streamed, const SAnswer& inMemory) {
    EXPECT_EQ(streamed.threshold, inMemory.threshold);
    EXPECT_EQ(streamed.foregroundPixels, inMemory.foregroundPixels);
    EXPECT_EQ(streamed.summary, inMemory.summary);
    expect_same_angles("theta", streamed.theta, inMemory.theta);
    expect_same_angles("phi", streamed.phi, inMemory.phi);
    const std::vector<SLeaf> a = Leaves(*streamed.document);
    const std::vector<SLeaf> b = Leaves(*inMemory.document);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].path, b[i].path);
        EXPECT_EQ(a[i].text, b[i].text) << a[i].path;
        if (b[i].number) {
            // Components are parts of unit vectors and of tensors of trace 1.
            EXPECT_NEAR(*a[i].number, *b[i].number, 1e-12 * std::max(1.0, std::abs(*b[i].number)))
                << a[i].path;
        }
    }
}

void ExpectIdenticalAnswer(const SAnswer& one, const SAnswer& other) {
    EXPECT_TRUE(one.confidence == other.confidence);
    EXPECT_EQ(one.field.meanConfidence, other.field.meanConfidence);
    EXPECT_EQ(one.field.doubtfulFraction, other.field.doubtfulFraction);
    ASSERT_EQ(one.subfields.size(), other.subfields.size());
    for (std::size_t i = 0; i < one.subfields.size(); ++i) {
        EXPECT_EQ(one.subfields[i].meanConfidence, other.subfields[i].meanConfidence) << i;
        EXPECT_EQ(one.subfields[i].doubtfulFraction, other.subfields[i].doubtfulFraction) << i;
    }
    EXPECT_EQ(one.threshold, other.threshold);
    EXPECT_EQ(one.foregroundPixels, other.foregroundPixels);
    expect_same_angles("theta", one.theta, other.theta);
    expect_same_angles("phi", one.phi, other.phi);
    const std::vector<SLeaf> a = Leaves(*one.document);
    const std::vector<SLeaf> b = Leaves(*other.document);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].path, b[i].path);
        EXPECT_EQ(a[i].text, b[i].text) << a[i].path;
        EXPECT_EQ(a[i].number, b[i].number) << a[i].path;
    }
}

std::unique_ptr<CImage> FiberImage(const CSize& size, unsigned seed) {
    std::mt19937 random(seed);
    const double phase = static_cast<double>(random() % 628U) / 100.0;
    return MakeImage<unsigned char>(IMAGE_GREY_8, size, [&](long long x, long long y, long long z) {
        const auto wave = [&](double a, double b, double c) {
            return std::cos(a * static_cast<double>(x) + b * static_cast<double>(y) +
                            c * static_cast<double>(z) + phase);
        };
        const double fibers = wave(0.6, 0.35, 0.1) * wave(-0.3, 0.5, 0.45) + 0.5 * wave(0.1, -0.2, 0.7);
        const double noise = static_cast<double>(random() % 40U);
        return 100.0 + 60.0 * fibers + noise;
    });
}

std::unique_ptr<CImage> BlobMask(const CSize& size) {
    return MakeImage<unsigned char>(IMAGE_BINARY_FG, size, [](long long x, long long y, long long z) {
        return (x / 3 + y / 4 + z / 2) % 3 == 0 ? 1 : 0;
    });
}

} // namespace TEVRA::test
