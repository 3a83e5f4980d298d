// SPDX-License-Identifier: BSD-3-Clause
// Every message of the library: provoked through the operation that reports it, compared in exception type,
// text, function, source and, where it is fixed, line.
#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/OrientationTensor.h"
#include "FilterOrientations/SubfieldFiberDirections.h"
#include "Numeric/Matrix.h"
#include "Utils/PointOperationsImpl.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "Utils/visitors/PointOperations.h"
#include "src/TestAccess.h"
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"
#include "zeklib2image/HeaderTools.h"
#include "zeklib2image/Image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

struct SMessage {
    std::string name; ///< of the test
    std::function<void()> provoke;
    test::SThrown expected; ///< a line of 0 where none is fixed
};

void PrintTo(const SMessage& message, std::ostream* out) {
    *out << message.expected;
}

using Messages = std::vector<SMessage>;

Messages matrix_messages() {
    const std::string matrixSource = "src/Numeric/Matrix";
    const std::string interfaceSource = "src/Numeric/MatrixInterface";
    const std::string access = "TEVRA::CMatrix<double>::operator ()";
    return {
        {"MatrixReadAccess",
         [] {
             const CMatrix<double> matrix(2, 3);
             matrix(4, 5);
         },
         {"Index exceeds matrix bounds. Tried to access index (4,5) but Matrix size is 2-by-3", access,
          matrixSource, 83}},
        {"MatrixWriteAccess",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix(4, 5) = 1.0;
         },
         {"Index exceeds matrix bounds.Tried to access index (4,5) but Matrix size is 2-by-3", access,
          matrixSource, 91}},
        {"MatrixProduct",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix *= CMatrix<double>(4, 5);
         },
         {"Tried to multiply 2-by-3 *= 4-by-5 matrices",
          "TEVRA::IMatrix<double>::operator *=", interfaceSource, 85}},
        {"MatrixSum",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix += CMatrix<double>(4, 5);
         },
         {"Tried to add 2-by-3 and 4-by-5 matrices", "TEVRA::IMatrix<double>::operator +=", interfaceSource,
          130}},
        {"MatrixDifference",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix -= CMatrix<double>(4, 5);
         },
         {"Tried to subtract 2-by-3 and 4-by-5 matrices",
          "TEVRA::IMatrix<double>::operator -=", interfaceSource, 145}},
        {"MatrixAddRows",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix.AddRows(CMatrix<double>(4, 5));
         },
         {"Tried to concatenate 5-dim rows to 3-dim rows", "TEVRA::IMatrix<double>::AddRows", interfaceSource,
          176}},
        {"MatrixAddCols",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix.AddCols(CMatrix<double>(4, 5));
         },
         {"Tried to concatenate 4-dim Cols to 2-dim Cols", "TEVRA::IMatrix<double>::AddCols", interfaceSource,
          209}},
    };
}

CImage make_image(const IImage::CType& type, const CSize& size) {
    return CImage(type, size, CSize(0, 0, 0));
}

template <typename VisitorT, typename... Images>
void visit(VisitorT visitor, Images&&... images) {
    test::CRecordingMonitor monitor;
    Impl::VisitorHelper<0>::VisitImageData(images..., visitor, monitor);
}

using FloatHistogram = visitors::CAnalyzerHistogram<float, unsigned long long>;

constexpr IImage::CType INTERLEAVED("RGB", 3, true);
constexpr IImage::CType UNKNOWN("DEPTH_24", 3);

Messages extractor_messages() {
    const std::string source = "src/utils/PointOperationsImpl";
    const std::string readOnly = "TEVRA::Impl::CImageDataExtractor<const class TEVRA::IImage,const float>::";
    const std::string readWrite = "TEVRA::Impl::CImageDataExtractor<class TEVRA::IImage,float>::";
    return {
        {"ExtractorDimension",
         [] {
             visit(visitors::CAnalyzerMinMax<float>(), make_image(IMAGE_GREY_F, CSize({2, 2, 2, 2})));
         },
         {"Dim = 4 can not be handle by CImageDataExtractor.", readOnly + "InitSize", source}},
        {"ExtractorWithoutSize",
         [] {
             CImage image = make_image(IMAGE_GREY_F, CSize(2, 2));
             const Impl::CImageDataExtractor<IImage, float> data(image, "input image");
             data.CheckImageValidy();
         },
         {"input image: image dimension '0' not supported.", readWrite + "CheckImageValidy", source}},
        {"ExtractorInterleaved",
         [] { visit(visitors::CAnalyzerMinMax<float>(), make_image(INTERLEAVED, CSize(2, 2))); },
         {"input image: just non interleaved image types are supported.", readOnly + "CheckImageValidy",
          source}},
        {"ExtractorUnregisteredType",
         [] { visit(visitors::CInitializer<float>(1.0F), make_image(UNKNOWN, CSize(2, 2))); },
         {"input image: Pixel type 'float' and image type 'float' do not match -- unregistered image type?.",
          readWrite + "SetPixelTypeInfo", source}},
        {"ExtractorPixelTypeForReading",
         [] { visit(visitors::CAnalyzerMinMax<float>(), make_image(IMAGE_GREY_16, CSize(2, 2))); },
         {"input image: supposed pixel type 'GREY_F' does not match to image pixel type 'GREY_16'.",
          readOnly + "CheckPixelType", source}},
        {"ExtractorPixelTypeForWriting",
         [] { visit(visitors::CInitializer<float>(1.0F), make_image(IMAGE_GREY_8, CSize(2, 2))); },
         {"input image: supposed pixel type 'GREY_F' does not match to image pixel type 'GREY_8'.",
          readWrite + "CheckPixelType", source}},
        {"ExtractorPixelTypeOfBytes",
         [] { visit(visitors::CInitializer<unsigned char>(1), make_image(IMAGE_GREY_F, CSize(2, 2))); },
         {"input image: supposed pixel type 'GREY_8' does not match to image pixel type 'GREY_F'.",
          "TEVRA::Impl::CImageDataExtractor<class TEVRA::IImage,unsigned char>::CheckPixelType", source}},
        {"ExtractorPixelTypeOfWords",
         [] {
             CImage image = make_image(IMAGE_BINARY_FG, CSize(2, 2));
             Impl::CImageDataExtractor<const IImage, const unsigned short>(image, "mask").Check();
         },
         {"mask: supposed pixel type 'GREY_16' does not match to image pixel type 'BINARY_FG'.",
          "TEVRA::Impl::CImageDataExtractor<const class TEVRA::IImage,const unsigned short>::CheckPixelType",
          source}},
        {"ExtractorPixelTypeOfComplexNumbers",
         [] {
             visit(visitors::CMult<std::complex<float>>(), make_image(IMAGE_COMPLEX_F, CSize(2, 2)),
                   make_image(IMAGE_GREY_F, CSize(2, 2)));
         },
         {"second image: supposed pixel type 'COMPLEX_F' does not match to image pixel type 'GREY_F'.",
          "TEVRA::Impl::CImageDataExtractor<const class TEVRA::IImage,const class "
          "std::complex<float>>::CheckPixelType",
          source}},
        {"PairOfOtherDimensions",
         [] {
             visit(visitors::CCopy<float>(), make_image(IMAGE_GREY_F, CSize(2, 2, 1)),
                   make_image(IMAGE_GREY_F, CSize(2, 2)));
         },
         {"first image and second image: image dimensions '3' and '2' do not match.",
          "TEVRA::Impl::CheckImagesAgainst", source}},
        {"PairOfOtherSizes",
         [] {
             visit(visitors::CCopy<float>(), make_image(IMAGE_GREY_F, CSize(2, 3)),
                   make_image(IMAGE_GREY_F, CSize(3, 2)));
         },
         {"first image and second image: image sizes (2,3) and (3,2) do not match.",
          "TEVRA::Impl::CheckImagesAgainst", source}},
        {"VisitWithoutSize",
         [] {
             CImage image = make_image(IMAGE_GREY_F, CSize(2, 2));
             Impl::CImageDataExtractor<const IImage, const float> unread(image, "input image");
             visitors::CAnalyzerMinMax<float> visitor;
             test::CRecordingMonitor monitor;
             Impl::VisitorHelper<0>::VisitImageData(unread, visitor, monitor);
         },
         {"input image: image dimension '0' not supported", "TEVRA::Impl::VisitorHelper<0>::VisitImageData",
          source}},
    };
}

Messages histogram_messages() {
    const std::string source = "src/Utils/visitors/PointOperationStatistics";
    const std::string function =
        "TEVRA::visitors::CAnalyzerHistogram<float,unsigned __int64>::CAnalyzerHistogram";
    return {
        {"HistogramWithTooManyBins",
         [] {
             std::vector<unsigned long long> counts;
             FloatHistogram(counts, 0.0F, 1.0F, 2305843009213693952ULL);
         },
         {"vector size is insufficient (std::vector<T>::max_size() = 2305843009213693951 is lower than "
          "2305843009213693952",
          function, source}},
        {"HistogramWithMostBinsThinkable",
         [] {
             std::vector<unsigned long long> counts;
             FloatHistogram(counts, 0.0F, 1.0F, 18446744073709551615ULL);
         },
         {"vector size is insufficient (std::vector<T>::max_size() = 2305843009213693951 is lower than "
          "18446744073709551615",
          function, source}},
        {"HistogramOfAnEmptyRange",
         [] {
             std::vector<unsigned long long> counts;
             FloatHistogram(counts, 1.5F, 1.5F, 256);
         },
         {"Value range is invalid (min value = 1.5 larger or equal to max value 1.5", function, source}},
    };
}

Messages threshold_messages() {
    return {
        {"ThresholdOfAComplexImage",
         [] { CFilterOrientations::ComputeThreshold(make_image(IMAGE_COMPLEX_F, CSize(2, 2)), 1.05); },
         {"Not implemented for this image type 'COMPLEX_F'.", "TEVRA::CFilterOrientations::ComputeThreshold",
          "src/FilterOrientations/FilterOrientations"}},
        {"ThresholdOfAConstantFloatImage",
         [] { CFilterOrientations::ComputeThreshold(make_image(IMAGE_GREY_F, CSize(2, 2)), 1.05); },
         {"Value range is invalid (min value = 0 larger or equal to max value 0",
          "TEVRA::visitors::CAnalyzerHistogram<float,unsigned __int64>::CAnalyzerHistogram",
          "src/Utils/visitors/PointOperationStatistics"}},
        {"ThresholdOfAFourDimensionalImage",
         [] {
             CFilterOrientations::ComputeThreshold(make_image(IMAGE_GREY_8, CSize({2, 2, 2, 2})), 1.05);
         },
         {"Dim = 4 can not be handle by CImageDataExtractor.",
          "TEVRA::Impl::CImageDataExtractor<const class TEVRA::IImage,const unsigned char>::InitSize",
          "src/utils/PointOperationsImpl"}},
    };
}

Messages tensor_messages() {
    const std::string source = "src/FilterOrientations/OrientationTensor";
    const std::string mean = "TEVRA::COrientationTensor::MeanOrientation";
    const std::string eigenvalues = "TEVRA::COrientationTensor::Eigenvalues";
    const auto call = [](auto operation, CMatrix<double> result, const CMatrix<double>& tensor) {
        return [=]() mutable { operation(result, tensor); };
    };
    const CMatrix<double> column(3, 1);
    return {
        {"MeanOrientationOfANonSquareTensor",
         call(COrientationTensor::MeanOrientation, column, CMatrix<double>(4, 5)),
         {"Orientation tensor must be a square matrix (but it is 4 x 5).", mean, source, 34}},
        {"MeanOrientationIntoAMatrix",
         call(COrientationTensor::MeanOrientation, CMatrix<double>(4, 2), CMatrix<double>(3, 3)),
         {"Mean orientation must be a 3 x 1 column vector (but it is 4 x 2).", mean, source, 37}},
        {"MeanOrientationInFourDimensions",
         call(COrientationTensor::MeanOrientation, CMatrix<double>(4, 1), CMatrix<double>(4, 4)),
         {"Only implemented for 2d and 3d images.", mean, source, 41}},
        {"EigenvaluesOfANonSquareTensor",
         call(COrientationTensor::Eigenvalues, column, CMatrix<double>(4, 5)),
         {"Orientation tensor must be a square matrix (but it is 4 x 5).", eigenvalues, source, 57}},
        {"EigenvaluesIntoAMatrix",
         call(COrientationTensor::Eigenvalues, CMatrix<double>(4, 2), CMatrix<double>(3, 3)),
         {"Ev must be a 3 x 1 column vector (but it is 4 x 2).", eigenvalues, source, 60}},
        {"EigenvaluesInOneDimension",
         call(COrientationTensor::Eigenvalues, CMatrix<double>(1, 1), CMatrix<double>(1, 1)),
         {"Only implemented for 2d and 3d images.", eigenvalues, source, 64}},
        {"OrientationParametersInThePlane",
         [] {
             double shape = 0.0;
             double strength = 0.0;
             COrientationTensor::OrientationParameters(shape, strength, CMatrix<double>(2, 4));
         },
         {"Orientation tensor must be a 3x3 matrix (but it is 2 x 4).",
          "TEVRA::COrientationTensor::OrientationParameters", source, 81}},
        {"TensorRank4WithoutExtent",
         [] { CTensorRank4(3, 3, 3, 0); },
         {"All dimensions must have strictly positive size.", "TEVRA::CTensorRank4::CTensorRank4",
          "src/FilterOrientations/HessianOrientations", 36}},
    };
}

std::unique_ptr<CImage> pattern(const CSize& size) {
    return test::MakeImage<unsigned char>(IMAGE_GREY_8, size, [](long long x, long long y, long long z) {
        return (x * 37 + y * 91 + z * 53 + x * y) % 200;
    });
}

/// Runs `operation` on an estimator with a result for an image of the given size.
std::function<void()> after_compute(const CSize& size,
                                    const std::function<void(CHessianOrientations&)>& operation) {
    return [=] {
        CHessianOrientations estimator;
        estimator.compute(*pattern(size), 1.0, nullptr, CHessianOrientations::eEVSmallest);
        operation(estimator);
    };
}

std::function<void()> compute_hessian_orientations(const IImage::CType& imageType,
                                                   const IImage::CType& maskType) {
    return [=] {
        CImage image = make_image(imageType, CSize(8, 8));
        const CImage mask = make_image(maskType, CSize(8, 8));
        CHessianOrientations().compute(image, 1.0, &mask, CHessianOrientations::eEVSmallest);
    };
}

void get_map(CHessianOrientations& estimator) {
    const IImage* map = nullptr;
    estimator.get(map);
}

void get_maps(CHessianOrientations& estimator) {
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    estimator.get(theta, phi);
}

void sum_tensor(CHessianOrientations& estimator, std::size_t size) {
    CMatrix<double> tensor(size, size);
    estimator.OrientationTensor(tensor, CBox(0, 0, 0, 4, 4, 4), false, nullptr);
}

Messages hessian_messages() {
    const std::string source = "src/FilterOrientations/HessianOrientations";
    const std::string compute = "TEVRA::CHessianOrientations::compute";
    const std::string get = "TEVRA::CHessianOrientations::get";
    const std::string tensor = "TEVRA::CHessianOrientations::OrientationTensor";
    const std::string noMap = "Unable to access direction maps prior to computing the Hessian. Call "
                              "CHessianOrientations::Compute() first.";
    const std::string noMaps = "Unable to access direction maps prior to computing the Hessian. Call "
                               "CHessianOrientations::Compute() first!";
    const std::string wrongOverload =
        "Unable to retrieve 2d direction map. Use overloaded 3d interface function.";
    const std::string noTensor = "Orientation maps must be created, first. Unable to compute tensor.";
    const CSize plane(9, 8);
    const CSize volume(9, 8, 7);
    return {
        {"HessianOfASixteenBitImage",
         compute_hessian_orientations(IMAGE_GREY_16, IMAGE_GREY_16),
         {"Implemented for images of type GREY_8, only.", compute, source}},
        {"HessianWithAGreyMask",
         compute_hessian_orientations(IMAGE_GREY_8, IMAGE_GREY_8),
         {"Mask image must be of type BINARY_FG.", compute, source}},
        {"HessianWithABackgroundMask",
         compute_hessian_orientations(IMAGE_GREY_8, IMAGE_BINARY_BG),
         {"Mask image must be of type BINARY_FG.", compute, source}},
        {"HessianWithoutMemory",
         [=] {
             const auto image = pattern(volume);
             const test::CPixelMemoryLimitScope limit(3 * sizeof(float) * volume.Elements());
             CHessianOrientations().compute(*image, 1.0, nullptr, CHessianOrientations::eEVSmallest);
         },
         {"Insufficient memory. Try a smaller image.", "TEVRA::CHessianOrientations::compute_hessian",
          source}},
        {"DirectionsWithoutHessian",
         [] {
             CHessianOrientations estimator;
             CTestAccess::ComputeDirections(estimator, nullptr, CHessianOrientations::eEVSmallest);
         },
         {"Hessian must be computed, first.", "TEVRA::CHessianOrientations::compute_directions", source}},
        {"MapBeforeCompute",
         [] {
             CHessianOrientations estimator;
             get_map(estimator);
         },
         {noMap, get, source}},
        {"MapsBeforeCompute",
         [] {
             CHessianOrientations estimator;
             get_maps(estimator);
         },
         {noMaps, get, source}},
        {"MapOfAVolume", after_compute(volume, get_map), {wrongOverload, get, source}},
        {"MapReleasedTwice",
         after_compute(plane,
                       [](CHessianOrientations& estimator) {
                           const IImage* map = nullptr;
                           estimator.release(map);
                           const std::unique_ptr<const IImage> owned(map);
                           estimator.release(map);
                       }),
         {noMap, get, source}},
        {"MapsReleasedTwice",
         after_compute(volume,
                       [](CHessianOrientations& estimator) {
                           const IImage* theta = nullptr;
                           const IImage* phi = nullptr;
                           estimator.release(theta, phi);
                           const std::unique_ptr<const IImage> ownedTheta(theta);
                           const std::unique_ptr<const IImage> ownedPhi(phi);
                           estimator.release(theta, phi);
                       }),
         {noMaps, get, source}},
        {"MapOfAVolumeReleased",
         after_compute(volume,
                       [](CHessianOrientations& estimator) {
                           const IImage* map = nullptr;
                           estimator.release(map);
                       }),
         {wrongOverload, get, source}},
        {"TensorBeforeCompute",
         [] {
             CHessianOrientations estimator;
             sum_tensor(estimator, 3);
         },
         {noTensor, tensor, source}},
        {"TensorAfterRelease",
         after_compute(plane,
                       [](CHessianOrientations& estimator) {
                           const IImage* map = nullptr;
                           estimator.release(map);
                           const std::unique_ptr<const IImage> owned(map);
                           sum_tensor(estimator, 2);
                       }),
         {noTensor, tensor, source}},
        {"TensorOfAPlaneIntoThreeByThree",
         after_compute(plane, [](CHessianOrientations& estimator) { sum_tensor(estimator, 3); }),
         {"3D-orientation tensor must be a 3x3 matrix (but it is 3 x 3).",
          "`anonymous-namespace'::OrientationTensor_impl2d", source}},
        {"TensorOfAVolumeIntoTwoByTwo",
         after_compute(volume, [](CHessianOrientations& estimator) { sum_tensor(estimator, 2); }),
         {"3D-orientation tensor must be a 3x3 matrix (but it is 2 x 2).",
          "`anonymous-namespace'::OrientationTensor_impl3d", source}},
    };
}

struct SAnalysis {
    CSize size;
    double fiberRadius;
    std::array<long long, 3> subfieldSize;
};

/// Runs a subfield analysis on an image with the given spacing, with a mask of zeros if asked for.
std::function<void()> analyse(const SAnalysis& analysis, const std::array<double, 3>& spacing = {1, 1, 1},
                              bool emptyMask = false) {
    return [=] {
        const auto image = pattern(analysis.size.Dim() > 3 ? CSize(2, 2) : analysis.size);
        if (analysis.size.Dim() > 3) {
            image->Resize(analysis.size, CSize(0, 0, 0));
        }
        CVexoHeaderTools::SetSpacing(*image, spacing[0], spacing[1], spacing[2]);
        CImage mask = make_image(IMAGE_BINARY_FG, analysis.size);
        CSubfieldFiberDirections directions(analysis.fiberRadius, 1.25, analysis.subfieldSize[0],
                                            analysis.subfieldSize[1], analysis.subfieldSize[2]);
        std::string parameters;
        const std::unique_ptr<CValueMap> document(
            directions.Compute(*image, parameters, emptyMask ? &mask : nullptr, false));
    };
}

Messages subfield_messages() {
    const std::string source = "src/FilterOrientations/SubfieldFiberDirections";
    const std::string compute = "TEVRA::CSubfieldFiberDirections::Compute";
    const test::SThrown dimension{"Only 2d and 3d images supported.", compute, source, 39};
    const test::SThrown spacing{"Need equal pixel spacing in all axis directions.", "",
                                "CLocalFiberDirectionsPlugin"};
    const test::SThrown image{"Fiber diameter must not exceed image size (please check for correct units).",
                              compute, source, 96};
    const test::SThrown subfield{
        "Fiber diameter must not exceed subfield size (please check for correct units).", compute, source,
        101};
    return {
        {"AnalysisInFourDimensions", analyse({CSize({2, 2, 2, 2}), 1.0, {-1, -1, -1}}), dimension},
        {"AnalysisInOneDimension", analyse({CSize({20}), 1.0, {-1, -1, -1}}), dimension},
        {"AnalysisWithOtherSpacingAlongY", analyse({CSize(20, 20), 1.0, {-1, -1, -1}}, {1.0, 2.0, 1.0}),
         spacing},
        {"AnalysisWithOtherSpacingAlongZ", analyse({CSize(20, 20, 20), 1.0, {-1, -1, -1}}, {1.0, 1.0, 2.0}),
         spacing},
        {"RadiusBeyondHalfTheWidth", analyse({CSize(8, 20, 20), 4.5, {-1, -1, -1}}), image},
        {"RadiusBeyondHalfTheHeight", analyse({CSize(20, 8, 20), 4.5, {-1, -1, -1}}), image},
        {"RadiusBeyondHalfTheDepth", analyse({CSize(20, 20, 8), 4.5, {-1, -1, -1}}), image},
        {"RadiusOfHalfAPixelInThePlane", analyse({CSize(20, 20), 0.5, {-1, -1, -1}}), image},
        {"RadiusBeyondHalfTheSubfieldWidth", analyse({CSize(40, 40, 40), 4.5, {9, 20, 20}}), subfield},
        {"RadiusBeyondHalfTheSubfieldHeight", analyse({CSize(40, 40, 40), 4.5, {20, 9, 20}}), subfield},
        {"RadiusBeyondHalfTheSubfieldDepth", analyse({CSize(40, 40, 40), 4.5, {20, 20, 9}}), subfield},
        {"SubfieldDepthInThePlane", analyse({CSize(40, 40), 4.5, {20, 20, 20}}), subfield},
        {"SubfieldSizeOfZero", analyse({CSize(40, 40, 40), 4.5, {20, 0, 20}}), subfield},
        {"NoForeground",
         analyse({CSize(40, 40), 4.0, {10, 10, 0}}, {1, 1, 1}, true),
         {"No fields available. Check size and/or Otsu settings.", compute, source, 210}},
        {"SubfieldLimitsWithoutMap",
         [] {
             CSubfieldFiberDirections directions(1.0, 1.25, 10, 10, 10);
             CTestAccess::AddSubfieldLimits(directions, nullptr, CBox(0, 0, 0, 1, 1, 1), 3);
         },
         {"Invalid subfield map pointer.", "", "LocalFiberDirectionsPlugin"}},
    };
}

Messages all_messages() {
    Messages all;
    for (const Messages& messages :
         {matrix_messages(), extractor_messages(), histogram_messages(), threshold_messages(),
          tensor_messages(), hessian_messages(), subfield_messages()}) {
        all.insert(all.end(), messages.begin(), messages.end());
    }
    return all;
}

class MessageTable : public testing::TestWithParam<SMessage> {};

INSTANTIATE_TEST_SUITE_P(Library, MessageTable, testing::ValuesIn(all_messages()),
                         [](const auto& message) { return message.param.name; });

} // namespace

TEST_P(MessageTable, IsReportedAsWritten) {
    test::ExpectThrown(GetParam().provoke, GetParam().expected);
}

TEST_P(MessageTable, CarriesLineAndBuildStampWhereThereIsALocation) {
    try {
        GetParam().provoke();
        FAIL() << "nothing was thrown";
    } catch (const CException& exception) {
        const bool hasLocation = !GetParam().expected.function.empty();
        EXPECT_EQ(exception.Line() > 0, hasLocation);
        EXPECT_THAT(exception.BuildStamp(),
                    testing::MatchesRegex(hasLocation ? "[A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9][0-9][0-9]-"
                                                        "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"
                                                      : ""));
    }
}

} // namespace TEVRA
