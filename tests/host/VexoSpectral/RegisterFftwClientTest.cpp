// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/RegisterFftwClient.h"

#include "VexoSpectral/FourierTransformation.h"
#include "support/MakeImage.h"

#include <gtest/gtest.h>

#include <complex>
#include <optional>

namespace TEVRA::test {
namespace {

// As the library's source files have it: torn down after main, in whatever order.
const CRegisterFftwClient staticClient;

std::complex<float> centre_of_spectrum(CFourierTransformation& transformation) {
    const CSize size(16, 8);
    const auto image = MakeImage<float>(IMAGE_GREY_F, size, [](auto, auto, auto) { return 1.0F; });
    CImage spectrum(IMAGE_COMPLEX_F, size, CSize(0, 0, 0));
    transformation.Fft(spectrum, *image, nullptr);
    return PixelsOf<std::complex<float>>(spectrum)[4 * 16 + 8];
}

TEST(RegisterFftwClient, TransformsWorkBeforeDuringAndAfterAClient) {
    CFourierTransformation transformation(nullptr, nullptr);
    EXPECT_EQ(centre_of_spectrum(transformation), 128.0F);
    std::optional<CRegisterFftwClient> client(std::in_place);
    EXPECT_EQ(centre_of_spectrum(transformation), 128.0F);
    client.reset();
    EXPECT_EQ(centre_of_spectrum(transformation), 128.0F);
    CFourierTransformation another(nullptr, nullptr);
    EXPECT_EQ(centre_of_spectrum(another), 128.0F);
}

} // namespace
} // namespace TEVRA::test
