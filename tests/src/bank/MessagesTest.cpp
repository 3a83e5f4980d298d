// SPDX-License-Identifier: BSD-3-Clause
// Every message of the filter bank, provoked and compared in text, function and source, and the order of the
// checks.
#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "Numeric/Matrix.h"
#include "src/bank/TestAccess.h"
#include "support/MakeImage.h"
#include "support/ThrownException.h"
#include "zeklib2core/ValueMap.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

struct SMessage {
    std::string name; ///< of the test
    std::function<void()> provoke;
    std::string function; ///< without "TEVRA::CFilterOrientations::" if it is one of the class
    std::string text;
};

void PrintTo(const SMessage& message, std::ostream* out) {
    *out << message.text;
}

using Messages = std::vector<SMessage>;
using EResolution = CFilterOrientations::EOrientationResolution;

CImage image(const IImage::CType& type, const CSize& size) {
    return CImage(type, size, CSize(0, 0, 0));
}

const CSize PLANE(6, 5);
const CSize SPACE(6, 5, 4);

void compute(const CImage& input, int resolution, const CImage* mask) {
    CFilterOrientations(2.0F, 1.0F, nullptr, nullptr)
        .Compute(input, static_cast<EResolution>(resolution), mask);
}

Messages compute_messages() {
    return {
        {"DimensionBeforeAllElse",
         [] {
             const CImage mask = image(IMAGE_GREY_8, CSize({3}));
             compute(image(IMAGE_COMPLEX_F, CSize({4})), 9, &mask);
         },
         "Compute", "Only implemented for 2d and 3d images."},
        {"FourDimensions",
         [] {
             compute(image(IMAGE_GREY_8, CSize({2, 2, 2, 2})), 0, nullptr);
         },
         "Compute", "Only implemented for 2d and 3d images."},
        {"TypeBeforeTheMask",
         [] {
             const CImage mask = image(IMAGE_GREY_8, SPACE);
             compute(image(IMAGE_COMPLEX_F, PLANE), 9, &mask);
         },
         "Compute", "Not implemented for this input image type 'COMPLEX_F'."},
        {"BinaryImage", [] { compute(image(IMAGE_BINARY_FG, PLANE), 0, nullptr); }, "Compute",
         "Not implemented for this input image type 'BINARY_FG'."},
        {"MaskTypeBeforeItsSize",
         [] {
             const CImage mask = image(IMAGE_GREY_8, SPACE);
             compute(image(IMAGE_GREY_8, PLANE), 9, &mask);
         },
         "Compute", "Mask image type is 'GREY_8' but IMAGE_MONO_BINARY."},
        {"GreyMaskOfTheRightSize",
         [] {
             const CImage mask = image(IMAGE_GREY_8, PLANE);
             compute(image(IMAGE_GREY_8, PLANE), 0, &mask);
         },
         "Compute", "Mask image type is 'GREY_8' but IMAGE_MONO_BINARY."},
        {"BoolMask",
         [] {
             const CImage mask = image(IMAGE_BOOL, PLANE);
             compute(image(IMAGE_GREY_8, PLANE), 0, &mask);
         },
         "Compute", "Mask image type is 'BOOL' but IMAGE_MONO_BINARY."},
        {"MaskSizeBeforeTheResolution",
         [] {
             const CImage mask = image(IMAGE_BINARY_FG, CSize(6, 4));
             compute(image(IMAGE_GREY_8, PLANE), 9, &mask);
         },
         "Compute", "Input image and mask image sizes do not match: '(6,5)' vs '(6,4)'."},
        {"ResolutionAbove",
         [] {
             const CImage mask = image(IMAGE_BINARY_FG, PLANE);
             compute(image(IMAGE_GREY_8, PLANE), 3, &mask);
         },
         "Compute", "Invalid resolution id '3'."},
        {"ResolutionBelow", [] { compute(image(IMAGE_GREY_F, SPACE), -1, nullptr); }, "Compute",
         "Invalid resolution id '-1'."},
    };
}

void filter(const IImage::CType& spectrum, const IImage::CType& buffer, const IImage::CType& response,
            const CSize& size) {
    const CImage in = image(spectrum, size);
    CImage between = image(buffer, size);
    CImage out = image(response, size);
    double direction[3] = {1.0, 0.0, 0.0};
    CFilterOrientations(2.0F, 1.0F, nullptr, nullptr).FilterImageFourier(out, between, in, direction);
}

Messages filter_messages() {
    const std::string types = "Filtering in Fourier domain requires images of type GREY_F and COMPLEX_F.";
    const std::string function = "FilterImageFourier";
    return {
        {"SpectrumType", [] { filter(IMAGE_GREY_F, IMAGE_COMPLEX_F, IMAGE_GREY_F, PLANE); }, function, types},
        {"BufferType", [] { filter(IMAGE_COMPLEX_F, IMAGE_GREY_F, IMAGE_GREY_F, PLANE); }, function, types},
        {"ResponseTypeBeforeTheDimension",
         [] { filter(IMAGE_COMPLEX_F, IMAGE_COMPLEX_F, IMAGE_GREY_8, CSize({4})); }, function, types},
        {"FilterDimension", [] { filter(IMAGE_COMPLEX_F, IMAGE_COMPLEX_F, IMAGE_GREY_F, CSize({4})); },
         function, "This function filters 2D and 3D images, only."},
        {"MaskImageInThePlane",
         [] {
             CFilterOrientations filters(1.0F, 1.0F, nullptr, nullptr);
             CImage mask = image(IMAGE_GREY_F, PLANE);
             const double tooLong[2] = {2.0, 0.0};
             CTestAccess::FillFilterMask(filters, mask, tooLong, 2);
         },
         "FillFilterMask2", "Type mismatch, expecting a complex image, but got image type 'GREY_F'."},
        {"MaskImageInSpace",
         [] {
             CFilterOrientations filters(1.0F, 1.0F, nullptr, nullptr);
             CImage mask = image(IMAGE_GREY_8, SPACE);
             const double tooLong[3] = {2.0, 0.0, 0.0};
             CTestAccess::FillFilterMask(filters, mask, tooLong, 3);
         },
         "FillFilterMask3", "Type mismatch, expecting a complex image, but got image type 'GREY_8'."},
        {"PaddedType",
         [] {
             CFilterOrientations filters(1.0F, 1.0F, nullptr, nullptr);
             CTestAccess::PadZeros(filters, image(IMAGE_BINARY_FG, PLANE));
         },
         "PadZeros", "Not implemented for this image type 'BINARY_FG'."},
    };
}

Messages exclusion_messages() {
    const std::string function = "MaskOutOrientations";
    return {
        {"ThresholdType", [] { CFilterOrientations::ComputeThreshold(image(IMAGE_COMPLEX_F, PLANE), 1.0); },
         "ComputeThreshold", "Not implemented for this image type 'COMPLEX_F'."},
        {"GreyType",
         [] {
             CImage index = image(IMAGE_GREY_8, PLANE);
             CTestAccess::MaskOut(index, image(IMAGE_BOOL, PLANE), 1.0, 255);
         },
         function, "Not implemented for this image type 'BOOL'."},
        {"MaskSizeBeforeItsType",
         [] {
             CImage index = image(IMAGE_GREY_F, PLANE);
             CTestAccess::MaskOut(index, image(IMAGE_GREY_8, SPACE), 255);
         },
         function, "Mask and orientation images must have compatible sizes."},
        {"MaskTypeBeforeThatOfTheIndices",
         [] {
             CImage index = image(IMAGE_GREY_F, PLANE);
             CTestAccess::MaskOut(index, image(IMAGE_BINARY_BG, PLANE), 255);
         },
         function, "Mask image must be BINARY_FG or BOOL."},
        {"IndexType",
         [] {
             CImage index = image(IMAGE_GREY_F, PLANE);
             CTestAccess::MaskOut(index, image(IMAGE_BOOL, PLANE), 255);
         },
         "`anonymous-namespace'::typed_MaskOutOrientations",
         "Orientation indices must be stored in a uint8 image."},
    };
}

/// An estimator with a result whose index image has the given type.
std::unique_ptr<CFilterOrientations> with_result(const CSize& size, const IImage::CType& type) {
    auto estimator = std::make_unique<CFilterOrientations>(1.0F, 1.0F, nullptr, nullptr);
    const std::unique_ptr<CMatrix<double>> directions(Impl::StPointsOnSphere::GetPoints(0, size.Dim()));
    CTestAccess::SetResult(*estimator, std::make_unique<CImage>(type, size, CSize(0, 0, 0)), *directions);
    return estimator;
}

void read_response(const IImage::CType& type, const CSize& size) {
    CImage out = image(type, size);
    with_result(PLANE, IMAGE_GREY_8)->GetBestResponse(out);
}

void read_angles(const IImage::CType& first, const IImage::CType& second, const CSize& secondSize) {
    CImage colatitude = image(first, PLANE);
    CImage longitude = image(second, secondSize);
    with_result(PLANE, IMAGE_GREY_8)->GetOrientations(colatitude, longitude);
}

void read_tensor(const CSize& size, const IImage::CType& type, std::size_t rows, std::size_t cols) {
    CMatrix<double> tensor(rows, cols);
    with_result(size, type)->OrientationTensor(tensor, CBox(0, 0, 0, 1, 1, 1));
}

void read_direction(const CSize& size, std::size_t rows, std::size_t cols) {
    CMatrix<double> vector(rows, cols);
    with_result(size, IMAGE_GREY_8)->BestOrientation(vector, size.Dim() == 3 ? CPos(0, 0, 0) : CPos(0, 0));
}

Messages output_messages() {
    const std::string indices =
        "Orientation indices should be stored in a 8bit image, but got type 'GREY_F'.";
    return {
        {"ResponseOutTypeBeforeItsSize", [] { read_response(IMAGE_GREY_8, SPACE); }, "GetBestResponse",
         "Responses are stored in float images, but got type 'GREY_8'."},
        {"ResponseOutSize", [] { read_response(IMAGE_GREY_F, SPACE); }, "GetBestResponse",
         "Buffer for responses must have same size as the original image."},
        {"ColatitudeType", [] { read_angles(IMAGE_GREY_8, IMAGE_GREY_16, SPACE); }, "GetOrientations",
         "Colatitude angles are stored in float images, but got type 'GREY_8'."},
        {"LongitudeType", [] { read_angles(IMAGE_GREY_F, IMAGE_GREY_16, SPACE); }, "GetOrientations",
         "Longitude angles are stored in float images, but got type 'GREY_16'."},
        {"AngleSizes", [] { read_angles(IMAGE_GREY_F, IMAGE_GREY_F, SPACE); }, "GetOrientations",
         "Angle buffers must have the same size."},
        {"HistogramIndexType",
         [] {
             CValueMap map;
             with_result(PLANE, IMAGE_GREY_F)->OrientationHistogram(map);
         },
         "OrientationHistogram", indices},
        {"TensorIndexTypeBeforeItsShape", [] { read_tensor(PLANE, IMAGE_GREY_F, 4, 4); }, "OrientationTensor",
         indices},
        {"TensorShapeInSpace", [] { read_tensor(SPACE, IMAGE_GREY_8, 3, 2); }, "OrientationTensor",
         "3D-orientation tensor must be a 3x3 matrix (but it is 3 x 2)."},
        {"TensorShapeInThePlane", [] { read_tensor(PLANE, IMAGE_GREY_8, 3, 3); }, "OrientationTensor",
         "2D-orientation tensor must be a 2x2 matrix (but it is 3 x 3)."},
        {"RowVector", [] { read_direction(SPACE, 1, 3); }, "BestOrientation", "Expecting a column vector."},
        {"VectorSize", [] { read_direction(PLANE, 3, 1); }, "BestOrientation",
         "Vector (3-dim) does not conform to image dimension (2)."},
    };
}

Messages all_messages() {
    Messages all;
    for (const Messages& messages :
         {compute_messages(), filter_messages(), exclusion_messages(), output_messages()}) {
        all.insert(all.end(), messages.begin(), messages.end());
    }
    return all;
}

class FilterMessages : public testing::TestWithParam<SMessage> {};

INSTANTIATE_TEST_SUITE_P(Table, FilterMessages, testing::ValuesIn(all_messages()),
                         [](const auto& message) { return message.param.name; });

} // namespace

TEST_P(FilterMessages, AreReportedAsWritten) {
    const SMessage& expected = GetParam();
    const bool isMember = expected.function.find("::") == std::string::npos;
    test::ExpectThrown(expected.provoke,
                       {expected.text, (isMember ? "TEVRA::CFilterOrientations::" : "") + expected.function,
                        "src/FilterOrientations/FilterOrientations"});
}

} // namespace TEVRA
